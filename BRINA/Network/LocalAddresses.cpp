// The enumeration of the machine's own addresses, declared beside IPAddress.
#include "BRINA/Network/IPAddress.h"

#include "BRINA/platform/OsInterfaces.h"

#include <vector>

namespace BRINA {

namespace {

bool localAddresses(OsAddressFamily family, LocalAddressMap& map) {
    map.clear();
    std::vector<OsInterfaceAddress> found;
    if (!osLocalAddresses(family, found)) return false;
    for (const OsInterfaceAddress& entry : found) {
        // One address on two interfaces makes two keys; the same key twice keeps the later names.
        InterfaceNames& names = map[IPAddress(entry.bytes.data(), 0, entry.index)];
        names.name = entry.name;
        names.description = entry.description;
    }
    return true;
}

} // namespace

bool getMyLocalAddresV6(LocalAddressMap& map) {
    return localAddresses(OsAddressFamily::IPv6, map);
}

bool getMyLocalAddresV6(LocalAddressMap& map, bool withLoopback) {
    if (!getMyLocalAddresV6(map)) return false;
    std::erase_if(map, [withLoopback](const LocalAddressMap::value_type& entry) {
        return !entry.first.isLinkLocal() && !(withLoopback && entry.first.isLoopback());
    });
    return true;
}

bool getMyLocalAddresV4(LocalAddressMap& map) {
    return localAddresses(OsAddressFamily::IPv4, map);
}

uint32_t scopeOfInterface(const std::string& name) {
    LocalAddressMap local;
    getMyLocalAddresV6(local);
    uint32_t scope = 0;
    for (const auto& [address, names] : local)
        if (names.name == name) scope = address.scope();
    return scope;
}

} // namespace BRINA
