// Which of the Target's masks takes a format, and the copy routine and sink format that selectFormat and
// the play phase settle on.
#include "tests/support/LogCapture.h"
#include "transport/Sync.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using namespace TESSERA;
using Lines = std::vector<std::string>;
constexpr uint32_t kDsd64 = 0x0202, kDsd128 = 0x0402;

TEST(SelectFormatTest, CanFormatPicksTheMaskByKindAndBitOrder) {
    Sync sync;
    sync.pcmMask = StreamFormat(0x0E03, 0x001E);       // 1 or 2 channels; 16, 24, 32 bits; 44.1/48 kHz x1, x2
    sync.dsdLsbMask = StreamFormat(0x2510002, 0x0602); // LSB little; DSD64, DSD128
    sync.dsdMsbMask = StreamFormat(0x2A10002, 0x0A02); // MSB big; DSD64, DSD256
    const uint32_t rows[][3] = {
        // clang-format off
        {0x0202, 0x000A, true}, {0x0202, 0x0022, false}, {0x1002, 0x000A, false}, {0x0204, 0x000A, false},
        {0x0202, 0x1000000A, false}, {0x2510002, 0x0402, true}, {0x2510002, 0x0802, false},
        {0x2A10002, 0x0802, true}, {0x2A10002, 0x0402, false}, {0x2910002, 0x0202, false},
        {0x10000, 0x1002, false}, {0x2C10002, 0x0C02, true}, {0x2C10004, 0x0202, false}, {0, 0x000A, false},
        // clang-format on
    };
    for (const auto& [type, rate, taken] : rows)
        EXPECT_EQ(sync.canFormat(type, rate), taken != 0) << std::hex << type << " " << rate;
}

// Silence of the host's format after the copy routine: its byte, or -1 when the bytes differ.
int copiedMute(const Sync& sync) {
    uint8_t in[16], out[16];
    std::fill(std::begin(in), std::end(in), sync.sourceFormat.muteByte());
    sync.copyRoutine(out, in, sizeof in);
    return std::all_of(out, out + 16, [&](uint8_t b) { return b == out[0]; }) ? out[0] : -1;
}

TEST(SelectFormatTest, SourceAndTargetMasksSettleRoutineAndSink) {
    const struct {
        uint32_t source, lsbMask, msbMask;
        CopyRoutine routine;
        uint32_t sink;
        const char* log; // null: no line
    } rows[] = {
        // clang-format off
        {0x2510002, 0x2910002, 0, copySwap, 0x2910002, "DSD COVERT LSB littele -> LSB Big"},
        {0x2910010, 0x2510010, 0x2A10010, copySwap, 0x2510010, "DSD COVERT LSB Big -> LSB littele"},
        {0x2510002, 0x0D10002, 0x2A10002, copyReverse, 0x2A10002, "DSD COVERT LSB littele -> MSB Big"},
        {0x2510001, 0, 0x2610001, copySwapReverse, 0x2610001, "DSD COVERT LSB littele -> MSB littele"},
        {0x2910002, 0, 0x2E10002, copyReverse, 0x2610002, "DSD COVERT LSB Big -> MSB littele"},
        {0x2910002, 0, 0x2A10002, copySwapReverse, 0x2A10002, "DSD COVERT LSB Big -> MSB Big"},
        {0x2610002, 0x2510002, 0x2A10002, copySwap, 0x2A10002, "DSD COVERT MSB littele -> MSB Big"},
        {0x2A10020, 0, 0x2610020, copySwap, 0x2610020, "DSD COVERT MSB Big -> MSB littele"},
        {0x2610002, 0x2910002, 0, copyReverse, 0x2910002, "DSD COVERT MSB littele -> LSB Big"},
        {0x2610002, 0x2510002, 0, copySwapReverse, 0x2510002, "DSD COVERT MSB littele -> LSB littele"},
        {0x2A10002, 0x2D10002, 0, copyReverse, 0x2510002, "DSD COVERT MSB Big -> LSB littele"},
        {0x2A10002, 0x2910002, 0, copySwapReverse, 0x2910002, "DSD COVERT MSB Big -> LSB Big"},
        {0x2520002, 0, 0x2A10002, copyReverse, 0x2A10002, "DSD COVERT LSB littele -> MSB Big"}, // 4-bit source
        {0x2A10002, 0x2510002, 0x2A10002, copyPlain, 0x2A10002, nullptr},
        {0x0402, 0, 0, copyPlain, 0x0402, nullptr},
        // clang-format on
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message() << std::hex << r.source << " " << r.lsbMask << " " << r.msbMask);
        Sync sync;
        sync.pcmMask = StreamFormat(0x0E02, 0x001E);
        sync.dsdLsbMask = StreamFormat(r.lsbMask, kDsd64 | kDsd128);
        sync.dsdMsbMask = StreamFormat(r.msbMask, kDsd64 | kDsd128);
        const uint32_t rate = r.source & 0xF0000 ? kDsd128 : 0x0014;
        TESTING::LogCapture log(6);
        ASSERT_TRUE(sync.selectFormat(r.source, rate));
        EXPECT_EQ(log.messages(), r.log ? Lines{r.log} : Lines{});
        EXPECT_EQ(std::tuple(sync.copyRoutine, sync.sourceFormat, sync.sinkFormat),
                  std::tuple(r.routine, StreamFormat(r.source, rate), StreamFormat(r.sink, rate)));
        // Silence of the host's format must arrive as silence of the Target's, and inverted when asked.
        EXPECT_EQ(copiedMute(sync), sync.sinkFormat.muteByte());
        sync.setPlayPhase(false, true);
        EXPECT_EQ(copiedMute(sync), static_cast<uint8_t>(~sync.sinkFormat.muteByte()));
        sync.setPlayPhase(true, true);
        EXPECT_EQ(sync.copyRoutine, r.routine);
    }
}

TEST(SelectFormatTest, RefusalChangesNothing) {
    const struct {
        uint32_t source, rate, lsbMask, msbMask;
        const char* log;
    } rows[] = {
        // clang-format off
        {0x0202, 0x0022, 0x2510002, 0x2A10002, nullptr},
        {0x2510002, kDsd64, 0x2920002, 0x2A20002, nullptr}, // no 1-bit DSD
        {0x1510002, kDsd64, 0x2910002, 0x2A10002, nullptr}, // 16-bit DSD words
        {0x2510002, kDsd64, 0x0910002, 0x0A10002, nullptr}, // no 32-bit words
        {0x2510002, kDsd64, 0x2510004, 0x2A10002, "DSD COVERT LSB littele -> LSB Big"}, // the bit order alone
        {0x2510002, 0x0802, 0, 0x2A10002, "DSD COVERT LSB littele -> MSB Big"},
        {0x2A10004, kDsd64, 0x2510002, 0, "DSD COVERT MSB Big -> LSB littele"},
        // clang-format on
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message() << std::hex << r.source << " " << r.lsbMask << " " << r.msbMask);
        Sync sync;
        sync.pcmMask = StreamFormat(0x0E02, 0x001E);
        sync.dsdLsbMask = StreamFormat(r.lsbMask, kDsd64);
        sync.dsdMsbMask = StreamFormat(r.msbMask, kDsd64);
        ASSERT_TRUE(sync.selectFormat(0x0402, 0x000A));
        sync.copyRoutine = copyReverseInverted; // never left by selectFormat, so that any write shows
        TESTING::LogCapture log(6);
        EXPECT_FALSE(sync.selectFormat(r.source, r.rate));
        EXPECT_EQ(log.messages(), r.log ? Lines{r.log} : Lines{});
        EXPECT_EQ(std::tuple(sync.copyRoutine, sync.sourceFormat, sync.sinkFormat),
                  std::tuple(CopyRoutine{copyReverseInverted}, StreamFormat(0x0402, 0x000A),
                             StreamFormat(0x0402, 0x000A)));
    }
}

TEST(SelectFormatTest, PlayPhasePicksTheMemberOfThePair) {
    const struct {
        CopyRoutine from;
        bool host, target;
        CopyRoutine to;
        Lines log;
    } rows[] = {
        // clang-format off
        {copyPlain, false, false, copyPlain, {"Host Phase Normal", "Play Phase Normal"}},
        {copyPlain, true, false, copyPlainInverted, {"Host Phase Invert", "Play Phase Invert"}},
        {copyPlainInverted, true, true, copyPlain, {"Host Phase Invert", "Play Phase Normal"}},
        {copySwapInverted, true, true, copySwap, {"Host Phase Invert", "Play Phase Normal"}},
        {copyReverse, false, true, copyReverseInverted, {"Host Phase Normal", "Play Phase Invert"}},
        {copySwapReverseInverted, false, false, copySwapReverse, {"Host Phase Normal", "Play Phase Normal"}},
        // clang-format on
    };
    for (const auto& r : rows) {
        Sync sync;
        sync.copyRoutine = r.from;
        TESTING::LogCapture log(6);
        sync.setPlayPhase(r.host, r.target);
        EXPECT_EQ(log.messages(), r.log) << r.host << r.target;
        sync.setPlayPhase(r.host, r.target); // the pair's member, not a toggle
        EXPECT_EQ(sync.copyRoutine, r.to) << r.host << r.target;
    }
}

} // namespace
