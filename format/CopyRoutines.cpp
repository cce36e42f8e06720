#include "format/CopyRoutines.h"

#include <cstring>

namespace TESSERA {

namespace {

// A word of T with every byte equal to b.
template <typename T> constexpr T repeated(uint8_t b) {
    return static_cast<T>(~T(0) / 0xFF * b);
}

// Bytes in reverse order inside each 32-bit lane of x.
template <typename T> constexpr T swapBytesInLanes(T x) {
    constexpr T lowBytes = static_cast<T>(~T(0) / 0xFFFF * 0x00FF);       // 0x00FF00FF...
    constexpr T lowHalves = static_cast<T>(~T(0) / 0xFFFFFFFFu * 0xFFFF); // 0x0000FFFF...
    x = ((x >> 8) & lowBytes) | ((x & lowBytes) << 8);
    return ((x >> 16) & lowHalves) | ((x & lowHalves) << 16);
}

// Bits reversed inside each byte of x: the same as looking every byte up in bitReverseTable.
template <typename T> constexpr T reverseBitsInBytes(T x) {
    x = ((x >> 1) & repeated<T>(0x55)) | ((x & repeated<T>(0x55)) << 1);
    x = ((x >> 2) & repeated<T>(0x33)) | ((x & repeated<T>(0x33)) << 2);
    return ((x >> 4) & repeated<T>(0x0F)) | ((x & repeated<T>(0x0F)) << 4);
}

template <bool Swap, bool Reverse, bool Invert, typename T> constexpr T convert(T x) {
    if constexpr (Swap) x = swapBytesInLanes(x);
    if constexpr (Reverse) x = reverseBitsInBytes(x);
    if constexpr (Invert) x = static_cast<T>(~x);
    return x;
}

template <bool Swap, bool Reverse, bool Invert, typename T>
inline void convertOne(uint8_t* destination, const uint8_t* source) {
    T x;
    std::memcpy(&x, source, sizeof x);
    x = convert<Swap, Reverse, Invert>(x);
    std::memcpy(destination, &x, sizeof x);
}

// Shift-and-mask arithmetic on 64 bits at a time instead of four table look-ups per word: the compiler
// turns it into vector code, and the result is the table's byte for byte.
template <bool Swap, bool Reverse, bool Invert>
void copyWords(uint8_t* destination, const uint8_t* source, uint32_t count) {
    const uint32_t bytes = count & ~3u;
    uint32_t at = 0;
    for (; at + 8 <= bytes; at += 8)
        convertOne<Swap, Reverse, Invert, uint64_t>(destination + at, source + at);
    if (at < bytes) convertOne<Swap, Reverse, Invert, uint32_t>(destination + at, source + at);
}

} // namespace

void copyPlain(uint8_t* destination, const uint8_t* source, uint32_t count) {
    if (count != 0)
        std::memcpy(destination, source, count); // a null pointer with 0 bytes is a valid call here
}

void copyPlainInverted(uint8_t* destination, const uint8_t* source, uint32_t count) {
    uint32_t at = 0;
    for (; at + 8 <= count; at += 8)
        convertOne<false, false, true, uint64_t>(destination + at, source + at);
    for (; at < count; ++at)
        destination[at] = static_cast<uint8_t>(~source[at]);
}

void copySwap(uint8_t* d, const uint8_t* s, uint32_t n) {
    copyWords<true, false, false>(d, s, n);
}
void copySwapInverted(uint8_t* d, const uint8_t* s, uint32_t n) {
    copyWords<true, false, true>(d, s, n);
}
void copyReverse(uint8_t* d, const uint8_t* s, uint32_t n) {
    copyWords<false, true, false>(d, s, n);
}
void copyReverseInverted(uint8_t* d, const uint8_t* s, uint32_t n) {
    copyWords<false, true, true>(d, s, n);
}
void copySwapReverse(uint8_t* d, const uint8_t* s, uint32_t n) {
    copyWords<true, true, false>(d, s, n);
}
void copySwapReverseInverted(uint8_t* d, const uint8_t* s, uint32_t n) {
    copyWords<true, true, true>(d, s, n);
}

} // namespace TESSERA
