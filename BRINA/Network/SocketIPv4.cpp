// The IPv4 operations of Socket. Kept apart from Socket.cpp so that only a program that uses them
// links the enumeration of the machine's addresses.
#include "BRINA/Network/Socket.h"
#include "BRINA/platform/OsSocket.h"

namespace BRINA {

namespace {
constexpr uint8_t kAdministrativeGroups = 239; // 239.0.0.0/8: a group that leaves on every interface
}

bool Socket::joinGroup4(const IPAddress& group, const IPAddress& interfaceAddress) {
    // The last four bytes are 0 for an all-zero interface, which lets the system choose.
    return osSocketJoinGroup4(handle, group.bytes() + 12, interfaceAddress.bytes() + 12);
}

bool Socket::joinGroup4All(const IPAddress& group) {
    LocalAddressMap addresses;
    if (!getMyLocalAddresV4(addresses)) return false;
    for (const auto& entry : addresses)
        if (!joinGroup4(group, entry.first)) return false;
    return true;
}

bool Socket::sendTo4(const uint8_t* data, uint32_t size, const IPAddress& address, bool retry) {
    if (address.bytes()[12] != kAdministrativeGroups) return sendAll(address, true, data, size, retry);
    LocalAddressMap addresses;
    if (!getMyLocalAddresV4(addresses)) return false;
    for (const auto& entry : addresses) {
        if (!osSocketSetMulticastInterface4(handle, entry.first.bytes() + 12)) return false;
        if (!sendAll(address, true, data, size, retry)) return false;
    }
    return true;
}

// The sender of an IPv4 datagram comes out as an IPv4-mapped address, as from receive().
bool Socket::receive4(std::vector<uint8_t>& buffer, IPAddress& from) {
    return receive(buffer, from);
}

} // namespace BRINA
