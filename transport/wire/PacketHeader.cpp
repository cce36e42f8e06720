#include "transport/wire/PacketHeader.h"

#include <algorithm>

namespace TESSERA {

PacketHeader::PacketHeader(const uint8_t* wire) {
    std::copy(wire, wire + kSize, bytes.begin());
}

void PacketHeader::setWords(uint16_t w8, uint16_t w10, uint16_t w12, uint16_t w14) {
    setWord8(w8);
    setWord10(w10);
    setWord12(w12);
    setWord14(w14);
}

void PacketHeader::setPair(uint32_t low, uint32_t high) {
    BRINA::writeLE32(bytes.data() + 8, low);
    BRINA::writeLE32(bytes.data() + 12, high);
}

void PacketHeader::copyTo(uint8_t* out) const {
    std::copy(bytes.begin(), bytes.end(), out);
}

} // namespace TESSERA
