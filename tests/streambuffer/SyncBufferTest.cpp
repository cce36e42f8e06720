// The stream buffer's ring between a producer thread and the worker's side, without a network.
#include "streambuffer/SyncBuffer.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>

namespace {

using namespace TESSERA;
using namespace std::chrono_literals;

// Its producer writes a running block number into the first word and its low byte into every other byte.
struct CountingBuffer : SyncBuffer {
    explicit CountingBuffer(StreamFormat format = StreamFormat(0x0202, 0x000A)) { sourceFormat = format; }
    ~CountingBuffer() override { state.store(Idle), shutdown(); }
    void fillBuffer(std::vector<uint8_t>& slot, bool first) override {
        const uint32_t n = fills.fetch_add(1) + 1;
        std::memset(slot.data(), static_cast<int>(n & 0xFF), slot.size());
        std::memcpy(slot.data(), &n, sizeof n);
        firsts += first;
    }
    bool start() { return state.store(Streaming), startBufferWorker(); } // it fills while the session runs
    uint32_t number(Stream& s) { // of the next block; 0 for silence, ~0 for none
        uint32_t n = ~0u;
        if (getNewStream(s)) std::memcpy(&n, s.data, sizeof n);
        return n;
    }
    std::atomic<uint32_t> fills{0}, firsts{0};
};

bool eventually(const std::function<bool()>& done) {
    for (int i = 0; i < 2000 && !done(); ++i)
        std::this_thread::sleep_for(1ms);
    return done();
}

TEST(SyncBufferTest, SizesAndSilenceOfEachFormat) {
    const struct {
        uint32_t type, rate, frames, slotBytes, mute, underrunBytes; // the underrun's: ten milliseconds
    } rows[] = {{0x0202, 0x000A, 1024, 4096, 0x00, 1764},
                {0x0802, 0x000A, 1024, 8192, 0x00, 3528},
                {0x02510002, 0x0202, 256, 2048, 0x69, 7056},
                {0x02A10002, 0x0202, 256, 2048, 0x96, 7056}};
    for (const auto& r : rows) {
        TESTING::LogCapture capture(4);
        CountingBuffer buffer(StreamFormat(r.type, r.rate));
        buffer.prepareBuffer(r.frames, 6);
        EXPECT_EQ(std::tuple(buffer.slotCount(), buffer.slotBytes(), buffer.hasFreeSlot()),
                  std::tuple(7u, r.slotBytes, false));
        Stream s; // six blocks of silence wait, then the ring is empty and an underrun's silence follows
        for (int i = 0; i <= 6; ++i) {
            ASSERT_TRUE(buffer.getNewStream(s)) << r.type;
            EXPECT_EQ(s.size, i < 6 ? r.slotBytes : r.underrunBytes) << r.type;
            EXPECT_TRUE(std::all_of(s.data, s.data + s.size, [&](uint8_t b) { return b == r.mute; }))
                << r.type;
            EXPECT_EQ(capture.messages().size(), i < 6 ? 0u : 1u);
        }
        EXPECT_TRUE(
            capture.contains("SyncBuffer not enough mute data return " + std::to_string(r.underrunBytes)));
    }
}

TEST(SyncBufferTest, ProducerFillsBehindTheWorkerInOrder) {
    CountingBuffer marked; // three blocks taken from a full ring: three fills, the first of them marked
    marked.prepareBuffer(8, 4);
    ASSERT_TRUE(marked.start());
    Stream s;
    for (uint32_t round = 1; round <= 3; ++round) {
        for (int i = 0; i < 3; ++i)
            marked.number(s);
        EXPECT_EQ(marked.fills.load(), 3 * (round - 1)); // nothing filled before streamTaken
        marked.streamTaken();
        ASSERT_TRUE(eventually([&] { return marked.fills.load() == 3 * round; }));
        EXPECT_EQ(marked.firsts.load(), round);
    }
    CountingBuffer buffer; // then the consumer takes what is there: every block whole and the next in order
    buffer.prepareBuffer(16, 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(buffer.number(s), 0u);
    ASSERT_TRUE(buffer.start());
    uint32_t expected = 1;
    for (const auto limit = std::chrono::steady_clock::now() + 10s;
         expected <= 20000 && std::chrono::steady_clock::now() < limit;) {
        const uint32_t n = buffer.number(s);
        if (s.size != buffer.slotBytes()) continue; // an underrun's silence
        ASSERT_EQ(n, expected++);
        ASSERT_TRUE(std::all_of(s.data + 4, s.data + s.size, [n](uint8_t b) { return b == (n & 0xFF); }))
            << n;
        buffer.streamTaken();
    }
    EXPECT_GT(expected, 20000u);
}

TEST(SyncBufferTest, StopPlayAndTheEnd) {
    TESTING::LogCapture capture(6);
    CountingBuffer buffer;
    buffer.prepareBuffer(32, 2);
    ASSERT_TRUE(buffer.start());
    std::atomic<bool> stopped{false}; // stop on a full ring returns once the consumer has drained it
    std::thread stopper([&] { buffer.stop(), stopped.store(true); });
    Stream s;
    for (int i = 0; i < 2; ++i) {
        std::this_thread::sleep_for(30ms);
        EXPECT_FALSE(stopped.load());
        EXPECT_EQ(buffer.number(s), 0u);
    }
    EXPECT_EQ(std::tuple(buffer.number(s), s.size), std::tuple(0u, buffer.slotBytes())); // the stop's silence
    stopper.join();
    EXPECT_TRUE(!buffer.playing.load() && capture.contains("SyncBuffer::stop"));
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(buffer.fills.load(), 0u); // a stopped buffer isn't refilled
    buffer.play();
    EXPECT_TRUE(buffer.playing.load() && capture.contains("play 2"));
    ASSERT_TRUE(eventually([&] { return buffer.fills.load() == 2; }));
    buffer.pre_disconnect(); // at the end the blocks still in the ring, in order, and then nothing
    for (uint32_t n = 1; n <= 2; ++n)
        EXPECT_EQ(buffer.number(s), n);
    EXPECT_FALSE(buffer.getNewStream(s) || s.data || s.size);
    EXPECT_TRUE(eventually([&] { return capture.contains("finish BufferWorker"); }));
    buffer.state.store(Sync::Idle);
    EXPECT_TRUE(eventually([&] { return capture.contains("done BufferWorker"); }));
}

} // namespace
