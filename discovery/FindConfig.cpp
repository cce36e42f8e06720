#include "discovery/FindConfig.h"

namespace TESSERA {

uint64_t makeProductId(const std::string& text) {
    if (text.size() < 8) return kNoProduct;
    uint64_t id = 0;
    for (int i = 7; i >= 0; --i)
        id = (id << 8) | static_cast<uint8_t>(text[static_cast<size_t>(i)]);
    return id;
}

} // namespace TESSERA
