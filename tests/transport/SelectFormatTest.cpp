// The copy routine and sink format that selectFormat and the play phase settle on from the Target's masks.
#include "tests/support/LogCapture.h"
#include "tests/support/OpenSync.h"
#include "transport/Sync.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace TESSERA;
using Lines = std::vector<std::string>;
constexpr uint32_t kDsd64 = 0x0202, kDsd128 = 0x0402;

// Silence of the host's format after the copy routine: its byte, or -1 when the bytes differ.
int copiedMute(const TESTING::OpenSync& sync) {
    uint8_t out[16], in[16];
    std::fill(in, in + 16, sync.sourceFormat.muteByte()), sync.copyRoutine(out, in, sizeof in);
    return std::all_of(out, out + 16, [&](uint8_t b) { return b == out[0]; }) ? out[0] : -1;
}

TEST(SelectFormatTest, SourceAndTargetMasksSettleRoutineAndSink) {
    const struct { // log: null for no line
        uint32_t source, lsbMask, msbMask;
        CopyRoutine routine;
        uint32_t sink;
        const char* log;
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
        TESTING::OpenSync sync;
        sync.pcmMask = StreamFormat(0x0E02, 0x001E);
        sync.dsdLsbMask = StreamFormat(r.lsbMask, kDsd64 | kDsd128),
        sync.dsdMsbMask = StreamFormat(r.msbMask, kDsd64 | kDsd128);
        const uint32_t rate = r.source & 0xF0000 ? kDsd128 : 0x0014;
        TESTING::LogCapture log(6);
        ASSERT_TRUE(sync.selectFormat(r.source, rate));
        EXPECT_EQ(log.messages(), r.log ? Lines{r.log} : Lines{});
        EXPECT_EQ(std::tuple(sync.copyRoutine, sync.sourceFormat, sync.sinkFormat),
                  std::tuple(r.routine, StreamFormat(r.source, rate), StreamFormat(r.sink, rate)));
        // Silence of the host's format must arrive as silence of the Target's, inverted when the Target asks
        // (the pair's member, not a toggle), and as it was when the host's is inverted too.
        EXPECT_EQ(copiedMute(sync), sync.sinkFormat.muteByte());
        for (const bool host : {false, false, true}) {
            log.clear(), sync.setPlayPhase(host, true);
            const Lines lines{host ? "Host Phase Invert" : "Host Phase Normal",
                              host ? "Play Phase Normal" : "Play Phase Invert"};
            EXPECT_EQ(
                std::tuple(copiedMute(sync), log.messages(), sync.copyRoutine == r.routine),
                std::tuple(int{host ? sync.sinkFormat.muteByte() : uint8_t(~sync.sinkFormat.muteByte())},
                           lines, host));
        }
    }
}

// A question by rate alone, without a bit order, is answered from both DSD masks.
TEST(SelectFormatTest, DsdWithoutBitOrderTakesEitherMask) {
    TESTING::OpenSync sync;
    sync.dsdLsbMask = StreamFormat(0x2510002, 0x0602); // DSD64, DSD128
    sync.dsdMsbMask = StreamFormat(0x2A10002, 0x0A02); // DSD64, DSD256
    for (const auto& [rate, taken] : {std::pair(0x0402u, true), {0x0802u, true}, {0x1002u, false}})
        EXPECT_EQ(sync.canFormat(0x10000, rate), taken) << rate;
}

TEST(SelectFormatTest, RefusalChangesNothing) {
    const std::tuple<uint32_t, uint32_t, uint32_t, uint32_t, const char*> rows[] = {
        {0x0202, 0x0022, 0x2510002, 0x2A10002, nullptr},
        {0x2510002, kDsd64, 0x2920002, 0x2A20002, nullptr},                             // no 1-bit DSD
        {0x1510002, kDsd64, 0x2910002, 0x2A10002, nullptr},                             // 16-bit DSD words
        {0x2510002, kDsd64, 0x0910002, 0x0A10002, nullptr},                             // no 32-bit words
        {0x2510002, kDsd64, 0x2510004, 0x2A10002, "DSD COVERT LSB littele -> LSB Big"}, // the bit order alone
        {0x2510002, 0x0802, 0, 0x2A10002, "DSD COVERT LSB littele -> MSB Big"},
        {0x2A10004, kDsd64, 0x2510002, 0, "DSD COVERT MSB Big -> LSB littele"},
    };
    for (const auto& [source, rate, lsbMask, msbMask, line] : rows) {
        SCOPED_TRACE(testing::Message() << std::hex << source << " " << lsbMask << " " << msbMask);
        TESTING::OpenSync sync;
        sync.pcmMask = StreamFormat(0x0E02, 0x001E);
        sync.dsdLsbMask = StreamFormat(lsbMask, kDsd64), sync.dsdMsbMask = StreamFormat(msbMask, kDsd64);
        ASSERT_TRUE(sync.selectFormat(0x0402, 0x000A));
        sync.copyRoutine = copyReverseInverted; // never left by selectFormat, so that any write shows
        TESTING::LogCapture log(6);
        EXPECT_FALSE(sync.selectFormat(source, rate));
        EXPECT_EQ(log.messages(), line ? Lines{line} : Lines{});
        EXPECT_EQ(std::tuple(sync.copyRoutine, sync.sourceFormat, sync.sinkFormat),
                  std::tuple(CopyRoutine{copyReverseInverted}, StreamFormat(0x0402, 0x000A),
                             StreamFormat(0x0402, 0x000A)));
    }
}

} // namespace
