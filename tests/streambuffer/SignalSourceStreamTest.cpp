// The stream buffer end to end: the test signal and a WAV file stream through the ring and the worker to
// the software Target on ::1, a slow producer leaves only silence behind, and one object streams twice.
#include "tests/support/BufferStream.h"
#include "tests/support/LogCapture.h"
#include "tests/support/SignalWav.h"
#include "tests/support/StreamTarget.h"
#include "tools/source/SignalSource.h"
#include "tools/source/WavSource.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

namespace {

using namespace TESSERA;
using namespace std::chrono_literals;

constexpr uint32_t kPcm16Stereo = 0x0202, kRate44100 = 0x000A;
constexpr uint32_t kBlockFrames = 441; // one host buffer of ten milliseconds

using Target = TESTING::StreamTarget;

// Negotiation and a plan of one packet a millisecond; then the caller prepares its ring.
bool negotiate(SyncBuffer& session, Target& target, StreamFormat format) {
    return TESTING::negotiateOnePacketAMillisecond(session, target.control(), format, "buffer test");
}

using TESTING::streamToTheEnd;

TEST(SignalSourceStreamTest, OneObjectStreamsTheSignalTwice) {
    Target target;
    SignalSource source;
    ASSERT_TRUE(negotiate(source, target, StreamFormat(kPcm16Stereo, kRate44100)));
    const uint64_t lengths[] = {22050, 13230}; // half a second, then a shorter stream on the same object
    for (size_t n = 0; n < 2; ++n) {
        source.prepare(kBlockFrames, 6, lengths[n]);
        ASSERT_TRUE(streamToTheEnd(source)) << n;
        StreamReport report;
        ASSERT_TRUE(target.report(n, report)) << n;
        EXPECT_TRUE(report.bitPerfect()) << n;
        EXPECT_TRUE(report.finalSeen) << n;
        // Every frame produced arrived, after the ring's six blocks of silence at the start.
        EXPECT_EQ(report.verifier.matched, lengths[n]) << n;
        EXPECT_GE(report.verifier.leadingSilence, 6u * kBlockFrames) << n;
    }
}

TEST(SignalSourceStreamTest, WavFileArrivesBitExact) {
    const StreamFormat format(0x0402, 0x0024); // 24-bit stereo at 192 kHz
    const std::string path = testing::TempDir() + "signal-source-stream.wav";
    ASSERT_TRUE(TESTING::writeSignalWav(path, format, 96000));
    Target target;
    WavSource source;
    std::string error;
    ASSERT_TRUE(source.open(path, error)) << error;
    ASSERT_EQ(source.fileFormat(), format);
    ASSERT_TRUE(negotiate(source, target, source.fileFormat()));
    source.prepare(1920, 6);
    ASSERT_TRUE(streamToTheEnd(source));
    EXPECT_FALSE(source.readFailed());
    StreamReport report;
    ASSERT_TRUE(target.report(0, report));
    EXPECT_TRUE(report.bitPerfect());
    EXPECT_EQ(report.verifier.matched, 96000u);
    EXPECT_EQ(source.framesProduced(), 96000u);
}

// A host that once takes longer than the whole ring to fill a block.
class SlowSource : public SignalSource {
public:
    ~SlowSource() override { shutdown(); }
    void fillBuffer(std::vector<uint8_t>& slot, bool first) override {
        if (++fills == 30) std::this_thread::sleep_for(120ms);
        SignalSource::fillBuffer(slot, first);
    }
    uint32_t fills = 0; // BufferWorker alone
};

TEST(SignalSourceStreamTest, SlowProducerLeavesSilenceAndTheStreamGoesOn) {
    TESTING::LogCapture capture(4);
    Target target;
    SlowSource source;
    ASSERT_TRUE(negotiate(source, target, StreamFormat(kPcm16Stereo, kRate44100)));
    source.prepare(kBlockFrames, 3, 44100);
    ASSERT_TRUE(streamToTheEnd(source));
    EXPECT_TRUE(capture.contains("SyncBuffer not enough mute data return 1764"));
    StreamReport report;
    ASSERT_TRUE(target.report(0, report));
    // The gap is silence inside the signal, not damage: every frame still arrives, in order.
    EXPECT_TRUE(report.bitPerfect());
    EXPECT_EQ(report.verifier.matched, 44100u);
    EXPECT_GE(report.verifier.silenceInside, 441u);
    EXPECT_TRUE(report.finalSeen);
}

} // namespace
