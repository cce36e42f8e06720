// The stream buffer end to end: the test signal, a WAV file, and a producer once slower than the whole
// ring, through the ring and the worker to the software Target on ::1.
#include "tests/support/BufferStream.h"
#include "tests/support/LogCapture.h"
#include "tests/support/SignalWav.h"
#include "tests/support/StreamTarget.h"
#include "tools/source/SignalSource.h"
#include "tools/source/WavSource.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using namespace TESSERA;

struct SlowSource : SignalSource { // the 30th block takes longer than the whole ring
    ~SlowSource() override { shutdown(); }
    void fillBuffer(std::vector<uint8_t>& slot, bool first) override {
        if (++fills == 30) std::this_thread::sleep_for(std::chrono::milliseconds(120));
        SignalSource::fillBuffer(slot, first);
    }
    uint32_t fills = 0; // BufferWorker alone
};

// Every frame produced arrives, after the ring's six blocks of silence; a slow block leaves silence inside.
template <typename Source>
void streams(Source& source, StreamFormat format, uint32_t block, uint64_t frames, bool slow) {
    TESTING::LogCapture capture(4);
    TESTING::StreamTarget target;
    ASSERT_TRUE(TESTING::negotiateOnePacketAMillisecond(source, target.control(), format, "buffer test"));
    if constexpr (std::is_same_v<Source, WavSource>)
        source.prepare(block, 6);
    else
        source.prepare(block, 6, frames);
    ASSERT_TRUE(TESTING::streamToTheEnd(source));
    StreamReport report;
    ASSERT_TRUE(target.report(0, report));
    EXPECT_TRUE(report.bitPerfect() && report.finalSeen) << report.toJson();
    EXPECT_EQ(std::tuple(report.verifier.matched, source.framesProduced()), std::tuple(frames, frames));
    EXPECT_GE(report.verifier.leadingSilence, 6u * block);
    EXPECT_EQ(capture.contains("SyncBuffer not enough mute data return 1764"), slow);
    EXPECT_TRUE(!slow || report.verifier.silenceInside >= 441);
}

TEST(SignalSourceStreamTest, SignalFileAndSlowProducerArriveBitExact) {
    const StreamFormat pcm44(0x0202, 0x000A), pcm192(0x0402, 0x0024);
    SignalSource signal;
    streams(signal, pcm44, 441, 22050, false);
    SlowSource slow;
    streams(slow, pcm44, 441, 44100, true);
    const std::string path = testing::TempDir() + "signal-source-stream.wav";
    ASSERT_TRUE(TESTING::writeSignalWav(path, pcm192, 96000));
    WavSource file;
    std::string error;
    ASSERT_TRUE(file.open(path, error)) << error;
    ASSERT_EQ(file.fileFormat(), pcm192);
    streams(file, pcm192, 1920, 96000, false);
    EXPECT_FALSE(file.readFailed());
}

} // namespace
