// Every format of the rate table through every calculation: each plan keeps the bounds that its arithmetic
// guarantees.
#include "transport/TransferConfig.h"

#include <gtest/gtest.h>

#include <cmath>
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
const char* const kModeNames[] = {"Fix", "Var", "FixAuto", "VarAuto", "Random", "Auto", "AutoVar"};
const uint32_t kModeResults[] = {TESSERA::FixMode,    TESSERA::VarMode, TESSERA::FixMode, TESSERA::VarMode,
                                 TESSERA::RandomMode, TESSERA::FixMode, TESSERA::VarMode};
constexpr uint32_t kCycle = 1000, kLimit = 400, kRandomLimit = 500, kShortest = 412; // 400 x 1.03
constexpr uint32_t kFallback = 450; // the first step of 50 from the limit that is past 412
constexpr double kFloat = 1e-6;     // the relative error of the few float steps in a cycle's bytes

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

struct Plan {
    const Shape& shape;
    const TransferConfig& c;
    int mode;
};

// Steady packets of whole frames that fit; the cycle moves only when a room-full can't hold it.
void checkVar(const Plan& run) {
    const TransferConfig& c = run.c;
    const uint32_t frame = run.shape.format.bytesPerFrame();
    EXPECT_EQ(c.maxPacketBytes, c.fixedPacketBytes);
    EXPECT_GT(c.fixedPacketBytes, 0u);
    EXPECT_LE(c.fixedPacketBytes, c.PackDataSize);
    EXPECT_EQ(c.fixedPacketBytes % frame, 0u);
    if ((run.mode == Var || run.mode == VarAuto) && c.cycle != kCycle) {
        EXPECT_EQ(c.packetCount, c.PackDataCount);
        EXPECT_EQ(c.fixedPacketBytes, c.PackDataSize / frame * frame);
    }
    // Frames of a cycle: at most one over (its bytes round up to a frame), short by under a frame per packet
    // (each packet rounds down to whole frames) and the frames of one microsecond (a ceiled room-full cycle).
    const double fr = run.shape.frameRate, pc = c.packetCount, planned = c.fixedPacketBytes / frame * pc;
    const double wanted = fr * c.cycle / 1e6, slack = wanted * kFloat;
    EXPECT_LE(planned, wanted + 1 + slack);
    EXPECT_GT(planned, wanted - pc - fr / 1e6 - slack);
}

// A steady cycle of varying packets, planned in Q14 frames per packet over C / packetCount microseconds.
void checkFix(const Plan& run) {
    const TransferConfig& c = run.c;
    const double B = run.shape.format.bytesPerSecond(), F = run.shape.format.bytesPerFrame();
    const double C = c.cycle, pc = c.packetCount, size = c.PackDataSize, fr = run.shape.frameRate;
    EXPECT_EQ(c.fixedPacketBytes, 0u);
    EXPECT_EQ(c.cycle % 50, 0u);                             // the steps of 50 from a start on that grid
    EXPECT_GE(pc * size, 1.03 * B * C / 1e6 * (1 - kFloat)); // the room holds 3% over the average
    EXPECT_LE(c.maxPacketBytes, size); // the average plus 491/16,384 in whole frames fits the size
    EXPECT_GE(c.maxPacketBytes, c.framesQ14 / 16384.0 * F);
    // Frames per second: never over the rate; short only by the microseconds that C / packetCount drops
    // and by the under 1/16,384 frame that each packet's Q14 count drops.
    const double planned = c.framesQ14 * pc * 1e6 / C / 16384;
    const double dropped = fr * (c.cycle % c.packetCount) / C, q14 = pc * 1e6 / C / 16384;
    EXPECT_LE(planned, fr * (1 + 1e-12));
    EXPECT_GE(planned, fr - dropped - q14 - 1e-6);
}

// A plan short of the cycle it was asked for uses its packet budget, or says why it can't: in FixMode one
// more step of 50 microseconds would need more than the packets left. VarMode fills its packets then.
void checkBudget(const Plan& run) {
    const TransferConfig& c = run.c;
    const uint32_t frame = run.shape.format.bytesPerFrame();
    if (run.mode == Auto) {
        EXPECT_EQ(c.cycle, kFallback); // a room of 65,535 packets holds any step
    } else if (c.transferMode == TESSERA::VarMode) {
        EXPECT_TRUE(c.cycle % 50 == 0 || c.fixedPacketBytes == c.PackDataSize / frame * frame);
    } else if (c.cycle != kCycle && c.packetCount != c.PackDataCount) {
        TransferConfig longer = c;
        EXPECT_TRUE(longer.configTransferFix(c.cycle + 50, 0));
        EXPECT_EQ(longer.cycle, c.cycle);
    }
}

// The five calculations start from a cycle and never read limitCycle; the search and its fallback keep the
// limit with margin.
void checkCycle(const Plan& run) {
    const TransferConfig& c = run.c;
    if (run.mode < Auto) {
        EXPECT_LE(c.packetCount, c.PackDataCount);
        EXPECT_LE(c.cycle, kCycle);
        return;
    }
    EXPECT_GE(c.cycle, kShortest);
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
                    const Plan run{shape, c, mode};
                    SCOPED_TRACE(testing::Message()
                                 << kModeNames[mode] << " " << size << "/" << count << " 0x" << std::hex
                                 << shape.format.type() << std::dec << " " << shape.format.rate()
                                 << " Hz: cycle " << c.cycle);
                    if (!ok) {
                        // Only Random may refuse: every other room is at least 12,140 bytes, and holds 50
                        // microseconds of the fastest format (10,240 bytes).
                        EXPECT_EQ(mode, Random);
                        TransferConfig fix = c;
                        EXPECT_TRUE(fix.configTransferFix(kCycle, 0));
                        EXPECT_LE(fix.cycle, kRandomLimit);
                        continue;
                    }
                    ASSERT_GT(c.cycle, 0u);
                    ASSERT_GE(c.packetCount, 1);
                    EXPECT_EQ(c.PackDataCount, count);
                    EXPECT_EQ(c.transferMode, kModeResults[mode]);
                    if (mode == Random) {
                        EXPECT_EQ(c.randomLimit, kRandomLimit);
                        EXPECT_GT(c.cycle, kRandomLimit);
                    }
                    checkCycle(run);
                    checkBudget(run);
                    c.transferMode == TESSERA::VarMode ? checkVar(run) : checkFix(run);
                }
            }
        }
    }
}

} // namespace
