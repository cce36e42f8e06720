#pragma once
// The copy routines in their plainest form, a table look-up per byte: the yardstick that the fast routines
// must match byte for byte, and the baseline of the copy benchmark.
#include "format/CopyRoutines.h"

namespace TESSERA {

void tableCopyPlain(uint8_t* destination, const uint8_t* source, uint32_t count);
void tableCopyPlainInverted(uint8_t* destination, const uint8_t* source, uint32_t count);
void tableCopySwap(uint8_t* destination, const uint8_t* source, uint32_t count);
void tableCopySwapInverted(uint8_t* destination, const uint8_t* source, uint32_t count);
void tableCopyReverse(uint8_t* destination, const uint8_t* source, uint32_t count);
void tableCopyReverseInverted(uint8_t* destination, const uint8_t* source, uint32_t count);
void tableCopySwapReverse(uint8_t* destination, const uint8_t* source, uint32_t count);
void tableCopySwapReverseInverted(uint8_t* destination, const uint8_t* source, uint32_t count);

} // namespace TESSERA
