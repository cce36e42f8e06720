#pragma once
// The one address value of the system: an IPv6 address, a port and an interface scope.
#include <array>
#include <cstdint>
#include <map>
#include <string>

namespace BRINA {

class IPAddress {
public:
    IPAddress() = default;
    // An IPv4-mapped address made of four bytes and a port.
    IPAddress(uint8_t a, uint8_t b, uint8_t c, uint8_t d, uint16_t number) {
        address[10] = address[11] = 0xFF;
        address[12] = a;
        address[13] = b;
        address[14] = c;
        address[15] = d;
        setPort(number);
    }
    // From 16 bytes in network order, a port number and a scope.
    IPAddress(const uint8_t bytes[16], uint16_t number, uint32_t s) : scopeId(s) {
        for (int i = 0; i < 16; ++i)
            address[i] = bytes[i];
        setPort(number);
    }

    uint16_t port() const { return static_cast<uint16_t>((portNet[0] << 8) | portNet[1]); }
    void setPort(uint16_t number) {
        portNet[0] = static_cast<uint8_t>(number >> 8);
        portNet[1] = static_cast<uint8_t>(number);
    }
    uint32_t scope() const { return scopeId; }
    void setScope(uint32_t s) { scopeId = s; }
    const uint8_t* bytes() const { return address.data(); }
    uint8_t* bytes() { return address.data(); }
    // The port as a socket address record holds it: high byte first in memory.
    const uint8_t* portBytes() const { return portNet.data(); }

    bool isUnspecified() const {
        for (uint8_t b : address)
            if (b != 0) return false;
        return true;
    }
    bool isEmpty() const { return isUnspecified() && port() == 0; }
    bool isLinkLocal() const { return address[0] == 0xFE && address[1] == 0x80; }
    bool isLoopback() const {
        for (int i = 0; i < 15; ++i)
            if (address[i] != 0) return false;
        return address[15] == 1;
    }
    uint16_t group(int i) const { return static_cast<uint16_t>((address[2 * i] << 8) | address[2 * i + 1]); }
    uint32_t ipv4() const {
        return (static_cast<uint32_t>(address[12]) << 24) | (static_cast<uint32_t>(address[13]) << 16) |
               (static_cast<uint32_t>(address[14]) << 8) | address[15];
    }

    std::string toString() const;
    std::string toStringWithPort() const;
    std::string toString4() const;
    bool parse(const std::string& text);
    bool parseWithPort(const std::string& text);
    bool parse4(const std::string& text);

    bool sameAddress(const IPAddress& o) const { return address == o.address; }
    bool samePort(const IPAddress& o) const { return portNet == o.portNet; }
    bool sameScope(const IPAddress& o) const { return scopeId == o.scopeId; }
    bool operator==(const IPAddress& o) const { return sameAddress(o) && samePort(o) && sameScope(o); }
    bool operator!=(const IPAddress& o) const { return !(*this == o); }
    bool operator<(const IPAddress& o) const;

private:
    std::array<uint8_t, 16> address{};
    std::array<uint8_t, 2> portNet{}; // high byte first
    uint32_t scopeId = 0;
};

// What the enumeration tells of one local address.
struct InterfaceNames {
    std::string name;        // the adapter's friendly name
    std::string description; // a longer description
};
using LocalAddressMap = std::map<IPAddress, InterfaceNames>;

bool getMyLocalAddresV6(LocalAddressMap& map);
bool getMyLocalAddresV6(LocalAddressMap& map, bool withLoopback);
bool getMyLocalAddresV4(LocalAddressMap& map);
// The scope of the interface of that name, by its IPv6 addresses; 0 when no such interface has one.
uint32_t scopeOfInterface(const std::string& name);

} // namespace BRINA
