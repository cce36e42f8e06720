#pragma once
// The text of the worker's log line for one feedback message.
#include <cstdint>
#include <string>

namespace TESSERA {

// A Q14 value as the feedback line shows it: a blank, the sign ("-" or a blank), the unit digit, ".", and
// four decimals rounded from the fraction.
std::string q14Text(int32_t value);
// An unsigned Q14 value of any size: the whole part, ".", four decimals.
std::string q14Whole(uint64_t value);
// "info rcv " with the kind, the raw value, the average and rateAdjust, then the cycle ("cy=") of a plan
// with fixed packets, or the frames per cycle ("fs=") of one with fixed cycles.
std::string feedbackLine(uint32_t kind, int16_t value, int16_t average, int16_t rateAdjust, bool fixedPackets,
                         uint32_t cycleTime, uint64_t framesPerCycleQ14);

} // namespace TESSERA
