// BundledProfiles: finds the profiles shipped with the simulator, for the backend's device listing.
#pragma once

#include <string>
#include <vector>

class BundledProfiles {
public:
    // The directory of the shipped profiles for the program at |programPath| (the resolved
    // path of the running executable): PREFIX/share/commandfilefilter/profiles when the program
    // is installed as PREFIX/bin/cffsim, else the profiles of the source tree it was built from.
    static std::string directory(const std::string& programPath);
    // The profile files ("*.yaml") in |directory|, sorted by name; empty when there are none or
    // the directory cannot be read.
    static std::vector<std::string> list(const std::string& directory);
};
