#include "transport/wire/Crc16.h"

#include <array>

namespace TESSERA {

namespace {

constexpr std::array<uint16_t, 256> makeTable() {
    std::array<uint16_t, 256> table{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint16_t crc = static_cast<uint16_t>(i);
        for (int bit = 0; bit < 8; ++bit)
            crc = static_cast<uint16_t>((crc & 1) ? (crc >> 1) ^ 0xA001 : crc >> 1);
        table[i] = crc;
    }
    return table;
}

constexpr std::array<uint16_t, 256> kTable = makeTable();

} // namespace

uint16_t crc16Usb(BRINA::BufferCS_const data) {
    uint16_t crc = 0xFFFF;
    for (uint32_t i = 0; i < data.size; ++i)
        crc = static_cast<uint16_t>((crc >> 8) ^ kTable[(crc ^ data.data[i]) & 0xFF]);
    return static_cast<uint16_t>(~crc);
}

} // namespace TESSERA
