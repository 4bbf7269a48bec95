// Tests of host facts and of the conversion of printer texts to UTF-8.
#include <gtest/gtest.h>
#include <iconv.h>

#include <string>
#include <vector>

#include "helpers/OutputCapture.h"
#include "support/TempLog.h"
#include "support/Utility.h"

namespace {
// Replaces the host facts for one test and recomputes the spooler flag afterwards.
struct FakeUname {
    explicit FakeUname(int result, std::string sysname = "", std::string release = "") {
        Utility::setUnameFunction([=](std::string& name, std::string& rel) {
            name = sysname;
            rel = release;
            return result;
        });
        Utility::refreshCUPS_2_0();
    }
    ~FakeUname() {
        Utility::setUnameFunction(nullptr);
        Utility::refreshCUPS_2_0();
    }
};

std::string viaIconv(const std::string& in) {
    iconv_t cd = iconv_open("UTF-8", "CP850");
    std::string out(in.size() * 4, '\0');
    char* inPointer = const_cast<char*>(in.data());
    size_t inLeft = in.size();
    char* outPointer = out.data();
    size_t outLeft = out.size();
    iconv(cd, &inPointer, &inLeft, &outPointer, &outLeft);
    iconv_close(cd);
    out.resize(out.size() - outLeft);
    return out;
}
}  // namespace

TEST(UtilityHost, ReleaseTextGivesMajorMinorAndSpoolerGeneration) {
    struct Case {
        int unameResult;
        std::string sysname, release;
        int result;
        SysOSType os;
        int major, minor;
        bool cups20;
    };
    const std::vector<Case> cases = {
        {0, "Darwin", "13.4.0", 0, SYS_OS_DARWIN, 9, 0, false},
        {0, "Darwin", "14.0.0", 0, SYS_OS_DARWIN, 10, 0, true},
        {0, "Darwin", "23.1", 0, SYS_OS_DARWIN, 19, 0, true},
        {0, "Darwin", "10", 0, SYS_OS_DARWIN, 6, 0, false},
        {0, "Linux", "6.1.0-18-amd64", 0, SYS_OS_OTHER, 6, 0, false},
        {0, "Linux", "15.2.7", 0, SYS_OS_OTHER, 15, 0, false},
        // Unreadable host facts leave the numbers alone and give no new spooler.
        {-1, "Darwin", "20.0.0", -1, SYS_OS_OTHER, 42, 7, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.sysname + " " + c.release);
        FakeUname host(c.unameResult, c.sysname, c.release);
        SysOSType os = SYS_OS_DARWIN;
        int major = 42;
        int minor = 7;
        EXPECT_EQ(Utility::getCurrentOSDetails(os, major, minor), c.result);
        EXPECT_EQ(os, c.os);
        EXPECT_EQ(major, c.major);
        EXPECT_EQ(minor, c.minor);
        EXPECT_EQ(Utility::isCUPS_2_0(), c.cups20);
    }
}

TEST(UtilityConvert, EachCodePageConvertsOrPassesTheTextOnWithItsLogLine) {
    TempLog temp;
    OutputCapture err(2);
    temp.enable();
    err.text();
    struct Case {
        int codePage;
        std::string in;
        int result;
        std::string out;       // expected output; the input itself on failure
        std::string logLine;   // a line the log must hold, "" for none
    };
    const std::vector<Case> cases = {
        {2009, "\x81\x82", 0, "\xC3\xBC\xC3\xA9", "Converted string ="},
        {12, "\xDD\xFE", 0, "\xC4\xB0\xC5\x9F", ""},
        {17, "\x82\xA0", 0, "\xE3\x81\x82", ""},
        {106, "caf\xC3\xA9", 0, "caf\xC3\xA9", ""},
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
        if (!c.logLine.empty()) {
            EXPECT_NE(log.find(c.logLine), std::string::npos) << c.logLine;
        }
        if (c.result != 0) {
            EXPECT_NE(log.find("Conversion Failed. Error =-1"), std::string::npos);
        }
    }
}

TEST(UtilityConvert, FallbackCodePage850TableAgreesWithTheSystemConverter) {
    std::string all;
    for (int byte = 0x20; byte <= 0xFF; ++byte) {
        all += static_cast<char>(byte);
    }
    std::string text = all;
    std::string copy = Utility::convert850_UTF8(text);
    EXPECT_EQ(text, viaIconv(all));
    EXPECT_EQ(copy, text);

    std::ostringstream os;
    Utility::write850_UTF8(os, 0xC4);  // U+2500, three bytes
    Utility::write850_UTF8(os, 0x9F);  // U+0192, two bytes
    Utility::write850_UTF8(os, 'A');
    EXPECT_EQ(os.str(), "\xE2\x94\x80\xC6\x92" "A");
}
