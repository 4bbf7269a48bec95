// BundledProfiles: finds the profiles shipped with the simulator, for the backend's device listing.
#include "BundledProfiles.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>

namespace {

bool isDirectory(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace

std::string BundledProfiles::directory(const std::string& programPath) {
    std::string bin = programPath.substr(0, programPath.find_last_of('/') + 1);
    std::string installed = bin + "../share/commandfilefilter/profiles";
    if (!bin.empty() && isDirectory(installed)) {
        return installed;
    }
    return CFFSIM_PROFILE_DIR;
}

std::vector<std::string> BundledProfiles::list(const std::string& directory) {
    std::vector<std::string> paths;
    DIR* listing = opendir(directory.c_str());
    if (listing == nullptr) {
        return paths;
    }
    const std::string suffix = ".yaml";
    while (const struct dirent* entry = readdir(listing)) {
        std::string name = entry->d_name;
        if (name.size() > suffix.size() && name[0] != '.' &&
            name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0) {
            paths.push_back(directory + "/" + name);
        }
    }
    closedir(listing);
    std::sort(paths.begin(), paths.end());
    return paths;
}
