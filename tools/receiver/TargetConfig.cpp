#include "tools/receiver/TargetConfig.h"

namespace TESSERA {

uint64_t productIdOf(const std::string& text) {
    constexpr uint64_t kNoProduct = ~uint64_t{0};
    if (text.size() < 8) return kNoProduct;
    // A longer text gives its first eight characters; eight bytes of 0xFF give all ones by themselves.
    uint64_t id = 0;
    for (int i = 0; i < 8; ++i)
        id |= static_cast<uint64_t>(static_cast<uint8_t>(text[i])) << (8 * i);
    return id;
}

std::string pathWithSuffix(const std::string& path, const std::string& suffix) {
    if (path.empty()) return path;
    const size_t slash = path.find_last_of('/');
    size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) dot = path.size();
    return path.substr(0, dot) + suffix + path.substr(dot);
}

} // namespace TESSERA
