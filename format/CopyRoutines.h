#pragma once
// The routines that move stream bytes into packets, converting DSD bit and byte order and inverting on the
// way. All of them run on the worker thread: no allocation, no lock, no log, no state of their own.
#include <array>
#include <cstdint>

namespace TESSERA {

// (destination, source, byte count); source and destination never overlap.
using CopyRoutine = void (*)(uint8_t* destination, const uint8_t* source, uint32_t count);

// Byte routines: every byte of the count. A count of 0 does nothing, whatever the pointers.
void copyPlain(uint8_t* destination, const uint8_t* source, uint32_t count);
void copyPlainInverted(uint8_t* destination, const uint8_t* source, uint32_t count);

// Word routines: count / 4 whole 32-bit words; the last 1 to 3 bytes of another count are left out.
void copySwap(uint8_t* destination, const uint8_t* source, uint32_t count);
void copySwapInverted(uint8_t* destination, const uint8_t* source, uint32_t count);
void copyReverse(uint8_t* destination, const uint8_t* source, uint32_t count);
void copyReverseInverted(uint8_t* destination, const uint8_t* source, uint32_t count);
void copySwapReverse(uint8_t* destination, const uint8_t* source, uint32_t count);
void copySwapReverseInverted(uint8_t* destination, const uint8_t* source, uint32_t count);

namespace detail {
constexpr std::array<uint8_t, 256> makeBitReverseTable(uint8_t flip) {
    std::array<uint8_t, 256> table{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t reversed = 0;
        for (uint32_t bit = 0; bit < 8; ++bit)
            reversed |= ((i >> bit) & 1u) << (7 - bit);
        table[i] = static_cast<uint8_t>(reversed ^ flip);
    }
    return table;
}
} // namespace detail

// Entry i is i with its bit order reversed: the earliest DSD sample of a byte moves to the other end.
inline constexpr std::array<uint8_t, 256> bitReverseTable = detail::makeBitReverseTable(0x00);
// The complement of each entry, for the inverted routines.
inline constexpr std::array<uint8_t, 256> bitReverseInvertedTable = detail::makeBitReverseTable(0xFF);

} // namespace TESSERA
