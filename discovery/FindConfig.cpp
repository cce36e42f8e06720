#include "discovery/FindConfig.h"

namespace TESSERA {

uint64_t makeProductId(const std::string& text) {
    if (text.size() < 8) return kNoProduct;
    uint64_t id = 0;
    for (int i = 7; i >= 0; --i)
        id = (id << 8) | static_cast<uint8_t>(text[static_cast<size_t>(i)]);
    return id;
}

void setProducts(FindConfig& config, uint64_t productId, uint64_t findId) {
    if (findId == 0) {
        config.targetProduct = 0;
    } else if (productId != 0) {
        config.targetProduct = productId;
        if (findId != productId) config.extraProducts.push_back(findId);
    } else {
        config.targetProduct = findId;
    }
}

} // namespace TESSERA
