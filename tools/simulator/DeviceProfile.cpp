// DeviceProfile: everything a simulated printer reports, as loaded from a profile file.
#include "DeviceProfile.h"

#include <algorithm>

std::string DeviceProfile::deviceIdString() const {
    if (!deviceId.empty()) {
        return deviceId;
    }
    return "MFG:" + manufacturer + ";MDL:" + model + ";CMD:NPA,PJL,PCL;CLS:PRINTER;DES:" +
           manufacturer + " " + model + ";";
}

const std::string& DeviceProfile::supplyName(const ProfileSupply& supply, int languageId) {
    auto it = supply.names.find(languageId);
    return it == supply.names.end() ? supply.name : it->second;
}

bool DeviceProfile::acceptsLanguage(int languageId) const {
    return languages.empty() ||
           std::find(languages.begin(), languages.end(), languageId) != languages.end();
}
