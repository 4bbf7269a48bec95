/* FakeUname: an LD_PRELOAD library that makes uname(2) report another system, so that
 * whole-program tests can run the filter as it runs on another host.
 * CFF_FAKE_SYSNAME and CFF_FAKE_RELEASE replace the reported name and release. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdlib.h>
#include <string.h>
#include <sys/utsname.h>

int uname(struct utsname* name) {
    int (*real_uname)(struct utsname*) = (int (*)(struct utsname*))dlsym(RTLD_NEXT, "uname");
    int result = real_uname ? real_uname(name) : -1;
    if (result != 0) {
        return result;
    }
    const char* sysname = getenv("CFF_FAKE_SYSNAME");
    const char* release = getenv("CFF_FAKE_RELEASE");
    if (sysname) {
        strncpy(name->sysname, sysname, sizeof(name->sysname) - 1);
        name->sysname[sizeof(name->sysname) - 1] = '\0';
    }
    if (release) {
        strncpy(name->release, release, sizeof(name->release) - 1);
        name->release[sizeof(name->release) - 1] = '\0';
    }
    return 0;
}
