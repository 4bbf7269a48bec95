// PrivateTmp: an empty /tmp for a process in its own mount namespace, so that a log marker on
// the host never reaches the filter, while the source and build trees stay reachable even when
// they lie below /tmp themselves (a clone there).
#pragma once

#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace cfftest {

// An existing, otherwise unused system directory on which the old /tmp is parked.
inline std::string privateTmpHold() {
    for (const char* hold : {"/mnt", "/media", "/srv", "/opt"}) {
        if (std::filesystem::is_directory(hold)) {
            return hold;
        }
    }
    return "";
}

// Shell commands (no single quotes, so they fit inside sh -c '...') that do the same as
// mountPrivateTmp(); they exit with |failCode| when a step fails.
inline std::string privateTmpShell(int failCode = 99) {
    const std::string fail = " || exit " + std::to_string(failCode);
    return "hold=" + privateTmpHold() +
           "; [ -n \"$hold\" ] && mount --rbind /tmp \"$hold\" && mount -t tmpfs tmpfs /tmp" + fail + "; "
           "for d in \"" CFF_SOURCE_DIR "\" \"" CFF_BINARY_DIR "\"; do case \"$d\" in /tmp/*) "
           "[ -d \"$d\" ] || { mkdir -p \"$d\" && mount --rbind \"$hold/${d#/tmp/}\" \"$d\"; }" + fail + ";; "
           "esac; done; ";
}

// In a process that has its own mount namespace (unshare(CLONE_NEWNS), propagation private):
// parks the old /tmp, mounts an empty tmpfs on /tmp and binds the trees back. False on failure.
inline bool mountPrivateTmp() {
    std::string hold = privateTmpHold();
    if (hold.empty() || mount("/tmp", hold.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0 ||
        mount("tmpfs", "/tmp", "tmpfs", 0, nullptr) != 0) {
        return false;
    }
    for (const std::string dir : {CFF_SOURCE_DIR, CFF_BINARY_DIR}) {
        if (dir.rfind("/tmp/", 0) != 0 || std::filesystem::is_directory(dir)) {
            continue;
        }
        std::error_code error;
        std::filesystem::create_directories(dir, error);
        std::string parked = hold + dir.substr(4);
        if (error || mount(parked.c_str(), dir.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) {
            return false;
        }
    }
    return true;
}

}  // namespace cfftest
