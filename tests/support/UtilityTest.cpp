// Tests of host facts and of the conversion of printer texts to UTF-8 in every code page a printer names.
#include <gtest/gtest.h>
#include <iconv.h>

#include "helpers/OutputCapture.h"
#include "helpers/TestUtil.h"
#include "support/Utility.h"
#include "support/TempLog.h"

TEST(UtilityHost, ReleaseTextGivesMajorMinorAndSpoolerGeneration) {
    struct Case {
        int unameResult;
        std::string sysname, release;
        SysOSType os;
        int major, minor;
        bool cups20;
    } cases[] = {
        {0, "Darwin", "13.4.0", SYS_OS_DARWIN, 9, 0, false},
        {0, "Darwin", "14.0.0", SYS_OS_DARWIN, 10, 0, true},
        {0, "Darwin", "23.1", SYS_OS_DARWIN, 19, 0, true},
        {0, "Linux", "15.2.7", SYS_OS_OTHER, 15, 0, false},
        // Unreadable host facts leave the numbers alone and give no new spooler.
        {-1, "Darwin", "20.0.0", SYS_OS_OTHER, 42, 7, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.sysname + " " + c.release);
        cfftest::FakeHost host(c.sysname, c.release, c.unameResult);
        SysOSType os = SYS_OS_DARWIN;
        int major = 42, minor = 7;
        EXPECT_EQ(Utility::getCurrentOSDetails(os, major, minor), c.unameResult);
        EXPECT_EQ(std::make_tuple(os, major, minor), std::make_tuple(c.os, c.major, c.minor));
        EXPECT_EQ(Utility::isCUPS_2_0(), c.cups20);
    }
}

TEST(UtilityConvert, EachCodePageConvertsOrPassesTheTextOnWithItsLogLine) {
    TempLog temp;
    OutputCapture err(2);
    temp.enable();
    struct Case {
        int codePage;
        std::string in;
        int result;
        std::string out;      // the input itself on failure
        std::string logLine;  // a line the log must hold
    } cases[] = {
        // Each sample reads differently in the neighbouring encodings (ISO-8859-1 above all).
        {2009, "\x81\x82", 0, "\xC3\xBC\xC3\xA9", "Conversion Code Page =2009, Encoding =CP850"},
        {12, "\xD0\xFD", 0, "\xC4\x9E\xC4\xB1", "Encoding =ISO-8859-9"},      // G with breve, dotless i
        {5, "\xB1\xE8", 0, "\xC4\x85\xC4\x8D", "Encoding =ISO-8859-2"},       // a with ogonek, c with caron
        {8, "\xB0\xD0", 0, "\xD0\x90\xD0\xB0", "Encoding =ISO-8859-5"},       // Cyrillic capital and small a
        {106, "\xC3\xA9", 0, "\xC3\xA9", "Encoding =UTF-8"},
        {17, "\x82\xA0\x83\x41", 0, "\xE3\x81\x82\xE3\x82\xA2", "Encoding =SHIFT_JIS"},  // hiragana a, katakana a
        {999, "raw\x81", 0, "raw\x81", "Conversion Code Page =999, Encoding =UTF-8"},
        {17, "ab\x82", -1, "ab\x82", "incomplete sequence "},
        {17, "\x81\x20", -1, "\x81\x20", "invalid sequence "},
        // Line-drawing characters need three bytes each, more than twice the input.
        {2009, "\xC4\xC4", -1, "\xC4\xC4", "out buffer small "},
    };
    for (const Case& c : cases) {
        std::filesystem::remove(temp.logPath());
        std::string out = "stale";
        EXPECT_EQ(Utility::convertStringToUTF8(c.codePage, c.in, out), c.result) << c.codePage;
        EXPECT_EQ(out, c.out) << c.codePage;
        std::string log = temp.log();
        EXPECT_NE(log.find("Final Converted string ="), std::string::npos);
        EXPECT_NE(log.find(c.logLine), std::string::npos) << c.logLine;
        EXPECT_EQ(log.find("Conversion Failed. Error =-1") != std::string::npos, c.result != 0);
    }
}

TEST(UtilityConvert, FallbackCodePage850TableAgreesWithTheSystemConverter) {
    std::string all;
    for (int byte = 0x20; byte <= 0xFF; ++byte) all += static_cast<char>(byte);
    std::string text = all, copy = Utility::convert850_UTF8(text), viaIconv(all.size() * 4, '\0');
    iconv_t cd = iconv_open("UTF-8", "CP850");
    char *in = all.data(), *out = viaIconv.data();
    size_t inLeft = all.size(), outLeft = viaIconv.size();
    iconv(cd, &in, &inLeft, &out, &outLeft);
    iconv_close(cd);
    viaIconv.resize(viaIconv.size() - outLeft);
    EXPECT_EQ(text, viaIconv);
    EXPECT_EQ(copy, text);
}
