// DSD converted on the wire: the host's words in one bit order and byte order reach a Target that takes
// only another, bit-exact, by each conversion that the Target's masks lead to.
#include "tests/support/LogCapture.h"
#include "tests/support/SignalSession.h"
#include "tests/support/StreamTarget.h"
#include "tools/receiver/Capabilities.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

using namespace TESSERA;
using TESTING::SignalSession;
using TESTING::StreamTarget;

constexpr uint32_t kLsb = 0x00100000, kMsb = 0x00200000, kLittle = 0x00400000, kBig = 0x00800000;
constexpr uint32_t kDsd64 = 0x0202, kStereo = 0x02;

struct Case {
    const char* name;
    uint32_t source;               // the host's words: 1-bit DSD in 32-bit words, bit and byte order
    uint32_t lsbOrders, msbOrders; // byte orders that the Target takes in each bit order (0: none)
    uint32_t sink;                 // what goes on the wire
    const char* line;              // what selectFormat says
};

void PrintTo(const Case& c, std::ostream* out) {
    *out << c.name;
}

// A DSD mask of one bit order with only the given byte orders; empty without any.
StreamFormat dsdMask(bool lsb, uint32_t byteOrders) {
    if (byteOrders == 0) return StreamFormat();
    const StreamFormat all = Capabilities::defaultDsd(lsb);
    return StreamFormat((all.type() & ~(kLittle | kBig)) | byteOrders, all.rateBits());
}

class DsdConversionStreamTest : public testing::TestWithParam<Case> {};

TEST_P(DsdConversionStreamTest, ArrivesConvertedBitExact) {
    const Case& c = GetParam();
    TESTING::LogCapture capture(6);
    StreamTarget target([&c](OutputConfig& o) {
        o.dsdLsbMask = dsdMask(true, c.lsbOrders);
        o.dsdMsbMask = dsdMask(false, c.msbOrders);
    });
    ASSERT_TRUE(target.started());
    SignalSession session;
    ASSERT_TRUE(session.negotiate(target.control(), StreamFormat(c.source | kStereo, kDsd64)));
    EXPECT_EQ(session.getSinkFormat(), StreamFormat(c.sink | kStereo, kDsd64));
    EXPECT_TRUE(capture.contains(c.line));
    session.prepareSignal(0.5);
    ASSERT_TRUE(session.streamAll());

    StreamReport report;
    ASSERT_TRUE(target.report(0, report));
    EXPECT_EQ(report.sinkType, c.sink | kStereo);
    // The Target checks against the signal laid out in its own words: every frame as the host rendered it.
    EXPECT_TRUE(report.bitPerfect()) << report.toJson();
    EXPECT_EQ(report.verifier.matched, session.signalFrames());
    EXPECT_EQ(report.verifier.differed, 0u);
    EXPECT_TRUE(report.finalSeen);
}

constexpr uint32_t kDsd = 0x02010000; // 1 bit per sample in 32-bit words
constexpr uint32_t LL = kDsd | kLsb | kLittle, LB = kDsd | kLsb | kBig, ML = kDsd | kMsb | kLittle,
                   MB = kDsd | kMsb | kBig;

INSTANTIATE_TEST_SUITE_P(
    Rows, DsdConversionStreamTest,
    testing::Values(Case{"LsbLittleToLsbBig", LL, kBig, 0, LB, "DSD COVERT LSB littele -> LSB Big"},
                    Case{"LsbBigToLsbLittle", LB, kLittle, 0, LL, "DSD COVERT LSB Big -> LSB littele"},
                    Case{"LsbLittleToMsbBig", LL, 0, kBig | kLittle, MB, "DSD COVERT LSB littele -> MSB Big"},
                    Case{"LsbLittleToMsbLittle", LL, 0, kLittle, ML, "DSD COVERT LSB littele -> MSB littele"},
                    Case{"LsbBigToMsbLittle", LB, 0, kLittle | kBig, ML, "DSD COVERT LSB Big -> MSB littele"},
                    Case{"LsbBigToMsbBig", LB, 0, kBig, MB, "DSD COVERT LSB Big -> MSB Big"},
                    Case{"MsbLittleToMsbBig", ML, 0, kBig, MB, "DSD COVERT MSB littele -> MSB Big"},
                    Case{"MsbBigToMsbLittle", MB, 0, kLittle, ML, "DSD COVERT MSB Big -> MSB littele"},
                    Case{"MsbLittleToLsbBig", ML, kBig | kLittle, 0, LB, "DSD COVERT MSB littele -> LSB Big"},
                    Case{"MsbLittleToLsbLittle", ML, kLittle, 0, LL, "DSD COVERT MSB littele -> LSB littele"},
                    Case{"MsbBigToLsbLittle", MB, kLittle | kBig, 0, LL, "DSD COVERT MSB Big -> LSB littele"},
                    Case{"MsbBigToLsbBig", MB, kBig, 0, LB, "DSD COVERT MSB Big -> LSB Big"}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
