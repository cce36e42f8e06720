// Address text from outside (settings files): whatever a parser accepts must print to text that reads
// back to the same value.
#include "BRINA/Network/IPAddress.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

void require(bool holds) {
    if (!holds) __builtin_trap();
}

void checkParse(const std::string& text) {
    BRINA::IPAddress first;
    if (!first.parse(text)) return;
    const std::string printed = first.toString();
    BRINA::IPAddress second;
    require(second.parse(printed) && second == first && second.toString() == printed);
}

void checkParseWithPort(const std::string& text) {
    BRINA::IPAddress first;
    if (!first.parseWithPort(text)) return;
    BRINA::IPAddress second;
    require(second.parseWithPort(first.toStringWithPort()) && second == first);
}

void checkParse4(const std::string& text) {
    BRINA::IPAddress first;
    if (!first.parse4(text)) return;
    std::string printed = first.toString4();
    if (text.find(',') != std::string::npos) printed += "," + std::to_string(first.port());
    BRINA::IPAddress second;
    require(second.parse4(printed) && second == first);
}

// Any 16 bytes, not only those the parser happens to reach, print to text that parses back.
void checkPrint(const uint8_t* data, size_t size) {
    if (size < 16) return;
    const BRINA::IPAddress first(data, 0, 0);
    BRINA::IPAddress second;
    require(second.parse(first.toString()) && second.sameAddress(first));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    checkParse(text);
    checkParseWithPort(text);
    checkParse4(text);
    checkPrint(data, size);
    return 0;
}
