#pragma once
// The machine's own addresses, as the platform lists them, behind names of our own.
#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace BRINA {

enum class OsAddressFamily { IPv4, IPv6 };

// One address of one local interface.
struct OsInterfaceAddress {
    std::array<uint8_t, 16> bytes{}; // network order; an IPv4 address in its IPv4-mapped form
    uint32_t index = 0;              // the interface index, 0 when the interface vanished meanwhile
    std::string name;                // the interface name, UTF-8
    std::string description;         // the interface's kind and state in words, see docs/platform.md
};

// Every address of the family on every interface, whatever its state; false when the platform refuses.
bool osLocalAddresses(OsAddressFamily family, std::vector<OsInterfaceAddress>& out);

} // namespace BRINA
