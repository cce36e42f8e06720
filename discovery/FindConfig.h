#pragma once
// What the user of a TESSERA::Find asks for: which products count, which versions, and how the Host greets.
#include <cstdint>
#include <string>
#include <vector>

namespace TESSERA {

constexpr uint64_t kNoProduct = ~uint64_t{0};

struct FindConfig {
    uint64_t targetProduct = kNoProduct; // product a Target must carry; 0 accepts every Target
    uint16_t maxVersion = 1;             // highest protocol version of an Output; 0 accepts every version
    std::string hostName;                // sent to each Target in HOST_REQ
    bool nopBreak = false;               // NOPBREAK_REQ before the Output queries
    bool loopback = false;               // keep ::1 among the interfaces
    std::vector<uint64_t> extraProducts; // further products accepted beside targetProduct
    uint64_t ownProduct = kNoProduct;    // product id sent in HOST_REQ
};

// The product id of an eight-character ASCII text, the first character in the lowest byte; a shorter
// text, or one whose id would be all ones, gives kNoProduct.
uint64_t makeProductId(const std::string& text);

// The filter of a driver whose two product words are productId and findId: findId 0 accepts every Target;
// otherwise productId when it isn't 0, with findId accepted beside it, or else findId alone.
void setProducts(FindConfig& config, uint64_t productId, uint64_t findId);

// The system's own product word, from which the driver makes both of its product ids.
constexpr char kProductText[] = "QUINTARA";

} // namespace TESSERA
