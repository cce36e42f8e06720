#include "format/CopyReference.h"

namespace TESSERA {

namespace {

// Byte j of each output word is table[source byte j], or table[source byte 3 - j] when the word swaps.
template <bool Swap>
void tableWords(uint8_t* destination, const uint8_t* source, uint32_t count,
                const std::array<uint8_t, 256>& table) {
    for (uint32_t word = 0; word < count / 4; ++word) {
        const uint8_t* in = source + 4 * word;
        uint8_t* out = destination + 4 * word;
        for (uint32_t j = 0; j < 4; ++j)
            out[j] = table[in[Swap ? 3 - j : j]];
    }
}

constexpr std::array<uint8_t, 256> makeByteTable(uint8_t flip) {
    std::array<uint8_t, 256> table{};
    for (uint32_t i = 0; i < 256; ++i)
        table[i] = static_cast<uint8_t>(i ^ flip);
    return table;
}

constexpr std::array<uint8_t, 256> kSame = makeByteTable(0x00);
constexpr std::array<uint8_t, 256> kComplement = makeByteTable(0xFF);

} // namespace

void tableCopyPlain(uint8_t* destination, const uint8_t* source, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i)
        destination[i] = source[i];
}

void tableCopyPlainInverted(uint8_t* destination, const uint8_t* source, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i)
        destination[i] = kComplement[source[i]];
}

void tableCopySwap(uint8_t* d, const uint8_t* s, uint32_t n) {
    tableWords<true>(d, s, n, kSame);
}
void tableCopySwapInverted(uint8_t* d, const uint8_t* s, uint32_t n) {
    tableWords<true>(d, s, n, kComplement);
}
void tableCopyReverse(uint8_t* d, const uint8_t* s, uint32_t n) {
    tableWords<false>(d, s, n, bitReverseTable);
}
void tableCopyReverseInverted(uint8_t* d, const uint8_t* s, uint32_t n) {
    tableWords<false>(d, s, n, bitReverseInvertedTable);
}
void tableCopySwapReverse(uint8_t* d, const uint8_t* s, uint32_t n) {
    tableWords<true>(d, s, n, bitReverseTable);
}
void tableCopySwapReverseInverted(uint8_t* d, const uint8_t* s, uint32_t n) {
    tableWords<true>(d, s, n, bitReverseInvertedTable);
}

} // namespace TESSERA
