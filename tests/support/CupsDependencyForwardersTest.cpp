// Tests that the statically linked libcups still reaches its TLS, Kerberos and Avahi
// functions, which are opened on first call.
#include <gtest/gtest.h>

#if CFF_STATIC_LIBCUPS
#include <avahi-common/simple-watch.h>
#include <cups/cups.h>
#include <gssapi/gssapi.h>

#include <cstring>

#include "support/LazyLibrary.h"

TEST(CupsDependencyForwarders, LibcupsHashesThroughTheTlsLibrary) {
    unsigned char hash[64];
    ASSERT_EQ(cupsHashData("sha2-256", "abc", 3, hash, sizeof hash), 32);
    char hex[65];
    EXPECT_STREQ(cupsHashString(hash, 32, hex, sizeof hex),
                 "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(CupsDependencyForwarders, AvahiPollLoopComesFromTheRealLibrary) {
    AvahiSimplePoll* poll = avahi_simple_poll_new();
    ASSERT_NE(poll, nullptr);
    EXPECT_NE(avahi_simple_poll_get(poll), nullptr);
    avahi_simple_poll_quit(poll);
    EXPECT_EQ(avahi_simple_poll_iterate(poll, 0), 1);  // 1: the loop was told to quit
    avahi_simple_poll_free(poll);
}

// The program's own copy of the host-based service name type must equal the library's.
TEST(CupsDependencyForwarders, KerberosNameTypeMatchesTheLibrarys) {
    LazyLibrary gssapi({"libgssapi_krb5.so.2"});
    auto* real = static_cast<gss_OID*>(gssapi.symbol("GSS_C_NT_HOSTBASED_SERVICE"));
    ASSERT_NE(real, nullptr);
    ASSERT_EQ(GSS_C_NT_HOSTBASED_SERVICE->length, (*real)->length);
    EXPECT_EQ(std::memcmp(GSS_C_NT_HOSTBASED_SERVICE->elements, (*real)->elements, (*real)->length), 0);

    OM_uint32 minor = 0;
    char service[] = "ipp@localhost";
    gss_buffer_desc text = {sizeof(service) - 1, service};
    gss_name_t name = GSS_C_NO_NAME;
    ASSERT_EQ(gss_import_name(&minor, &text, GSS_C_NT_HOSTBASED_SERVICE, &name), GSS_S_COMPLETE);
    EXPECT_NE(name, GSS_C_NO_NAME);
    EXPECT_EQ(gss_release_name(&minor, &name), GSS_S_COMPLETE);
}
#else
TEST(CupsDependencyForwarders, LibcupsHashesThroughTheTlsLibrary) {
    GTEST_SKIP() << "built against the shared libcups (libcups.a could not be linked)";
}
#endif
