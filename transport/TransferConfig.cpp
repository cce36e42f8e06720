#include "transport/TransferConfig.h"

#include "BRINA/LogStream.h"
#include "BRINA/Time.h"

#include <cmath>

namespace TESSERA {

namespace {

constexpr uint32_t kStep = 50;                 // microseconds: the cycle moves in steps of this size
constexpr uint32_t kLongestStep = 0x7FFFFFFFu; // the longest cycle that wrap-aware comparisons can order
// A search settles in a few steps (fits, jumps to the limit, or repeats); more means a wrapped clock.
constexpr uint32_t kSearchSteps = 64;

// limitCycle as a float times 1.03 as a double, truncated; an overlong product wraps like any time value.
uint32_t withMargin(uint32_t limit) {
    return static_cast<uint32_t>(
        static_cast<uint64_t>(static_cast<double>(static_cast<float>(limit)) * 1.03));
}

} // namespace

TransferProfile TransferConfig::result() const {
    TransferProfile p;
    p.cycle = cycle;
    p.fixedPacketBytes = fixedPacketBytes;
    p.maxPacketBytes = maxPacketBytes;
    p.framesQ14 = framesQ14;
    p.packetCount = packetCount;
    p.randomLimit = randomLimit;
    p.transferMode = transferMode;
    return p;
}

uint32_t TransferConfig::room(uint32_t maxCount) const {
    const uint32_t limit = (maxCount != 0 && maxCount < PackDataCount) ? maxCount : PackDataCount;
    return uint32_t{PackDataSize} * limit;
}

bool TransferConfig::plannable(uint32_t start) const {
    // A cycle of 0 or a format without a data rate would plan packets without frames.
    return start != 0 && format.bytesPerSecond() != 0 && format.bytesPerFrame() != 0;
}

// In floats, each step rounded: 1,000,000 / C, B divided by that, times 1.03f; the ceiling; whole frames.
uint64_t TransferConfig::cycleBytes(uint32_t cycleTime, bool margin) const {
    const float perCycle =
        static_cast<float>(format.bytesPerSecond()) / (1000000.0f / static_cast<float>(cycleTime));
    const uint64_t bytes = static_cast<uint64_t>(std::ceil(margin ? perCycle * 1.03f : perCycle));
    const uint64_t frame = format.bytesPerFrame();
    return (bytes + frame - 1) / frame * frame;
}

// The cycle that carries the bytes, ceiling(1,000,000 / (B / bytes)) in floats; callers refuse > 32 bits.
uint64_t TransferConfig::cycleFor(uint32_t bytes) const {
    const float perMicrosecond = static_cast<float>(format.bytesPerSecond()) / static_cast<float>(bytes);
    return static_cast<uint64_t>(std::ceil(1000000.0f / perMicrosecond));
}

uint64_t TransferConfig::framesQ14For(uint32_t cycleTime, uint32_t count) const {
    return ((uint64_t{format.bytesPerSecond()} / format.bytesPerFrame()) << 14) * (cycleTime / count) /
           1000000u;
}

// The frames of a packet plus 491 / 16,384 of them, whole frames: what the feedback can make of it at most.
// In 64 bits: framesQ14 x 491 outgrows 32 bits from about 533 frames per packet.
uint64_t TransferConfig::largestPacket(uint64_t q14) const {
    return uint64_t{format.bytesPerFrame()} * ((q14 + ((q14 * 491u) >> 14) + 16383u) >> 14);
}

bool TransferConfig::configTransferFix(uint32_t start, uint32_t maxCount) {
    const uint32_t space = room(maxCount);
    if (space == 0 || !plannable(start)) return false;
    fixedPacketBytes = 0;
    const uint32_t most = space / PackDataSize;
    // The largest packet, after the feedback's 3%, fits the data size too: with the most packets it shrinks,
    // so a cycle fits when the room holds it and its largest packet fits when spread over the most packets.
    const auto fits = [&](uint32_t c) {
        return cycleBytes(c, true) < space && largestPacket(framesQ14For(c, most)) <= PackDataSize;
    };
    uint32_t c = start;
    if (!fits(c)) {
        // Shorter cycles never need more bytes, so halving finds the same first fitting step as walking down.
        if (start <= kStep || start - kStep > kLongestStep) return false;
        uint32_t low = 1;
        uint32_t high = (start - 1) / kStep; // the last step that leaves a cycle above 0
        if (!fits(start - kStep * high)) return false;
        while (low < high) {
            const uint32_t mid = low + (high - low) / 2;
            if (fits(start - kStep * mid)) {
                high = mid;
            } else {
                low = mid + 1;
            }
        }
        c = start - kStep * low;
    }
    const uint64_t bytes = cycleBytes(c, true);
    uint32_t count = static_cast<uint32_t>(bytes == 0 ? 1 : (bytes + PackDataSize - 1) / PackDataSize);
    // One packet more, or a few, when the rounding to whole frames lets the largest packet outgrow the size.
    uint32_t enough = most;
    while (count < enough) {
        const uint32_t mid = count + (enough - count) / 2;
        if (largestPacket(framesQ14For(c, mid)) <= PackDataSize) {
            enough = mid;
        } else {
            count = mid + 1;
        }
    }
    cycle = c;
    packetCount = static_cast<uint16_t>(count);
    const uint64_t q14 = framesQ14For(c, count);
    framesQ14 = static_cast<uint32_t>(q14);
    maxPacketBytes = static_cast<uint32_t>(largestPacket(q14));
    transferMode = FixMode;
    return true;
}

bool TransferConfig::configTransferVar(uint32_t start, uint32_t maxCount) {
    const uint32_t space = room(maxCount);
    const uint32_t frame = format.bytesPerFrame();
    // A packet smaller than one frame would carry nothing.
    if (space == 0 || !plannable(start) || PackDataSize < frame) return false;
    uint64_t bytes = cycleBytes(start, false);
    uint64_t c = start;
    if (bytes > space) {
        bytes = space;
        c = cycleFor(space);
        if (c > UINT32_MAX) return false;
    }
    cycle = static_cast<uint32_t>(c);
    packetCount = static_cast<uint16_t>((bytes + PackDataSize - 1) / PackDataSize);
    const uint32_t packet = static_cast<uint32_t>(bytes / packetCount) / frame * frame;
    fixedPacketBytes = packet;
    maxPacketBytes = packet;
    framesQ14 = (packet / frame) << 14;
    transferMode = VarMode;
    return true;
}

bool TransferConfig::configTransferFixAuto(uint32_t start) {
    return autoCount(false, start);
}

bool TransferConfig::configTransferVarAuto(uint32_t start) {
    return autoCount(true, start);
}

// The packet count grows until the cycle holds; a count that gives the same cycle as the one before ends the
// search only once it is past PackDataCount, since below that one more packet may still lengthen the cycle by
// less than a step. Once the cycle holds, a larger count plans the same packets, and past PackDataCount the
// room no longer grows: either way the search ends on the plan of PackDataCount packets, worked out at once.
bool TransferConfig::autoCount(bool var, uint32_t start) {
    if (PackDataSize == 0 || PackDataCount == 0) return false;
    return var ? configTransferVar(start, PackDataCount) : configTransferFix(start, PackDataCount);
}

bool TransferConfig::configTransferRandom(uint32_t limit, uint32_t start, uint32_t maxCount) {
    if (!configTransferFix(start, maxCount) || limit == 0 || !BRINA::timeAfter(cycle, limit)) return false;
    randomLimit = limit;
    transferMode = RandomMode;
    return true;
}

bool TransferConfig::configTransferVarASIO(uint32_t bytes) {
    const uint32_t frame = format.bytesPerFrame();
    if (bytes == 0 || PackDataSize == 0 || !plannable(1)) return false;
    const uint64_t c = cycleFor(bytes);
    if (c > UINT32_MAX) return false;
    uint32_t count = 1;
    uint32_t n = bytes;
    while (n > PackDataSize) { // halves at most 32 times
        count *= 2;
        n /= 2;
    }
    if (count > UINT16_MAX || n < frame) return false;
    cycle = static_cast<uint32_t>(c);
    packetCount = static_cast<uint16_t>(count);
    fixedPacketBytes = n;
    maxPacketBytes = n;
    framesQ14 = (n / frame) << 14;
    transferMode = VarMode;
    return true;
}

bool TransferConfig::base(uint32_t start) {
    const bool var = (profileFlags & ProfileVar) != 0;
    if ((profileFlags & ProfileAutoCount) != 0 || forceAuto) return autoCount(var, start);
    return var ? configTransferVar(start, 1) : configTransferFix(start, 1);
}

bool TransferConfig::accepted(uint32_t result, uint32_t shortest) const {
    using BRINA::timeAfter;
    using BRINA::timeBefore;
    if (timeBefore(result, shortest)) return false;
    if ((profileFlags & ProfileNoUpperLimit) != 0) return true;
    if (timeBefore(result, profileMin * 10u)) return false;
    // FixMode searching upward from the shortest cycle has no upper bound.
    const bool fixFromMin = (profileFlags & (ProfileCycleFromMin | ProfileVar)) == ProfileCycleFromMin;
    return fixFromMin || !timeAfter(result, profileMax * 10u);
}

// Steps upward from the shortest cycle until a result passes.
bool TransferConfig::searchFromMin(uint32_t shortest) {
    using BRINA::timeAfter;
    using BRINA::timeBefore;
    const bool var = (profileFlags & ProfileVar) != 0;
    const bool noUpper = (profileFlags & ProfileNoUpperLimit) != 0;
    uint32_t c = profileMin * 10u;
    if (timeBefore(c, limitCycle)) c = limitCycle;
    if (!var && noUpper && timeAfter(c, limitCycle)) c = limitCycle;
    uint32_t last = 0;
    for (uint32_t step = 0; step < kSearchSteps; ++step) {
        if (!base(c)) {
            // A plan that fails at a cycle fails at every longer one; only a cycle of 0 tries again.
            if (c != 0) return false;
            c = kStep;
            continue;
        }
        if (accepted(cycle, shortest)) return true;
        if (cycle == last) return false;
        last = cycle;
        if (cycle == c && var && !noUpper && timeAfter(c, profileMax * 10u)) {
            return false; // every longer cycle fits as well, and lies past the upper bound too
        }
        if (cycle == c && timeBefore(c, shortest)) {
            // The steps before the limit would all fit and all be refused: skip them.
            c += kStep * ((shortest - c - 1) / kStep);
            last = c;
        }
        c += kStep;
    }
    return false;
}

bool TransferConfig::configProfile() {
    cycle = 0;
    if (profileMin == 0 && profileMax == 0 && profileFlags == 0) return false;
    BRINA::LogStream(6, "PROFILE min=") << profileMin << " max=" << profileMax << " prof" << profileFlags
                                        << " config" << format.toU64() << " PackDataSize" << PackDataSize
                                        << " PackDataCount" << PackDataCount << " limitCycle" << limitCycle;
    // Bit 0x10 (a random profile) is ignored: with ProfileVar beside it the search plans VarMode.
    const bool var = (profileFlags & ProfileVar) != 0;
    const uint32_t shortest = var ? withMargin(limitCycle) : limitCycle;
    if ((profileFlags & ProfileCycleFromMin) != 0) {
        if (!searchFromMin(shortest)) return false;
    } else {
        if (!base(profileMax * 10u)) return false;
        if (!accepted(cycle, shortest)) {
            // VarMode without an upper limit keeps a cycle shorter than the limit, without the closing line.
            return var && (profileFlags & ProfileNoUpperLimit) != 0;
        }
    }
    BRINA::LogStream(6, "PROFILE done ") << (var ? "Var" : "Fix");
    return true;
}

// The fallback: the Auto form at the given cycle, lengthened until it is not before the limit with margin.
bool TransferConfig::fallback(uint32_t start) {
    const bool var = (profileFlags & ProfileVar) != 0;
    const uint32_t shortest = withMargin(limitCycle);
    bool planned = autoCount(var, start);
    if (planned && cycle == start && BRINA::timeBefore(start, shortest)) {
        // Steps up to the limit fit if the last does; a shortened result repeats at every longer start.
        const uint32_t c = start + kStep * ((shortest - start + kStep - 1) / kStep);
        planned = autoCount(var, c);
    }
    return planned;
}

bool TransferConfig::configAuto(uint32_t start) {
    BRINA::LogStream(6, "configTransferAuto ") << start;
    bool planned = configProfile();
    if (!planned) {
        forceAuto = true;
        planned = configProfile();
        if (planned) forceAuto = false;
    }
    if (!planned) {
        BRINA::LogStream(6, "configTransferAuto falt");
        const uint16_t keptCount = PackDataCount;
        PackDataCount = 0xFFFF;
        planned = fallback(start != 0 ? start : limitCycle);
        PackDataCount = keptCount;
        forceAuto = false;
        if (!planned) cycle = 0; // no plan: nothing stale for the caller to stream with
    }
    BRINA::LogStream(6, "configTransferAuto done");
    return planned;
}

} // namespace TESSERA
