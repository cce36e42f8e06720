#include "BRINA/Network/IPAddress.h"

#include <cstdlib>

namespace BRINA {

namespace {

const char kHexDigits[] = "0123456789abcdef";

std::string hexGroup(uint16_t value) {
    std::string out;
    int shift = 12;
    while (shift > 0 && ((value >> shift) & 0xF) == 0)
        shift -= 4;
    for (; shift >= 0; shift -= 4)
        out += kHexDigits[(value >> shift) & 0xF];
    return out;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

void storeGroup(uint8_t* bytes, int i, uint16_t value) {
    bytes[2 * i] = static_cast<uint8_t>(value >> 8);
    bytes[2 * i + 1] = static_cast<uint8_t>(value);
}

// atoi's reading (blanks, sign, digits up to the first other character), but defined when it overflows.
long readDecimal(const std::string& text) {
    return std::strtol(text.c_str(), nullptr, 10);
}

} // namespace

std::string IPAddress::toString() const {
    std::string out;
    bool compressed = false;
    int i = 0;
    while (i < 8) {
        if (!compressed && group(i) == 0) {
            int end = i;
            while (end < 8 && group(end) == 0)
                ++end;
            if (end - i >= 2) {
                if (i == 0) out += ':';
                out += ':';
                compressed = true;
                i = end;
                continue;
            }
        }
        out += hexGroup(group(i));
        if (i != 7) out += ':';
        ++i;
    }
    return out;
}

std::string IPAddress::toStringWithPort() const {
    return toString() + "," + std::to_string(port());
}

std::string IPAddress::toString4() const {
    return std::to_string(address[12]) + "." + std::to_string(address[13]) + "." +
           std::to_string(address[14]) + "." + std::to_string(address[15]);
}

bool IPAddress::parse(const std::string& text) {
    int index = 0;
    int compressAt = -1;
    int digits = 0;
    uint16_t accumulator = 0;
    bool afterColon = false;
    for (char c : text) {
        if (c == ':') {
            digits = 0;
            if (afterColon) {
                if (compressAt >= 0) return false;
                compressAt = index;
            } else {
                // Groups go straight into the record, so a failure leaves those read so far behind.
                storeGroup(address.data(), index, accumulator);
                accumulator = 0;
                if (++index == 8) return false;
            }
            afterColon = true;
            continue;
        }
        const int value = hexValue(c);
        if (value < 0 || ++digits > 4) return false;
        accumulator = static_cast<uint16_t>((accumulator << 4) | value);
        afterColon = false;
    }
    storeGroup(address.data(), index, accumulator);
    const int read = index + 1;
    if (compressAt < 0) return read == 8;
    if (read == 8) return false;
    // The groups behind the compression point move to the end; the gap between becomes zeros.
    const int tail = read - compressAt;
    for (int k = tail - 1; k >= 0; --k)
        storeGroup(address.data(), 8 - tail + k, group(compressAt + k));
    for (int g = compressAt; g < 8 - tail; ++g)
        storeGroup(address.data(), g, 0);
    return true;
}

bool IPAddress::parseWithPort(const std::string& text) {
    const size_t comma = text.find(',');
    if (comma == std::string::npos) return false;
    if (!parse(text.substr(0, comma))) return false;
    uint32_t number = 0;
    for (size_t i = comma + 1; i < text.size(); ++i) {
        const char c = text[i];
        if (c < '0' || c > '9') return false;
        // Modulo 65,536 digit by digit, so that any run of digits stays within range.
        number = (number * 10 + static_cast<uint32_t>(c - '0')) % 65536;
    }
    setPort(static_cast<uint16_t>(number));
    return true;
}

bool IPAddress::parse4(const std::string& text) {
    const size_t comma = text.find(',');
    const std::string dotted = text.substr(0, comma);
    uint8_t parts[4];
    size_t start = 0;
    for (int i = 0; i < 4; ++i) {
        const size_t dot = dotted.find('.', start);
        if ((i < 3) == (dot == std::string::npos)) return false;
        const long value = readDecimal(dotted.substr(start, dot - start));
        // A number beyond one byte is refused rather than cut to its low byte.
        if (value < 0 || value > 255) return false;
        parts[i] = static_cast<uint8_t>(value);
        start = dot + 1;
    }
    long number = port();
    if (comma != std::string::npos) {
        // The port follows the numbers' reading, and wraps modulo 65,536 as that of parseWithPort does.
        number = readDecimal(text.substr(comma + 1));
        if (number < 0) return false;
    }
    // The IPv4-mapped form, as the four-byte constructor makes it; the scope is never set from text.
    address.fill(0);
    address[10] = address[11] = 0xFF;
    for (int i = 0; i < 4; ++i)
        address[12 + i] = parts[i];
    setPort(static_cast<uint16_t>(number % 65536));
    return true;
}

bool IPAddress::operator<(const IPAddress& o) const {
    if (address != o.address) return address < o.address;
    if (portNet != o.portNet) return portNet < o.portNet;
    return scopeId < o.scopeId;
}

} // namespace BRINA
