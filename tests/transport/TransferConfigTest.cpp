// The transfer calculations from a format and the Target's packet limits: known plans and refusals, the
// profile search, and the Auto plan's fallback.
#include "transport/TransferConfig.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace TESSERA;
using Lines = std::vector<std::string>;

const StreamFormat cd(0x202, 0x000A);           // 44,100 Hz, 16-bit, stereo: B 176,400, F 4
const StreamFormat hiRes(0x402, 0x0024);        // 192,000 Hz, 24-bit, stereo: B 1,152,000, F 6
const StreamFormat mono48(0x201, 0x000C);       // 48,000 Hz, 16-bit, mono: B 96,000, F 2
const StreamFormat widest(0x1020, 0x0104);      // 1,536,000 Hz, 64-bit, 16 channels: B 196,608,000, F 128
const StreamFormat dsd512x8(0x2510010, 0x8004); // 196,608,000 Hz DSD, 8 channels: B 196,608,000, F 32
constexpr uint32_t kUntouched = 7;

TransferConfig configFor(StreamFormat format, uint16_t size, uint16_t count, uint32_t limitCycle = 400) {
    TransferConfig c;
    c.format = format, c.PackDataSize = size, c.PackDataCount = count, c.limitCycle = limitCycle;
    c.cycle = kUntouched;
    return c;
}

enum Op { Fix, Var, FixAuto, VarAuto, Rand, VarAsio };

TEST(TransferConfigTest, CalculationsGiveTheKnownPlans) {
    const struct {
        const char* what;
        StreamFormat format;
        uint16_t size, count;
        Op op;
        uint32_t a, b, c; // the operation's arguments in order
        bool ok;
        uint32_t cycle, packetCount = 0, framesQ14 = 0, maxPacketBytes = 0, fixedPacketBytes = 0, mode = 0;
    } rows[] = {
        // clang-format off
        {"cd fix", cd, 1428, 10, Fix, 1000, 1, 0, true, 1000, 1, 722534, 184, 0, FixMode},
        // 400 us: 70.56 bytes and 3% come to 72.68, up to 73 and whole frames 76, which 74 can't hold.
        {"bytes' ceiling", cd, 74, 1, Fix, 400, 1, 0, true, 350, 1, 252887, 64, 0, FixMode},
        {"var room-full", hiRes, 1428, 10, Var, 2000, 1, 0, true, 1240, 1, 238 << 14, 1428, 1428, VarMode},
        {"var bytes' ceiling", cd, 1428, 10, Var, 1000, 1, 0, true, 1000, 1, 45 << 14, 180, 180, VarMode}, // 176.4 up to 177, 45 frames
        {"var two packets", hiRes, 1428, 10, Var, 2000, 10, 0, true, 2000, 2, 192 << 14, 1152, 1152, VarMode},
        {"fix grid off 50", hiRes, 1428, 10, Fix, 1201, 1, 0, true, 1151, 1, 3620732, 1368, 0, 1},
        // 1.03 as a float: the bytes come to 69,120, which fits; with 1.03 as a double they are 69,136.
        {"float margin", StreamFormat(0x210, 0x0A), 6913, 10, Fix, 95106, 0, 0, true, 95106, 10, 6871302, 6912, 0, 1},
        {"over 533 frames", mono48, 8936, 10, Fix, 20000, 1, 0, true, 20000, 1, 15728640, 1978, 0, 1},
        {"fix down to 20", widest, 1428, 7, Fix, 1020, 0, 0, true, 20, 3, 150994, 1280, 0, 1},
        {"not even 50 fits", widest, 1428, 7, Fix, 1000, 0, 0, false, kUntouched},
        {"random at its limit", cd, 1428, 10, Rand, 1000, 1000, 1, false, 1000, 1, 722534, 184, 0, 1},
        {"random below", cd, 1428, 10, Rand, 999, 1000, 1, true, 1000, 1, 722534, 184, 0, RandomMode},
        {"asio odd frames", cd, 1428, 10, VarAsio, 1764, 0, 0, true, 10000, 2, 220 << 14, 882, 882, 0},
        {"fix auto", hiRes, 1428, 10, FixAuto, 2000, 0, 0, true, 2000, 2, 3145728, 1188, 0, 1},
        {"var auto", hiRes, 1428, 10, VarAuto, 2000, 0, 0, true, 2000, 2, 192 << 14, 1152, 1152, 0},
        {"fix auto plateau", hiRes, 1428, 1, FixAuto, 2000, 0, 0, true, 1150, 1, 3617587, 1368, 0, 1},
        {"auto no count", cd, 1428, 0, VarAuto, 1000, 0, 0, false, kUntouched},
        {"no rate", StreamFormat(0x202, 0), 1428, 10, Var, 1000, 1, 0, false, kUntouched},
        {"frame over size", widest, 100, 10, Var, 1000, 1, 0, false, kUntouched},
        {"asio no bytes", cd, 1428, 10, VarAsio, 0, 0, 0, false, kUntouched},
        // clang-format on
    };
    for (const auto& r : rows) {
        TransferConfig c = configFor(r.format, r.size, r.count);
        const bool ok = r.op == Fix       ? c.configTransferFix(r.a, r.b)
                        : r.op == Var     ? c.configTransferVar(r.a, r.b)
                        : r.op == FixAuto ? c.configTransferFixAuto(r.a)
                        : r.op == VarAuto ? c.configTransferVarAuto(r.a)
                        : r.op == Rand    ? c.configTransferRandom(r.a, r.b, r.c)
                                          : c.configTransferVarASIO(r.a);
        EXPECT_EQ(ok, r.ok) << r.what;
        EXPECT_EQ(c.cycle, r.cycle) << r.what;
        if (r.cycle == kUntouched) continue;
        EXPECT_EQ(std::tuple(c.cycle, c.packetCount, c.framesQ14, c.maxPacketBytes, c.fixedPacketBytes,
                             c.transferMode, c.randomLimit),
                  std::tuple(r.cycle, r.packetCount, r.framesQ14, r.maxPacketBytes, r.fixedPacketBytes,
                             r.mode, ok && r.op == Rand ? r.a : 0u))
            << r.what;
    }
}

// 44,100 Hz 16-bit stereo, one packet of 1428 bytes: FixMode holds cycles up to 7800 on the 50-grid from
// 10,000, VarMode up to 8096; the limit with margin is 412 for VarMode, 10,300 for 10,000.
TEST(TransferConfigTest, ProfileSearchAcceptsAsTheTableSays) {
    const std::tuple<uint16_t, uint16_t, uint16_t, uint32_t, bool, uint32_t, const char*> rows[] = {
        {0x00, 50, 1000, 400, true, 7800, "Fix"}, // flags, min, max, limit; accepted, cycle, the closing line
        {0x00, 50, 30, 400, false, 300, nullptr},  {0x03, 0, 30, 400, true, 300, nullptr},
        {0x02, 50, 1000, 400, true, 8096, "Var"},  {0x12, 10, 100, 400, true, 1000, "Var"},
        {0x04, 900, 0, 400, false, 7800, nullptr}, {0x06, 10, 100, 400, true, 450, "Var"},
        {0x0F, 0, 0, 10000, true, 10300, "Var"},
    };
    for (const auto& [flags, min, max, limit, ok, cycle, done] : rows) {
        SCOPED_TRACE(testing::Message() << flags << " " << min << "-" << max);
        TESTING::LogCapture log(6);
        TransferConfig c = configFor(cd, 1428, 10, limit);
        c.profileFlags = flags, c.profileMin = min, c.profileMax = max;
        EXPECT_EQ(std::tuple(c.configProfile(), c.cycle), std::tuple(ok, cycle));
        // 42949673474 is the 44,100 Hz 16-bit stereo word as one number: rate word 0xA over type word 0x202.
        Lines expected{"PROFILE min=" + std::to_string(min) + " max=" + std::to_string(max) + " prof" +
                       std::to_string(flags) +
                       " config42949673474 PackDataSize1428 PackDataCount10 limitCycle" +
                       std::to_string(limit)};
        if (done) expected.push_back(std::string("PROFILE done ") + done);
        EXPECT_EQ(log.messages(), expected);
    }
}

TEST(TransferConfigTest, AutoFallsBackAndRestoresTheCount) {
    // format, size, flags, min, max, start; accepted, whether it falls back, cycle, mode
    const std::tuple<StreamFormat, uint16_t, uint16_t, uint16_t, uint16_t, uint32_t, bool, bool, uint32_t,
                     uint32_t>
        rows[] = {
            // clang-format off
        {cd, 1428, 0, 0, 0, 0, true, true, 450, FixMode}, // FixAuto at limitCycle, past 400 x 1.03 in a step of 50
        {cd, 1428, 0x04, 900, 0, 0, true, false, 9000, FixMode},
        {cd, 1428, 0x02, 900, 850, 0, true, true, 450, VarMode},
        {cd, 0, 0, 0, 0, 1000, false, true, 0, VarMode},
        // One byte a packet: the longest cycle 65,535 bytes hold is short of the limit at every start.
        {dsd512x8, 1, 0, 0, 0, 0, true, true, 300, FixMode}, // 65,535 one-byte packets hold 300 us at most
            // clang-format on
        };
    for (const auto& [format, size, flags, min, max, start, ok, falls, cycle, mode] : rows) {
        SCOPED_TRACE(testing::Message() << size << " " << flags << " " << min << "-" << max);
        TESTING::LogCapture log(6);
        TransferConfig c = configFor(format, size, 10);
        c.transferMode = VarMode, c.profileFlags = flags, c.profileMin = min, c.profileMax = max;
        EXPECT_EQ(c.configAuto(start), ok);
        EXPECT_EQ(std::tuple(c.cycle, c.transferMode, c.PackDataCount, c.forceAuto),
                  std::tuple(cycle, mode, 10, false));
        const Lines lines = log.messages(); // without a profile no search lines at all
        ASSERT_GE(lines.size(), 2u);
        EXPECT_EQ(lines.size() == 3, flags == 0);
        EXPECT_EQ(
            std::tuple(lines.front(), lines.back(), log.contains("configTransferAuto falt")),
            std::tuple("configTransferAuto " + std::to_string(start), "configTransferAuto done", falls));
    }
}

} // namespace
