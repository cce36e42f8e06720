#pragma once
// CRC-16/USB over a transfer's data: polynomial 0x8005 reflected (0xA001), start 0xFFFF, result complemented.
// Check value over "123456789": 0xB4C8; no bytes give 0x0000.
#include "BRINA/BufferCS_const.h"

#include <cstdint>

namespace TESSERA {

uint16_t crc16Usb(BRINA::BufferCS_const data);

} // namespace TESSERA
