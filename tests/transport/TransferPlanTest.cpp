// Every format of the rate table through every calculation: each plan keeps the bounds that its arithmetic
// guarantees.
#include "transport/TransferConfig.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

namespace {

using TESSERA::StreamFormat;
using TESSERA::TransferConfig;

struct Shape {
    StreamFormat format;
    double frameRate; // frames per second: the rate for PCM, one 32-bit word per channel for DSD
};

std::vector<Shape> everyFormat() {
    const uint32_t pcmCodes[] = {0x01, 0x0A, 0x0C, 0x12, 0x14,  0x22, 0x24,
                                 0x42, 0x44, 0x82, 0x84, 0x102, 0x104};
    const double pcmHz[] = {8000,   44100,  48000,  88200,  96000,   176400, 192000,
                            352800, 384000, 705600, 768000, 1411200, 1536000};
    std::vector<Shape> shapes;
    for (size_t r = 0; r < std::size(pcmCodes); ++r) {
        for (uint32_t kind : {0x100u, 0x200u, 0x400u, 0x800u, 0x1000u, 0x2000u, 0x4000u}) {
            for (uint32_t channels : {1u, 2u, 4u, 8u, 16u, 32u})
                shapes.push_back({StreamFormat(kind | channels, pcmCodes[r]), pcmHz[r]});
        }
    }
    for (uint32_t multiplier = 0x200; multiplier <= 0x8000; multiplier <<= 1) { // DSD64 and up
        for (uint32_t family : {2u, 4u}) {
            const double hz = (family == 2 ? 44100.0 : 48000.0) * (multiplier >> 3);
            for (uint32_t channels : {1u, 2u, 8u, 16u}) // 1, 2, 6 and 8 channels
                shapes.push_back({StreamFormat(0x2510000u | channels, multiplier | family), hz / 32});
        }
    }
    return shapes;
}

enum Mode { Fix, Var, FixAuto, VarAuto, Random, Auto, AutoVar };
const uint32_t kModeResults[] = {TESSERA::FixMode,    TESSERA::VarMode, TESSERA::FixMode, TESSERA::VarMode,
                                 TESSERA::RandomMode, TESSERA::FixMode, TESSERA::VarMode};
constexpr uint32_t kCycle = 1000, kLimit = 400, kRandomLimit = 500, kShortest = 412; // 400 x 1.03
constexpr double kFloat = 1e-6; // the relative error of the few float steps in a cycle's bytes

bool plan(TransferConfig& c, int mode) {
    if (mode == AutoVar) // a VarMode profile searched upward from 400 to 1000, then its fallbacks
        c.profileFlags = TESSERA::ProfileVar | TESSERA::ProfileCycleFromMin, c.profileMin = 40,
        c.profileMax = 100;
    return mode == Fix       ? c.configTransferFix(kCycle, 0)
           : mode == Var     ? c.configTransferVar(kCycle, 0)
           : mode == FixAuto ? c.configTransferFixAuto(kCycle)
           : mode == VarAuto ? c.configTransferVarAuto(kCycle)
           : mode == Random  ? c.configTransferRandom(kRandomLimit, kCycle, 0)
                             : c.configAuto(0); // Auto has no profile: straight to the fallback
}

// Steady packets of whole frames that fit; VarMode short of the cycle fills its room.
void checkVar(const TransferConfig& c, const Shape& shape) {
    const uint32_t frame = shape.format.bytesPerFrame();
    EXPECT_TRUE(c.maxPacketBytes == c.fixedPacketBytes && c.fixedPacketBytes > 0 &&
                c.fixedPacketBytes <= c.PackDataSize && c.fixedPacketBytes % frame == 0);
    EXPECT_TRUE(c.cycle % 50 == 0 || c.fixedPacketBytes == c.PackDataSize / frame * frame);
    // Frames of a cycle: at most one over (its bytes round up to a frame), short by under a frame per packet
    // (each packet rounds down to whole frames) and the frames of one microsecond (a ceiled room-full cycle).
    const double fr = shape.frameRate, pc = c.packetCount, planned = c.fixedPacketBytes / frame * pc;
    const double wanted = fr * c.cycle / 1e6, slack = wanted * kFloat;
    EXPECT_TRUE(planned <= wanted + 1 + slack && planned > wanted - pc - fr / 1e6 - slack) << planned;
}

// A steady cycle of varying packets, planned in Q14 frames per packet over C / packetCount microseconds.
void checkFix(const TransferConfig& c, const Shape& shape, bool fallback) {
    const double B = shape.format.bytesPerSecond(), F = shape.format.bytesPerFrame();
    const double C = c.cycle, pc = c.packetCount, size = c.PackDataSize, fr = shape.frameRate;
    EXPECT_TRUE(c.fixedPacketBytes == 0 && c.cycle % 50 == 0); // the steps of 50 from a start on that grid
    EXPECT_GE(pc * size, 1.03 * B * C / 1e6 * (1 - kFloat));   // the room holds 3% over the average
    EXPECT_TRUE(c.maxPacketBytes <= size && c.maxPacketBytes >= c.framesQ14 / 16384.0 * F);
    // Frames per second: never over the rate; short only by the microseconds that C / packetCount drops
    // and by the under 1/16,384 frame that each packet's Q14 count drops.
    const double planned = c.framesQ14 * pc * 1e6 / C / 16384;
    const double dropped = fr * (c.cycle % c.packetCount) / C, q14 = pc * 1e6 / C / 16384;
    EXPECT_TRUE(planned <= fr * (1 + 1e-12) && planned >= fr - dropped - q14 - 1e-6) << planned;
    // Short of the cycle asked for (not Auto's fallback), one more step of 50 microseconds would need more
    // than the packets left.
    TransferConfig longer = c;
    EXPECT_TRUE(fallback || c.cycle == kCycle || c.packetCount == c.PackDataCount ||
                (longer.configTransferFix(c.cycle + 50, 0) && longer.cycle == c.cycle));
}

TEST(TransferPlanTest, EveryFormatSizeAndCountKeepsThePlanPromises) {
    for (const Shape& shape : everyFormat()) {
        for (uint16_t size : {uint16_t{1214}, uint16_t{1428}, uint16_t{8936}}) {
            for (uint16_t count : {uint16_t{10}, uint16_t{0xFFFF}}) {
                for (int mode = Fix; mode <= AutoVar; ++mode) {
                    TransferConfig c;
                    c.format = shape.format, c.PackDataSize = size, c.PackDataCount = count,
                    c.limitCycle = kLimit;
                    const bool ok = plan(c, mode);
                    SCOPED_TRACE(testing::Message() << "mode " << mode << " " << size << "/" << count << " 0x"
                                                    << std::hex << shape.format.type() << std::dec << " "
                                                    << shape.format.rate() << " Hz: cycle " << c.cycle);
                    if (!ok) {
                        // Only Random may refuse: every other room is at least 12,140 bytes, and holds 50
                        // microseconds of the fastest format (10,240 bytes).
                        TransferConfig fix = c;
                        EXPECT_TRUE(mode == Random && fix.configTransferFix(kCycle, 0) &&
                                    fix.cycle <= kRandomLimit);
                        continue;
                    }
                    ASSERT_TRUE(c.cycle > 0 && c.packetCount >= 1);
                    EXPECT_EQ(std::tuple(c.PackDataCount, c.transferMode),
                              std::tuple(count, kModeResults[mode]));
                    EXPECT_TRUE(mode != Random || (c.randomLimit == kRandomLimit && c.cycle > kRandomLimit));
                    // The five calculations start from a cycle and never read limitCycle; the search and its
                    // fallback keep the limit with margin.
                    EXPECT_TRUE(mode < Auto ? c.packetCount <= c.PackDataCount && c.cycle <= kCycle
                                            : c.cycle >= kShortest);
                    c.transferMode == TESSERA::VarMode ? checkVar(c, shape)
                                                       : checkFix(c, shape, mode == Auto);
                }
            }
        }
    }
}

} // namespace
