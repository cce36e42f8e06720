#include "transport/FeedbackLine.h"

#include <cstdio>

namespace TESSERA {

namespace {

// Four decimals of a Q14 fraction, the fifth rounded into them.
uint32_t decimals(uint32_t fraction) {
    return (((fraction & 0x3FFFu) * 100000u >> 14) + 5u) / 10u;
}

} // namespace

std::string q14Text(int32_t value) {
    const uint32_t magnitude = value < 0 ? static_cast<uint32_t>(-value) : static_cast<uint32_t>(value);
    char text[16];
    std::snprintf(text, sizeof text, " %c%c.%04u", value < 0 ? '-' : ' ', (magnitude & 0x4000u) ? '1' : '0',
                  decimals(magnitude));
    return text;
}

std::string q14Whole(uint64_t value) {
    char text[32];
    std::snprintf(text, sizeof text, "%llu.%04u", static_cast<unsigned long long>(value >> 14),
                  decimals(static_cast<uint32_t>(value)));
    return text;
}

std::string feedbackLine(uint32_t kind, int16_t value, int16_t average, int16_t rateAdjust, bool fixedPackets,
                         uint32_t cycleTime, uint64_t framesPerCycleQ14) {
    std::string line =
        "info rcv " + std::to_string(kind) + q14Text(value) + q14Text(average) + q14Text(rateAdjust);
    if (fixedPackets) return line + " cy=" + std::to_string(cycleTime);
    return line + " fs=" + q14Whole(framesPerCycleQ14);
}

} // namespace TESSERA
