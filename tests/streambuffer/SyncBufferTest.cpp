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
    using Sync::setState; // the test stands in for the session's stream
    ~CountingBuffer() override { setState(Idle), shutdown(); }
    void fillBuffer(std::vector<uint8_t>& slot, bool) override {
        const uint32_t n = fills.fetch_add(1) + 1;
        std::memset(slot.data(), static_cast<int>(n & 0xFF), slot.size());
        std::memcpy(slot.data(), &n, sizeof n);
    }
    bool start() { return setState(Streaming), startBufferWorker(); } // it fills while the session runs
    uint32_t number(Stream& s) { // of the next block; 0 for silence, ~0 for none
        uint32_t n = ~0u;
        return getNewStream(s) ? std::memcpy(&n, s.data, sizeof n), n : n;
    }
    std::atomic<uint32_t> fills{0};
};

bool eventually(const std::function<bool()>& done) { // within two seconds
    for (int i = 0; i < 2000 && !done(); ++i)
        std::this_thread::sleep_for(1ms);
    return done();
}

TEST(SyncBufferTest, SizesAndSilenceOfEachFormat) {
    // type, rate; bytes of a slot of 1024 frames (DSD: 256 words), mute byte, bytes of an underrun's 10ms
    const uint32_t rows[][5] = {{0x0802, 0x000A, 8192, 0x00, 3528}, {0x02A10002, 0x0202, 2048, 0x96, 7056}};
    for (const auto& [type, rate, slotBytes, mute, underrun] : rows) {
        TESTING::LogCapture capture(4);
        CountingBuffer buffer(StreamFormat(type, rate));
        buffer.prepareBuffer(rate == 0x0202 ? 256 : 1024, 6);
        EXPECT_EQ(std::tuple(buffer.slotCount(), buffer.hasFreeSlot()), std::tuple(7u, false));
        Stream s; // six blocks of silence wait, then the ring is empty and an underrun's silence follows
        for (int i = 0; i <= 6; ++i)
            ASSERT_TRUE(buffer.getNewStream(s) && s.size == (i < 6 ? slotBytes : underrun) &&
                        std::all_of(s.data, s.data + s.size, [m = mute](uint8_t b) { return b == m; }))
                << type << " " << i;
        EXPECT_EQ(capture.messages(), std::vector<std::string>{"SyncBuffer not enough mute data return " +
                                                               std::to_string(underrun)});
    }
}

// Many times round the ring the consumer takes every block whole and the next in order.
TEST(SyncBufferTest, ProducerFillsBehindTheWorkerInOrder) {
    CountingBuffer buffer;
    buffer.prepareBuffer(16, 3);
    ASSERT_TRUE(buffer.start());
    Stream s;
    uint32_t expected = 1;
    for (const auto limit = std::chrono::steady_clock::now() + 10s;
         expected <= 20000 && std::chrono::steady_clock::now() < limit;) {
        const uint32_t n = buffer.number(s);
        if (n == 0 || s.size != buffer.slotBytes()) continue; // the ring's first silence, or an underrun's
        ASSERT_TRUE(n == expected++ &&
                    std::all_of(s.data + 4, s.data + s.size, [n](uint8_t b) { return b == (n & 0xFF); }))
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
    std::this_thread::sleep_for(30ms);
    Stream s;
    EXPECT_TRUE(!stopped.load() && buffer.number(s) == 0 && buffer.number(s) == 0);
    EXPECT_EQ(std::tuple(buffer.number(s), s.size), std::tuple(0u, buffer.slotBytes())); // the stop's silence
    stopper.join();
    EXPECT_TRUE(!buffer.isPlaying() && capture.contains("SyncBuffer::stop") && buffer.fills.load() == 0);
    buffer.play();
    EXPECT_TRUE(buffer.isPlaying() && capture.contains("play 2"));
    ASSERT_TRUE(eventually([&] { return buffer.fills.load() == 2; }));
    buffer.pre_disconnect(); // at the end the blocks still in the ring, in order, and then nothing
    EXPECT_TRUE(buffer.number(s) == 1 && buffer.number(s) == 2 && buffer.number(s) == ~0u && !s.data &&
                !s.size);
    EXPECT_TRUE(eventually([&] { return capture.contains("finish BufferWorker"); }));
    buffer.setState(Sync::Idle);
    EXPECT_TRUE(eventually([&] { return capture.contains("done BufferWorker"); }));
}

} // namespace
