// MibView: the objects a simulated printer serves through SNMP, in object-identifier order.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "DeviceProfile.h"

class MibView {
public:
    using Oid = std::vector<uint32_t>;

    // Parses ".1.3.6.1" (leading dot optional); false for anything else.
    static bool parseOid(const std::string& text, Oid& oid);
    // ".1.3.6.1" form.
    static std::string oidText(const Oid& oid);
    // The value as the backends' side channel renders it: "%d", "%u" or the raw bytes.
    static std::string valueText(const ProfileSnmpValue& value);

    // The objects of |profile|: the Printer MIB tables, the option names the hosts probe,
    // then the profile's own values on top.
    explicit MibView(const DeviceProfile& profile);
    MibView() = default;

    void set(const std::string& oid, const ProfileSnmpValue& value);
    // The object at exactly |oid|, or null.
    const ProfileSnmpValue* find(const Oid& oid) const;
    // The first object after |oid| in identifier order; false at the end of the view.
    bool next(const Oid& oid, Oid& nextOid, const ProfileSnmpValue*& value) const;
    size_t size() const { return objects_.size(); }

private:
    void setInteger(const std::string& oid, long number);
    void setCounter(const std::string& oid, long number);
    void setString(const std::string& oid, const std::string& text);
    void addPrinterTables(const DeviceProfile& profile);
    void addOptionNames(const DeviceProfile& profile);

    std::map<Oid, ProfileSnmpValue> objects_;
};
