// ProfileLoader: reads a YAML device profile into a DeviceProfile, with clear error messages.
#pragma once

#include <string>

#include "DeviceProfile.h"

class ProfileLoader {
public:
    // Loads the file at |path|. Returns 0, or -1 with |error| naming the file, the line
    // and what is wrong.
    static int loadFile(const std::string& path, DeviceProfile& profile, std::string& error);
    // Loads profile text; |origin| names it in error messages.
    static int loadText(const std::string& text, const std::string& origin, DeviceProfile& profile,
                        std::string& error);
    // The language id that a printer of this family uses for a locale code ("de" -> 1),
    // or -1 when the code is not one of them.
    static int languageIdForCode(const std::string& code);
};
