// Phase end to end, judged by the Target's report: a Target that asks for inverted phase in the middle of
// a stream gets every frame from one point after its request complemented, silence too; the host's own
// inversion cancels a Target's wish; and the host's inversion alone is one the Target never asked for.
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

const StreamFormat kPcm44(0x0202, 0x000A), kDsd64(0x2510002, 0x0202);

enum class Arrival {
    SwitchedAfterRequest, // normal, then inverted from a frame after the request on, silence included
    Normal,               // every frame normal although the Target asked
    InvertedUnasked,      // inverted frames that the Target never asked for
};

struct Case {
    const char* name;
    StreamFormat format;
    bool hostInvert;     // the host's Phase=Invert, from the start
    bool invertAtStart;  // the Target's CONNECT_ANS asks for inversion
    uint32_t invertAtMs; // the Target asks this far into the stream (0: never)
    Arrival arrival;
    const char* playPhase; // the worker's log line that applies the phase last
};

void PrintTo(const Case& c, std::ostream* out) {
    *out << c.name;
}

class PhaseStreamTest : public testing::TestWithParam<Case> {};

TEST_P(PhaseStreamTest, ArrivesInThePhaseAskedFor) {
    const Case& c = GetParam();
    TESTING::LogCapture capture(6);
    StreamTarget target([&c](OutputConfig& o) {
        o.dsdLsbMask = Capabilities::defaultDsd(true);
        o.invertAtStart = c.invertAtStart;
        o.invertAtMs = c.invertAtMs;
    });
    ASSERT_TRUE(target.started());
    SignalSession session;
    ASSERT_TRUE(session.negotiate(target.control(), c.format));
    session.setHostPhase(c.hostInvert);
    // A second of the signal: the request 300 ms into the stream falls well inside it.
    session.prepareSignal(1.0);
    ASSERT_TRUE(session.streamAll());
    std::string lastPlayPhase;
    for (const auto& m : capture.messages())
        if (m.rfind("Play Phase ", 0) == 0) lastPlayPhase = m;
    EXPECT_EQ(lastPlayPhase, c.playPhase);

    StreamReport report;
    ASSERT_TRUE(target.report(0, report));
    const VerifierResult& v = report.verifier;
    const std::string json = report.toJson();
    EXPECT_TRUE(report.finalSeen) << json;
    EXPECT_EQ(report.gapsNeverFilled, 0u) << json;
    EXPECT_EQ(v.differed, 0u) << json;
    EXPECT_EQ(v.matched + v.inverted, session.signalFrames()) << json;
    EXPECT_EQ(v.askedInverted, c.invertAtStart || c.invertAtMs != 0) << json;
    switch (c.arrival) {
    case Arrival::SwitchedAfterRequest:
        EXPECT_TRUE(report.bitPerfect()) << json;
        EXPECT_TRUE(v.switched) << json;
        EXPECT_GT(v.askedAtFrame, v.leadingSilence) << json; // asked while the signal ran
        EXPECT_GE(v.switchFrame, v.askedAtFrame) << json;
        EXPECT_GT(v.matched, 0u) << json;
        EXPECT_GT(v.inverted, 0u) << json;
        // The silence behind the last block came after the switch, and came complemented.
        EXPECT_GT(v.silenceInside, 0u) << json;
        EXPECT_EQ(v.invertedSilence, v.silenceInside) << json;
        break;
    case Arrival::Normal:
        EXPECT_TRUE(report.bitPerfect()) << json;
        EXPECT_FALSE(v.switched) << json;
        EXPECT_EQ(v.askedAtFrame, 0u) << json;
        EXPECT_EQ(v.matched, session.signalFrames()) << json;
        break;
    case Arrival::InvertedUnasked:
        EXPECT_FALSE(report.bitPerfect()) << json;
        EXPECT_GT(v.invertedUnasked, 0u) << json;
        EXPECT_EQ(v.inverted, session.signalFrames()) << json;
        EXPECT_NE(v.phaseText().find("frames came inverted that the Target never asked for"),
                  std::string::npos)
            << json;
        break;
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, PhaseStreamTest,
                         testing::Values(Case{"Pcm44k16AskedMidStream", kPcm44, false, false, 300,
                                              Arrival::SwitchedAfterRequest, "Play Phase Invert"},
                                         Case{"Dsd64AskedMidStream", kDsd64, false, false, 300,
                                              Arrival::SwitchedAfterRequest, "Play Phase Invert"},
                                         Case{"Pcm44k16HostAndTargetCancel", kPcm44, true, true, 0,
                                              Arrival::Normal, "Play Phase Normal"},
                                         Case{"Dsd64HostAndTargetCancel", kDsd64, true, true, 0,
                                              Arrival::Normal, "Play Phase Normal"},
                                         Case{"Pcm44k16HostAlone", kPcm44, true, false, 0,
                                              Arrival::InvertedUnasked, "Play Phase Invert"}),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
