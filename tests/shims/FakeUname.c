/* FakeUname: an LD_PRELOAD library that makes uname(2) report the system name and release
 * given in CFF_FAKE_SYSNAME and CFF_FAKE_RELEASE, so whole-program tests can run the filter
 * as it runs on another host. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/utsname.h>

static void replace(char* field, size_t size, const char* value) {
    if (value) snprintf(field, size, "%s", value);
}

int uname(struct utsname* name) {
    int (*real_uname)(struct utsname*) = (int (*)(struct utsname*))dlsym(RTLD_NEXT, "uname");
    int result = real_uname ? real_uname(name) : -1;
    if (result == 0) {
        replace(name->sysname, sizeof(name->sysname), getenv("CFF_FAKE_SYSNAME"));
        replace(name->release, sizeof(name->release), getenv("CFF_FAKE_RELEASE"));
    }
    return result;
}
