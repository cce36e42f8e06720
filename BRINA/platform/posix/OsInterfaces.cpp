#include "BRINA/platform/OsInterfaces.h"

#include <cstring>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace BRINA {

namespace {

// The adapter description on Linux: the flags that tell the interface's kind and state, in words.
std::string describeFlags(unsigned int flags) {
    static const struct {
        unsigned int flag;
        const char* word;
    } words[] = {
        {IFF_LOOPBACK, "loopback"}, {IFF_POINTOPOINT, "point-to-point"}, {IFF_UP, "up"},
        {IFF_RUNNING, "running"},   {IFF_BROADCAST, "broadcast"},        {IFF_MULTICAST, "multicast"},
    };
    std::string out;
    for (const auto& w : words) {
        if ((flags & w.flag) == 0) continue;
        if (!out.empty()) out += ", ";
        out += w.word;
    }
    return out;
}

} // namespace

bool osLocalAddresses(OsAddressFamily family, std::vector<OsInterfaceAddress>& out) {
    out.clear();
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return false;
    const int wanted = family == OsAddressFamily::IPv6 ? AF_INET6 : AF_INET;
    for (const ifaddrs* it = list; it != nullptr; it = it->ifa_next) {
        if (it->ifa_addr == nullptr || it->ifa_addr->sa_family != wanted || it->ifa_name == nullptr) continue;
        OsInterfaceAddress entry;
        if (wanted == AF_INET6) {
            sockaddr_in6 a{};
            std::memcpy(&a, it->ifa_addr, sizeof a);
            std::memcpy(entry.bytes.data(), a.sin6_addr.s6_addr, 16);
        } else {
            sockaddr_in a{};
            std::memcpy(&a, it->ifa_addr, sizeof a);
            entry.bytes[10] = entry.bytes[11] = 0xFF;
            std::memcpy(entry.bytes.data() + 12, &a.sin_addr.s_addr, 4);
        }
        // An IPv4 label such as "eth0:1" names its device before the colon, which no device name holds.
        entry.name = it->ifa_name;
        entry.name = entry.name.substr(0, entry.name.find(':'));
        // The index of the interface, for every address, as IfIndex is; sin6_scope_id only covers link-local.
        entry.index = if_nametoindex(entry.name.c_str());
        entry.description = describeFlags(it->ifa_flags);
        out.push_back(std::move(entry));
    }
    freeifaddrs(list);
    return true;
}

} // namespace BRINA
