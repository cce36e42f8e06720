#include "tests/support/LogCapture.h"
#include "tests/support/OpenSync.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace TESSERA;
using Lines = std::vector<std::string>;

constexpr uint32_t kDsd64 = 0x0202;
constexpr uint32_t kDsd128 = 0x0402;

// Every byte of a mute block after copyRoutine, or -1 when the bytes differ.
int copiedMute(const TESTING::OpenSync& sync) {
    uint8_t in[16], out[16];
    for (auto& b : in)
        b = sync.sourceFormat.muteByte();
    sync.copyRoutine(out, in, sizeof in);
    for (auto b : out)
        if (b != out[0]) return -1;
    return out[0];
}

TEST(SelectFormatTest, SourceAndTargetMasksSettleRoutineAndSink) {
    const struct {
        const char* row;
        uint32_t source, lsbMask, msbMask;
        CopyRoutine routine;
        uint32_t sink;
        const char* log; // null: no line
    } rows[] = {
        {"1", 0x2510002, 0x2910002, 0, copySwap, 0x2910002, "DSD COVERT LSB littele -> LSB Big"},
        {"2", 0x2910010, 0x2510010, 0x2A10010, copySwap, 0x2510010, "DSD COVERT LSB Big -> LSB littele"},
        {"3", 0x2510002, 0, 0x2A10002, copyReverse, 0x2A10002, "DSD COVERT LSB littele -> MSB Big"},
        {"3 (LSB mask without 32-bit words)", 0x2510002, 0x0D10002, 0x2A10002, copyReverse, 0x2A10002,
         "DSD COVERT LSB littele -> MSB Big"},
        {"4", 0x2510001, 0, 0x2610001, copySwapReverse, 0x2610001, "DSD COVERT LSB littele -> MSB littele"},
        {"5", 0x2910002, 0, 0x2E10002, copyReverse, 0x2610002, "DSD COVERT LSB Big -> MSB littele"},
        {"6", 0x2910002, 0, 0x2A10002, copySwapReverse, 0x2A10002, "DSD COVERT LSB Big -> MSB Big"},
        {"7", 0x2610002, 0x2510002, 0x2A10002, copySwap, 0x2A10002, "DSD COVERT MSB littele -> MSB Big"},
        {"8", 0x2A10020, 0, 0x2610020, copySwap, 0x2610020, "DSD COVERT MSB Big -> MSB littele"},
        {"9", 0x2610002, 0x2910002, 0, copyReverse, 0x2910002, "DSD COVERT MSB littele -> LSB Big"},
        {"10", 0x2610002, 0x2510002, 0, copySwapReverse, 0x2510002, "DSD COVERT MSB littele -> LSB littele"},
        {"11", 0x2A10002, 0x2510002, 0, copyReverse, 0x2510002, "DSD COVERT MSB Big -> LSB littele"},
        {"11 (both byte orders)", 0x2A10002, 0x2D10002, 0, copyReverse, 0x2510002,
         "DSD COVERT MSB Big -> LSB littele"},
        {"12", 0x2A10002, 0x2910002, 0, copySwapReverse, 0x2910002, "DSD COVERT MSB Big -> LSB Big"},
        {"4-bit source", 0x2520002, 0, 0x2A10002, copyReverse, 0x2A10002,
         "DSD COVERT LSB littele -> MSB Big"},
        {"DSD taken as it is", 0x2A10002, 0x2510002, 0x2A10002, copyPlain, 0x2A10002, nullptr},
        {"PCM", 0x0402, 0, 0, copyPlain, 0x0402, nullptr},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(std::string("row ") + r.row);
        TESTING::OpenSync sync;
        sync.pcmMask = StreamFormat(0x0E02, 0x001E);
        sync.dsdLsbMask = StreamFormat(r.lsbMask, kDsd64 | kDsd128);
        sync.dsdMsbMask = StreamFormat(r.msbMask, kDsd64 | kDsd128);
        const uint32_t rate = r.source & 0xF0000 ? kDsd128 : 0x0014;
        TESTING::LogCapture log(6);
        ASSERT_TRUE(sync.selectFormat(r.source, rate));
        EXPECT_EQ(log.messages(), r.log ? Lines{r.log} : Lines{});
        EXPECT_EQ(sync.copyRoutine, r.routine);
        EXPECT_EQ(sync.sourceFormat, StreamFormat(r.source, rate));
        EXPECT_EQ(sync.sinkFormat, StreamFormat(r.sink, rate));
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
        const char* why;
        uint32_t source, rate, lsbMask, msbMask;
        const char* log;
    } rows[] = {
        {"PCM rate outside the mask", 0x0202, 0x0022, 0x2510002, 0x2A10002, nullptr},
        {"PCM kind outside the mask", 0x2002, 0x000A, 0x2510002, 0x2A10002, nullptr},
        {"no DSD at all", 0x2510002, kDsd64, 0, 0, nullptr},
        {"no 1-bit DSD", 0x2510002, kDsd64, 0x2920002, 0x2A20002, nullptr},
        {"16-bit DSD words", 0x1510002, kDsd64, 0x2910002, 0x2A10002, nullptr},
        {"no 32-bit words", 0x2510002, kDsd64, 0x0910002, 0x0A10002, nullptr},
        {"empty source", 0, 0, 0x2510002, 0x2A10002, nullptr},
        {"the same bit order is tried alone", 0x2510002, kDsd64, 0x2510004, 0x2A10002,
         "DSD COVERT LSB littele -> LSB Big"},
        {"rate outside the other mask", 0x2510002, 0x0802, 0, 0x2A10002, "DSD COVERT LSB littele -> MSB Big"},
        {"channels outside the mask", 0x2A10004, kDsd64, 0x2510002, 0, "DSD COVERT MSB Big -> LSB littele"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.why);
        TESTING::OpenSync sync;
        sync.pcmMask = StreamFormat(0x0E02, 0x001E);
        sync.dsdLsbMask = StreamFormat(r.lsbMask, kDsd64);
        sync.dsdMsbMask = StreamFormat(r.msbMask, kDsd64);
        ASSERT_TRUE(sync.selectFormat(0x0402, 0x000A));
        sync.copyRoutine =
            copyReverseInverted; // a value selectFormat would never leave, so that any write shows
        TESTING::LogCapture log(6);
        EXPECT_FALSE(sync.selectFormat(r.source, r.rate));
        EXPECT_EQ(log.messages(), r.log ? Lines{r.log} : Lines{});
        EXPECT_EQ(sync.copyRoutine, copyReverseInverted);
        EXPECT_EQ(sync.sourceFormat, StreamFormat(0x0402, 0x000A));
        EXPECT_EQ(sync.sinkFormat, StreamFormat(0x0402, 0x000A));
    }
}

TEST(SelectFormatTest, PlayPhasePicksTheMemberOfThePair) {
    const struct {
        CopyRoutine from;
        bool host, target;
        CopyRoutine to;
        Lines log;
    } rows[] = {
        {copyPlain, false, false, copyPlain, {"Host Phase Normal", "Play Phase Normal"}},
        {copyPlain, true, false, copyPlainInverted, {"Host Phase Invert", "Play Phase Invert"}},
        {copyPlainInverted, false, true, copyPlainInverted, {"Host Phase Normal", "Play Phase Invert"}},
        {copyPlainInverted, true, true, copyPlain, {"Host Phase Invert", "Play Phase Normal"}},
        {copySwap, true, false, copySwapInverted, {"Host Phase Invert", "Play Phase Invert"}},
        {copySwapInverted, true, true, copySwap, {"Host Phase Invert", "Play Phase Normal"}},
        {copyReverse, false, true, copyReverseInverted, {"Host Phase Normal", "Play Phase Invert"}},
        {copyReverseInverted, false, false, copyReverse, {"Host Phase Normal", "Play Phase Normal"}},
        {copySwapReverse, true, false, copySwapReverseInverted, {"Host Phase Invert", "Play Phase Invert"}},
        {copySwapReverseInverted, false, false, copySwapReverse, {"Host Phase Normal", "Play Phase Normal"}},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message() << "host " << r.host << " target " << r.target);
        TESTING::OpenSync sync;
        sync.copyRoutine = r.from;
        TESTING::LogCapture log(6);
        sync.setPlayPhase(r.host, r.target);
        EXPECT_EQ(sync.copyRoutine, r.to);
        EXPECT_EQ(log.messages(), r.log);
        sync.setPlayPhase(r.host, r.target);
        EXPECT_EQ(sync.copyRoutine, r.to);
    }
}

} // namespace
