// MibView: the objects a simulated printer serves through SNMP, in object-identifier order.
#include "MibView.h"

#include <algorithm>
#include <cstdlib>

namespace {

const char* const kInputName = ".1.3.6.1.2.1.43.8.2.1.13.1.";
const char* const kOutputName = ".1.3.6.1.2.1.43.9.2.1.7.1.";
const char* const kGeneral = ".1.3.6.1.2.1.43.5.1.1.";
const char* const kLocalization = ".1.3.6.1.2.1.43.7.1.1.";
const char* const kSupplies = ".1.3.6.1.2.1.43.11.1.1.";
const char* const kColorants = ".1.3.6.1.2.1.43.12.1.1.";
const char* const kStorageDescription = ".1.3.6.1.2.1.25.2.3.1.3";

// The host-resources device index under which the printer's rows are kept.
const char* const kDevice = ".1";

}  // namespace

bool MibView::parseOid(const std::string& text, Oid& oid) {
    oid.clear();
    size_t pos = text.empty() || text[0] != '.' ? 0 : 1;
    if (pos >= text.size()) {
        return false;
    }
    while (pos <= text.size()) {
        size_t end = text.find('.', pos);
        if (end == std::string::npos) {
            end = text.size();
        }
        if (end == pos || end - pos > 10) {
            return false;
        }
        unsigned long arc = 0;
        for (size_t i = pos; i < end; ++i) {
            if (text[i] < '0' || text[i] > '9') {
                return false;
            }
            arc = arc * 10 + static_cast<unsigned long>(text[i] - '0');
        }
        if (arc > 0xFFFFFFFFUL) {
            return false;
        }
        oid.push_back(static_cast<uint32_t>(arc));
        pos = end + 1;
    }
    return oid.size() >= 2;
}

std::string MibView::oidText(const Oid& oid) {
    std::string text;
    for (uint32_t arc : oid) {
        text += "." + std::to_string(arc);
    }
    return text;
}

std::string MibView::valueText(const ProfileSnmpValue& value) {
    switch (value.kind) {
        case ProfileSnmpValue::kInteger: return std::to_string(static_cast<int>(value.number));
        case ProfileSnmpValue::kCounter: return std::to_string(static_cast<unsigned>(value.number));
        case ProfileSnmpValue::kString: break;
    }
    return value.text;
}

MibView::MibView(const DeviceProfile& profile) {
    setString(".1.3.6.1.2.1.1.1.0", profile.manufacturer + " " + profile.model);
    if (profile.snmpDerive) {
        addPrinterTables(profile);
        addOptionNames(profile);
    }
    for (const auto& entry : profile.snmpValues) {
        set(entry.first, entry.second);
    }
}

void MibView::set(const std::string& oid, const ProfileSnmpValue& value) {
    Oid parsed;
    if (parseOid(oid, parsed)) {
        objects_[parsed] = value;
    }
}

void MibView::setInteger(const std::string& oid, long number) {
    ProfileSnmpValue value;
    value.kind = ProfileSnmpValue::kInteger;
    value.number = number;
    set(oid, value);
}

void MibView::setCounter(const std::string& oid, long number) {
    ProfileSnmpValue value;
    value.kind = ProfileSnmpValue::kCounter;
    value.number = number;
    set(oid, value);
}

void MibView::setString(const std::string& oid, const std::string& text) {
    ProfileSnmpValue value;
    value.kind = ProfileSnmpValue::kString;
    value.text = text;
    set(oid, value);
}

void MibView::addPrinterTables(const DeviceProfile& profile) {
    std::string device = kDevice;
    if (profile.codePage != 0) {
        // One localization row; the general row points at it.
        setCounter(kGeneral + std::string("1") + device, 1);
        setInteger(kGeneral + std::string("2") + device, 1);
        setString(kLocalization + std::string("2") + device + ".1", "en");
        setString(kLocalization + std::string("3") + device + ".1", "US");
        setInteger(kLocalization + std::string("4") + device + ".1", profile.codePage);
    }
    // Colorant rows, one per distinct colorant, in the order the supplies name them.
    std::vector<std::string> colorants;
    for (const ProfileSupply& supply : profile.supplies) {
        if (!supply.colorant.empty() &&
            std::find(colorants.begin(), colorants.end(), supply.colorant) == colorants.end()) {
            colorants.push_back(supply.colorant);
        }
    }
    for (size_t i = 0; i < colorants.size(); ++i) {
        std::string row = device + "." + std::to_string(i + 1);
        setInteger(kColorants + std::string("2") + row, 1);
        setInteger(kColorants + std::string("3") + row, 3);
        setString(kColorants + std::string("4") + row, colorants[i]);
        setInteger(kColorants + std::string("5") + row, 256);
    }
    for (size_t i = 0; i < profile.supplies.size(); ++i) {
        const ProfileSupply& supply = profile.supplies[i];
        long colorantIndex = 0;
        for (size_t c = 0; c < colorants.size(); ++c) {
            if (colorants[c] == supply.colorant) {
                colorantIndex = static_cast<long>(c + 1);
            }
        }
        long maxCapacity = supply.maxCapacity;
        long level = supply.level;
        // A printer that counts a supply in percent reports a capacity of 100 and the level
        // as a percentage; hosts that see the percent unit take the level as one. A profile
        // that gives such a supply another capacity is served scaled, rounded down as the
        // hosts of this family round.
        if (supply.mibUnit == kMibUnitPercent && maxCapacity > 0 && maxCapacity != 100) {
            if (level > 0) {
                level = static_cast<long>(static_cast<long long>(level) * 100 / maxCapacity);
            }
            maxCapacity = 100;
        }
        std::string row = device + "." + std::to_string(i + 1);
        setInteger(kSupplies + std::string("2") + row, 1);
        setInteger(kSupplies + std::string("3") + row, colorantIndex);
        setInteger(kSupplies + std::string("4") + row, supply.mibClass);
        setInteger(kSupplies + std::string("5") + row, supply.mibType);
        setString(kSupplies + std::string("6") + row, supply.name);
        setInteger(kSupplies + std::string("7") + row, supply.mibUnit);
        setInteger(kSupplies + std::string("8") + row, maxCapacity);
        setInteger(kSupplies + std::string("9") + row, level);
    }
}

void MibView::addOptionNames(const DeviceProfile& profile) {
    for (size_t i = 0; i < profile.inputs.size(); ++i) {
        setString(kInputName + std::to_string(i + 1), profile.inputs[i].snmpName);
    }
    std::vector<std::string> outputs;
    for (const ProfileUnit& bin : profile.bins) {
        outputs.push_back(bin.snmpName);
    }
    for (const ProfileFinisher& finisher : profile.finishers) {
        for (const ProfileUnit& bin : finisher.bins) {
            outputs.push_back(bin.snmpName);
        }
    }
    for (size_t i = 0; i < outputs.size(); ++i) {
        setString(kOutputName + std::to_string(i + 1), outputs[i]);
    }
    std::vector<std::string> options = profile.privateTable;
    if (options.empty()) {
        for (const ProfileFinisher& finisher : profile.finishers) {
            options.push_back(finisher.snmpName);
        }
        if (profile.duplex == ReportedState::kInstalled) {
            options.push_back(profile.duplexSnmpName);
        }
    }
    for (const std::string& prefix : profile.privatePrefixes) {
        for (size_t i = 0; i < options.size(); ++i) {
            setString(prefix + "." + std::to_string(i + 1), options[i]);
        }
    }
    if (profile.flash == ReportedState::kInstalled) {
        // Hosts probe the storage description column itself as well as its first row.
        setString(kStorageDescription, "%flash%");
        setString(kStorageDescription + std::string(".1"), "%flash%");
    }
}

const ProfileSnmpValue* MibView::find(const Oid& oid) const {
    auto it = objects_.find(oid);
    return it == objects_.end() ? nullptr : &it->second;
}

bool MibView::next(const Oid& oid, Oid& nextOid, const ProfileSnmpValue*& value) const {
    auto it = objects_.upper_bound(oid);
    if (it == objects_.end()) {
        return false;
    }
    nextOid = it->first;
    value = &it->second;
    return true;
}
