// Tests for opening optional libraries on first use, and that the filter starts without them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "helpers/TestUtil.h"
#include "support/LazyLibrary.h"

TEST(LazyLibrary, FindsSymbolsOfTheFirstLibraryThatOpensAndDoesNotRetryAMissingOne) {
    LazyLibrary library({"libcff-no-such-library.so.9", "libm.so.6"});
    auto cosine = reinterpret_cast<double (*)(double)>(library.symbol("cos"));
    ASSERT_NE(cosine, nullptr);
    EXPECT_DOUBLE_EQ(cosine(0.0), 1.0);
    EXPECT_EQ(library.symbol("cff_no_such_symbol"), nullptr);

    LazyLibrary missing({"libcff-no-such-library.so.9"});
    EXPECT_FALSE(missing.load());
    EXPECT_EQ(missing.symbol("cos"), nullptr);
    EXPECT_FALSE(missing.load());
}

// The USB and DNS-SD libraries are for direct USB and dnssd:// runs only, and libcups' TLS,
// Kerberos and Avahi dependencies for code the filter never calls: an ordinary run of the
// filter must load none of them.
TEST(LazyLibrary, FilterBinaryDoesNotLoadOptionalLibrariesAtStart) {
    std::string listing;
    ASSERT_EQ(cfftest::runCommand(std::string("LD_TRACE_LOADED_OBJECTS=1 ") + CFF_FILTER_BINARY + " 2>&1", listing), 0);
    ASSERT_NE(listing.find("libc.so"), std::string::npos) << listing;
    std::vector<std::string> absent = {"libusb", "libdns_sd"};
#if CFF_STATIC_LIBCUPS
    absent.insert(absent.end(), {"libcups", "libgnutls", "libgssapi", "libavahi"});
#else
    EXPECT_NE(listing.find("libcups"), std::string::npos) << listing;
#endif
    for (const std::string& name : absent) {
        EXPECT_EQ(listing.find(name), std::string::npos) << name << " in\n" << listing;
    }
}
