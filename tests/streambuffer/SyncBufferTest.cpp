// The stream buffer's ring between a producer thread and the worker's side, without a network: the sizes,
// the silence, the hand-over of blocks, the end of the stream, stop and play.
#include "streambuffer/SyncBuffer.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

namespace {

using namespace TESSERA;
using namespace std::chrono_literals;

constexpr uint32_t kPcm16Stereo = 0x0202, kRate44100 = 0x000A;

// A buffer whose producer writes a running block number into every byte of its block, and counts calls.
class CountingBuffer : public SyncBuffer {
public:
    explicit CountingBuffer(uint32_t type = kPcm16Stereo, uint32_t rate = kRate44100) {
        sourceFormat = StreamFormat(type, rate);
    }
    ~CountingBuffer() override {
        endWorker();
        shutdown();
    }
    void fillBuffer(std::vector<uint8_t>& slot, bool first) override {
        const uint32_t n = fills.fetch_add(1) + 1;
        std::memset(slot.data(), static_cast<int>(n & 0xFF), slot.size());
        // A word at the start carries the whole number, for the stress test.
        std::memcpy(slot.data(), &n, sizeof n);
        if (first) firsts.fetch_add(1);
    }
    // The producer runs as long as the session is in one of its running states.
    void startProducer() {
        setState(Streaming);
        ASSERT_TRUE(startBufferWorker());
    }
    void endStream() { setState(Idle); }
    std::atomic<uint32_t> fills{0};
    std::atomic<uint32_t> firsts{0};
};

template <typename Pred> bool eventually(Pred pred) {
    for (int i = 0; i < 2000 && !pred(); ++i)
        std::this_thread::sleep_for(1ms);
    return pred();
}

TEST(SyncBufferTest, SizesAndSilenceOfEachFormat) {
    const struct {
        const char* name;
        uint32_t type, rate;
        uint32_t frames;
        uint32_t slotBytes;
        uint8_t mute;
        uint32_t underrunBytes; // ten milliseconds of audio
    } rows[] = {
        {"PCM 16-bit stereo 44.1 kHz", 0x0202, 0x000A, 1024, 4096, 0x00, 1764},
        {"PCM 32-bit stereo 44.1 kHz", 0x0802, 0x000A, 1024, 8192, 0x00, 3528},
        {"DSD64 LSB stereo", 0x02510002, 0x0202, 256, 2048, 0x69, 7056},
        {"DSD64 MSB stereo", 0x02A10002, 0x0202, 256, 2048, 0x96, 7056},
    };
    for (const auto& r : rows) {
        TESTING::LogCapture capture(4);
        CountingBuffer buffer(r.type, r.rate);
        buffer.prepareBuffer(r.frames, 6);
        EXPECT_EQ(buffer.slotCount(), 7u) << r.name;
        EXPECT_EQ(buffer.slotBytes(), r.slotBytes) << r.name;
        EXPECT_FALSE(buffer.hasFreeSlot()) << r.name;
        // Exactly six blocks of silence are waiting, then the ring is empty.
        Stream s;
        for (int i = 0; i < 6; ++i) {
            ASSERT_TRUE(buffer.getNewStream(s)) << r.name;
            ASSERT_EQ(s.size, r.slotBytes) << r.name;
            for (uint32_t b = 0; b < s.size; ++b)
                ASSERT_EQ(s.data[b], r.mute) << r.name << " byte " << b;
        }
        EXPECT_TRUE(buffer.isEmpty()) << r.name;
        EXPECT_TRUE(capture.messages().empty()) << r.name;
        ASSERT_TRUE(buffer.getNewStream(s)) << r.name;
        EXPECT_EQ(s.size, r.underrunBytes) << r.name;
        EXPECT_EQ(s.data[0], r.mute) << r.name;
        EXPECT_EQ(s.data[s.size - 1], r.mute) << r.name;
        EXPECT_TRUE(
            capture.contains("SyncBuffer not enough mute data return " + std::to_string(r.underrunBytes)))
            << r.name;
    }
}

TEST(SyncBufferTest, ProducerFillsOnlyTheSlotBehindTheHandedOutBlock) {
    CountingBuffer buffer;
    buffer.prepareBuffer(64, 6);
    buffer.startProducer();
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(buffer.fills.load(), 0u); // a full ring: nothing to fill

    Stream held;
    ASSERT_TRUE(buffer.getNewStream(held));
    buffer.streamTaken();
    ASSERT_TRUE(eventually([&] { return buffer.fills.load() == 1; }));
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(buffer.fills.load(), 1u);
    EXPECT_EQ(buffer.firsts.load(), 1u);
    // The block in the worker's hands is still silence; the new block waits behind the five others.
    for (uint32_t b = 0; b < held.size; ++b)
        ASSERT_EQ(held.data[b], 0) << b;
    Stream s;
    for (int i = 0; i < 5; ++i) {
        ASSERT_TRUE(buffer.getNewStream(s));
        EXPECT_EQ(s.data[5], 0) << i;
    }
    buffer.pre_disconnect(); // the producer stops filling: what follows comes from the ring alone
    ASSERT_TRUE(buffer.getNewStream(s));
    uint32_t number = 0;
    std::memcpy(&number, s.data, sizeof number);
    EXPECT_GE(number, 1u);
    EXPECT_EQ(s.data[5], number & 0xFF);
}

TEST(SyncBufferTest, BlocksArriveInOrderAcrossThreads) {
    CountingBuffer buffer;
    buffer.prepareBuffer(16, 3);
    Stream s;
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(buffer.getNewStream(s)); // the silence of the start
    buffer.startProducer();
    // The consumer takes whatever is there; every block it gets is complete and the next in order.
    uint32_t expected = 1, underruns = 0;
    const auto limit = std::chrono::steady_clock::now() + 10s;
    while (expected <= 20000 && std::chrono::steady_clock::now() < limit) {
        ASSERT_TRUE(buffer.getNewStream(s));
        if (s.size != buffer.slotBytes()) {
            ++underruns;
            std::this_thread::yield();
            continue;
        }
        uint32_t number = 0;
        std::memcpy(&number, s.data, sizeof number);
        ASSERT_EQ(number, expected);
        for (uint32_t b = sizeof number; b < s.size; ++b)
            ASSERT_EQ(s.data[b], number & 0xFF) << "block " << number << " byte " << b;
        ++expected;
        buffer.streamTaken();
    }
    EXPECT_GT(expected, 20000u);
}

TEST(SyncBufferTest, EndOfStreamStopAndPlay) {
    TESTING::LogCapture capture(6);
    CountingBuffer buffer;
    buffer.prepareBuffer(32, 2);
    buffer.startProducer();
    Stream s;
    // Stop on a full ring returns once the consumer has drained it: two blocks, then the stop's silence.
    std::atomic<bool> stopped{false};
    std::thread stopper([&] {
        buffer.stop();
        stopped.store(true);
    });
    std::this_thread::sleep_for(30ms);
    EXPECT_FALSE(stopped.load());
    ASSERT_TRUE(buffer.getNewStream(s));
    ASSERT_TRUE(buffer.getNewStream(s));
    std::this_thread::sleep_for(30ms);
    EXPECT_FALSE(stopped.load());
    ASSERT_TRUE(buffer.getNewStream(s));
    EXPECT_EQ(s.size, buffer.slotBytes());
    EXPECT_EQ(s.data[0], 0);
    stopper.join();
    EXPECT_TRUE(stopped.load());
    EXPECT_FALSE(buffer.isPlaying());
    EXPECT_TRUE(capture.contains("SyncBuffer::stop"));
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(buffer.fills.load(), 0u); // a stopped buffer isn't refilled

    buffer.play();
    EXPECT_TRUE(buffer.isPlaying());
    EXPECT_TRUE(capture.contains("play 2"));
    ASSERT_TRUE(eventually([&] { return buffer.fills.load() == 2; }));

    // At the end the worker gets the blocks still in the ring, in order, and then nothing.
    buffer.pre_disconnect();
    for (uint32_t n = 1; n <= 2; ++n) {
        ASSERT_TRUE(buffer.getNewStream(s));
        uint32_t number = 0;
        std::memcpy(&number, s.data, sizeof number);
        EXPECT_EQ(number, n);
    }
    EXPECT_FALSE(buffer.getNewStream(s));
    EXPECT_EQ(s.data, nullptr);
    EXPECT_EQ(s.size, 0u);
    EXPECT_TRUE(eventually([&] { return capture.contains("finish BufferWorker"); }));
    buffer.endStream();
    EXPECT_TRUE(eventually([&] { return capture.contains("done BufferWorker"); }));
}

TEST(SyncBufferTest, FirstIsMarkedOncePerFullRing) {
    CountingBuffer buffer;
    buffer.prepareBuffer(8, 4);
    buffer.startProducer();
    Stream s;
    for (int round = 1; round <= 3; ++round) {
        // Three blocks taken from a full ring: three fills, and only the first of them is marked.
        for (int i = 0; i < 3; ++i)
            ASSERT_TRUE(buffer.getNewStream(s));
        buffer.streamTaken();
        ASSERT_TRUE(eventually([&] { return buffer.fills.load() == 3u * round; })) << round;
        EXPECT_EQ(buffer.firsts.load(), static_cast<uint32_t>(round)) << round;
        EXPECT_FALSE(buffer.hasFreeSlot());
    }
}

} // namespace
