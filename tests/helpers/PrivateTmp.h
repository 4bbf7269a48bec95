// PrivateTmp: an empty /tmp in a mount namespace of its own, so that the host's log marker never
// reaches the filter; source and build trees stay reachable even when they lie below /tmp.
#pragma once

#include <sys/mount.h>

#include <filesystem>
#include <string>

namespace cfftest {

// An existing, otherwise unused system directory on which the old /tmp is parked.
inline std::string privateTmpHold() {
    for (const char* hold : {"/mnt", "/media", "/srv", "/opt"}) {
        if (std::filesystem::is_directory(hold)) return hold;
    }
    return "";
}

// Shell commands (no single quotes, to fit inside sh -c '...') doing what mountPrivateTmp()
// does; they exit with |failCode| when a step fails.
inline std::string privateTmpShell(int failCode = 99) {
    const std::string fail = " || exit " + std::to_string(failCode);
    return "hold=" + privateTmpHold() + "; [ -n \"$hold\" ] && mount --rbind /tmp \"$hold\" && mount -t tmpfs tmpfs /tmp" +
           fail + "; for d in \"" CFF_SOURCE_DIR "\" \"" CFF_BINARY_DIR "\"; do case \"$d\" in /tmp/*) [ -d \"$d\" ] || "
           "{ mkdir -p \"$d\" && mount --rbind \"$hold/${d#/tmp/}\" \"$d\"; }" + fail + ";; esac; done; ";
}

// In a process with a mount namespace of its own (propagation private): parks the old /tmp,
// mounts an empty tmpfs on /tmp and binds the trees back. False on failure.
inline bool mountPrivateTmp() {
    std::string hold = privateTmpHold();
    if (hold.empty() || mount("/tmp", hold.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0 ||
        mount("tmpfs", "/tmp", "tmpfs", 0, nullptr) != 0) {
        return false;
    }
    for (const std::string dir : {CFF_SOURCE_DIR, CFF_BINARY_DIR}) {
        if (dir.rfind("/tmp/", 0) != 0 || std::filesystem::is_directory(dir)) continue;
        std::error_code error;
        std::filesystem::create_directories(dir, error);
        if (error || mount((hold + dir.substr(4)).c_str(), dir.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) {
            return false;
        }
    }
    return true;
}

}  // namespace cfftest
