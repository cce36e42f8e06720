// The stream receiver against a scripted Host on ::1 that sends the test signal: order and repeats across the
// 16-bit wrap, gaps never filled, feedback and phase bits on the wire, the closing exchanges, and faults.
#include "tools/receiver/StreamReceiver.h"
#include "BRINA/Network/Socket.h"
#include "tests/support/ScriptedHost.h"
#include "tools/signal/TestSignal.h"
#include "transport/wire/SyncMessages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <future>
#include <iterator>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace TESSERA;
using BRINA::IPAddress;
using BRINA::Socket;
using Bytes = std::vector<uint8_t>;
using Clock = std::chrono::steady_clock;
namespace SM = SyncMessages;

constexpr uint32_t kFrames = 120; // per packet: 720 bytes of 24-bit stereo, so a padded repeat is longer

StreamFormat pcm48() {
    StreamFormat f;
    f.setRate(48000);
    f.merge(0x402, 0);
    return f;
}

OutputConfig quiet() {
    OutputConfig c;
    c.startLevelMs = 10000; // no play-out: nothing is given up for being due
    return c;
}

// The Host's side of one stream: its socket, the packets of the signal, and the Target's answers.
class ScriptedHost {
public:
    explicit ScriptedHost(const OutputConfig& config)
        : signal(pcm48()), receiver(config, [this](const std::string& line) {
              std::lock_guard<std::mutex> lock(mutex);
              lines.push_back(line);
          }) {
        address = TESTING::loopbackAddress();
        uint16_t port = 0;
        receiver.onFinished = [this](const StreamReport& r) { done.set_value(r); };
        ready = socket.open(Socket::IPv6Datagram) && socket.bind(address) &&
                receiver.open(TESTING::loopbackAddress(), address, pcm48(), port);
        stream = TESTING::loopbackAddress(port);
    }
    ~ScriptedHost() { receiver.close(); } // its thread still calls onFinished and logs into members here

    // STREAM_DATA of a sequence number carrying the signal's frames [first, first + kFrames).
    Packet packet(uint16_t sequence, uint64_t first, uint16_t flags = PacketFlag::CycleEnd) {
        Packet p(STREAM_DATA);
        p.setPayloadSize(kFrames * 6);
        signal.render(first, kFrames, p.payload());
        SM::setStreamDataHeader(p.header(), sequence, flags);
        p.writeHeader();
        return p;
    }
    void send(const Packet& p) { socket.sendTo(stream, p.data(), p.size(), true); }
    // A repeat as the Host sends it: two bytes of room more, so the datagram outgrows its sizeField.
    void sendRepeat(Packet p) {
        p.setPayloadPadded(p.payloadLength(), p.payloadLength() + 2u);
        socket.sendTo(stream, p.datagram().data, p.datagram().size, true);
    }
    // The next datagram with this command from the stream endpoint; empty when none comes in time.
    Bytes receive(uint16_t command, uint32_t timeoutMs = 3000) {
        const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
        while (Clock::now() < deadline) {
            if (socket.wait(10000) != Socket::WaitReadable) continue;
            Bytes d;
            IPAddress from;
            if (socket.receive(d, from) && from == stream && d.size() >= 16 &&
                PacketHeader(d.data()).command() == command)
                return d;
        }
        return {};
    }
    // Waits until the receiver has handed over this many frames.
    bool received(uint64_t frames) {
        const auto deadline = Clock::now() + std::chrono::seconds(8);
        while (Clock::now() < deadline && receiver.report().frames < frames)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        return receiver.report().frames >= frames;
    }
    bool finished(StreamReport& report) {
        auto future = done.get_future();
        if (future.wait_for(std::chrono::seconds(6)) != std::future_status::ready) return false;
        report = future.get();
        return true;
    }
    bool logged(const std::string& line) {
        std::lock_guard<std::mutex> lock(mutex);
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }

    TestSignal signal;
    StreamReceiver receiver;
    Socket socket;
    IPAddress address, stream;
    bool ready = false;
    std::promise<StreamReport> done;
    std::mutex mutex;
    std::vector<std::string> lines;
};

const Bytes kDisconnectAnswer = {0x64, 0, 0x10, 0, 0x0D, 0, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0};

TEST(StreamReceiverTest, InOrderStreamIsBitPerfectAndEndsWithTheClosingExchange) {
    OutputConfig config = quiet();
    // A name of its own, so that runs side by side (several builds at once) don't share the file.
    config.reportPath =
        testing::TempDir() + "stream_report_" + std::to_string(std::random_device{}()) + ".json";
    ScriptedHost host(config);
    ASSERT_TRUE(host.ready);
    Socket stranger;
    IPAddress strangerAddress = TESTING::loopbackAddress();
    ASSERT_TRUE(stranger.open(Socket::IPv6Datagram) && stranger.bind(strangerAddress));
    for (uint16_t s = 0; s < 40; ++s) {
        host.send(host.packet(s, s * kFrames));
        if (s == 20) { // a stranger's packet and a broken one change nothing but a count
            const Packet p = host.packet(40, 40 * kFrames);
            stranger.sendTo(host.stream, p.data(), p.size(), true);
            const uint8_t broken[16] = {99, 0, 0x10, 0, 10, 0};
            host.socket.sendTo(host.stream, broken, sizeof broken, true);
        }
    }
    host.send(SM::disconnectRequest());
    EXPECT_EQ(host.receive(DSICONNECT_ANS), kDisconnectAnswer);
    StreamReport r;
    ASSERT_TRUE(host.finished(r));
    EXPECT_TRUE(r.bitPerfect() && r.frames == 40u * kFrames && r.verifier.matched == 40u * kFrames);
    EXPECT_TRUE(r.packets == 40u && r.foreignDatagrams == 2u) << r.packets << " " << r.foreignDatagrams;
    // What has not left the play-out buffer is its level: 48 frames a millisecond.
    EXPECT_LE(r.playedFrames, r.frames);
    EXPECT_NEAR(r.bufferNowMs, static_cast<double>(r.frames - r.playedFrames) / 48.0, 1e-9);
    EXPECT_TRUE(r.closedByHost && r.finalSeen);
    EXPECT_FALSE(host.receiver.active());
    EXPECT_TRUE(host.logged("stream end: closed by the Host"));
    std::ifstream file(config.reportPath);
    const std::string json((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    EXPECT_EQ(json, r.toJson() + "\n");
    EXPECT_NE(json.find("\"frames\": 4800, "), std::string::npos);
    EXPECT_NE(json.find("\"bitPerfect\": true}"), std::string::npos);

    // A second stream of the same Output writes a report of its own beside the first.
    host.receiver.onFinished = nullptr;
    uint16_t port = 0;
    ASSERT_TRUE(host.receiver.open(TESTING::loopbackAddress(), host.address, pcm48(), port));
    host.stream = TESTING::loopbackAddress(port);
    host.send(host.packet(0, 0));
    host.send(SM::disconnectRequest());
    EXPECT_EQ(host.receive(DSICONNECT_ANS), kDisconnectAnswer);
    host.receiver.close();
    const auto contents = [](const std::string& path) {
        std::ifstream in(path);
        return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    };
    const std::string second = pathWithSuffix(config.reportPath, "-stream2");
    EXPECT_NE(contents(second).find("\"frames\": 120, "), std::string::npos) << contents(second);
    EXPECT_EQ(contents(config.reportPath), json) << "the first stream's report stays";
    std::remove(config.reportPath.c_str());
    std::remove(second.c_str());
}

TEST(StreamReceiverTest, GapAcrossTheWrapIsFilledByRepeatsAFlippedBitIsCaughtAndCloseTellsTheHost) {
    ScriptedHost host(quiet());
    ASSERT_TRUE(host.ready);
    std::vector<Packet> packets;
    for (uint32_t i = 0; i < 20; ++i)
        packets.push_back(host.packet(static_cast<uint16_t>(65530 + i), i * kFrames));
    packets[10].payload()[100] ^= 0x08; // frame 16 of the packet
    packets[10].writeHeader();
    for (uint32_t i : {0, 1, 2, 3, 4, 6, 7})
        host.send(packets[i]); // 65535 is lost
    const Bytes request = host.receive(STREAM_INFO);
    ASSERT_EQ(request.size(), 16u);
    const PacketHeader h(request.data());
    EXPECT_EQ(h.flags(), PacketFlag::ResendRequest | PacketFlag::PhaseValid | PacketFlag::PhaseNormal);
    EXPECT_EQ(h.word10(), 65535); // the first packet to send again
    EXPECT_EQ(h.word12(), 1);     // how many are missing
    for (uint32_t i = 5; i < 8; ++i)
        host.sendRepeat(packets[i]); // the Host goes back to 65535
    for (uint32_t i = 8; i < 20; ++i)
        host.send(packets[i]);
    ASSERT_TRUE(host.received(20 * kFrames));
    host.receiver.close();
    EXPECT_EQ(host.receive(DSICONNECT_ANS), kDisconnectAnswer);
    StreamReport r;
    ASSERT_TRUE(host.finished(r));
    EXPECT_TRUE(r.closedByTarget && r.frames == 20u * kFrames && r.packets == 20u);
    EXPECT_EQ(r.repeats, 3u); // 65535 as asked for, and 0 and 1 a second time
    EXPECT_TRUE(r.gapsNeverFilled == 0u && r.resendRequests >= 1u);
    EXPECT_TRUE(!r.bitPerfect() && r.verifier.matched == 20u * kFrames - 1);
    EXPECT_TRUE(r.verifier.differed == 1u && r.verifier.firstDifference == 10u * kFrames + 16);
}

TEST(StreamReceiverTest, GapNeverFilledIsGivenUpAndASilentHostEndsTheStream) {
    ScriptedHost host(quiet());
    ASSERT_TRUE(host.ready);
    for (uint16_t s = 0; s < 30; ++s)
        if (s != 10) host.send(host.packet(s, s * kFrames));
    StreamReport r; // the Host ignores the requests, then says nothing more
    ASSERT_TRUE(host.finished(r));
    EXPECT_TRUE(r.hostSilent && !r.closedByHost && !r.bitPerfect() && r.resendRequests >= 2u);
    EXPECT_TRUE(r.gapsNeverFilled == 1u && r.verifier.missing == kFrames &&
                r.verifier.matched == 29u * kFrames);
    EXPECT_TRUE(host.logged("gap never filled: 1 packet from 10 given up, no repeat came"));
    EXPECT_TRUE(host.logged("stream end: nothing from the Host for 2 s"));
}

TEST(StreamReceiverTest, FeedbackOfEachKindForAKnownLevel) {
    // clang-format off
    const struct { uint8_t kind; uint16_t word8, word10, word12; } rows[] = {{3, 0, 750, 500}, {1, 0x3000, 0, 0}, {2, 0xA000, 0, 0}, {0, 0, 0, 0}};
    // clang-format on
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "kind " << int(row.kind));
        OutputConfig config = quiet();
        config.feedbackKind = row.kind;
        config.bufferTargetMs = 50;
        ScriptedHost host(config);
        ASSERT_TRUE(host.ready);
        for (uint16_t s = 0; s < 30; ++s) // 3,600 frames: 75 ms buffered when the last asks for info
            host.send(
                host.packet(s, s * kFrames, s == 29 ? PacketFlag::InfoRequest | PacketFlag::CycleEnd : 0));
        const auto lo = [](uint16_t w) { return uint8_t(w); };
        const auto hi = [](uint16_t w) { return uint8_t(w >> 8); };
        // clang-format off
        const Bytes expected = {0x64, 0, 0x10, 0, 0x0B, 0, 0x80, 0x01, lo(row.word8), hi(row.word8), lo(row.word10), hi(row.word10), lo(row.word12), hi(row.word12), 0, 0};
        // clang-format on
        EXPECT_EQ(host.receive(STREAM_INFO), expected);
    }
}

TEST(StreamReceiverTest, PhaseBitsFromTheStartOrFromAMomentIntoTheStream) {
    // clang-format off
    const struct { bool atStart; uint32_t atMs; uint16_t connect, first, later; } rows[] = {{false, 400, 0x0181, 0x0180, 0x0100}, {true, 0, 0x0101, 0x0100, 0x0100}};
    // clang-format on
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "invert at start " << row.atStart << ", at " << row.atMs << " ms");
        OutputConfig config = quiet();
        config.invertAtStart = row.atStart;
        config.invertAtMs = row.atMs;
        ScriptedHost host(config);
        ASSERT_TRUE(host.ready);
        EXPECT_EQ(host.receiver.connectFlags(), row.connect);
        std::this_thread::sleep_for(std::chrono::milliseconds(100)); // well before a switch at 400 ms
        host.send(host.packet(0, 0, PacketFlag::InfoRequest));
        const Bytes first = host.receive(STREAM_INFO);
        ASSERT_EQ(first.size(), 16u);
        std::this_thread::sleep_for(std::chrono::milliseconds(600));
        host.send(host.packet(1, kFrames, PacketFlag::InfoRequest));
        const Bytes later = host.receive(STREAM_INFO);
        ASSERT_EQ(later.size(), 16u);
        EXPECT_EQ(PacketHeader(first.data()).flags(), row.first);
        EXPECT_EQ(PacketHeader(later.data()).flags(), row.later);
    }
}

// A Host that goes back to the packet named in each resend request, as the real one does, against
// loss, reordering and duplication: the stream still arrives whole.
TEST(StreamReceiverTest, LossyStreamIsMadeWholeByGoBackRepeats) {
    OutputConfig config = quiet();
    config.faults.seed = 3;
    config.faults.lossRate = 0.05;
    config.faults.reorderRate = 0.05;
    config.faults.duplicateRate = 0.05;
    ScriptedHost host(config);
    ASSERT_TRUE(host.ready);
    constexpr uint32_t kAudio = 300, kTotal = kAudio + 10; // mute packets at the end, as the Host sends
    std::vector<bool> sent(kTotal, false);
    uint32_t next = 0;
    const auto deadline = Clock::now() + std::chrono::seconds(8);
    while (Clock::now() < deadline && host.receiver.report().frames < kTotal * kFrames) {
        if (next < kTotal) {
            Packet p = host.packet(static_cast<uint16_t>(next), next * kFrames);
            if (next >= kAudio) std::fill(p.payload(), p.payload() + p.payloadLength(), 0);
            sent[next] ? host.sendRepeat(p) : host.send(p);
            sent[next++] = true;
        }
        Bytes d;
        IPAddress from;
        if (host.socket.wait(1000) == Socket::WaitReadable && host.socket.receive(d, from) &&
            d.size() >= 16) {
            const PacketHeader h(d.data());
            if (h.command() == STREAM_INFO && (h.flags() & PacketFlag::ResendRequest))
                next -=
                    static_cast<uint16_t>(next - h.word10()); // go back, counted in 16 bits as the Host does
        }
    }
    host.send(SM::disconnectRequest());
    StreamReport r;
    ASSERT_TRUE(host.finished(r));
    EXPECT_TRUE(r.droppedByFaults > 0u && r.resendRequests > 0u && r.gapsNeverFilled == 0u);
    EXPECT_TRUE(r.bitPerfect() && r.verifier.matched == kAudio * kFrames);
}

TEST(StreamReceiverTest, FloodFromAnotherPortEndsWhenTheTargetClosesUnasked) {
    OutputConfig config = quiet();
    config.faults.closeAfterMs = 300;
    config.faults.floodPerSecond = 1000;
    ScriptedHost host(config);
    ASSERT_TRUE(host.ready);
    host.send(host.packet(0, 0));
    // The flood comes from the Target's address but another port, and stops with the stream.
    uint32_t flood = 0, floodAfterEnd = 0;
    auto deadline = Clock::now() + std::chrono::seconds(3);
    bool closed = false;
    while (Clock::now() < deadline) {
        Bytes d;
        IPAddress from;
        if (host.socket.wait(10000) != Socket::WaitReadable || !host.socket.receive(d, from)) continue;
        if (from == host.stream) {
            EXPECT_EQ(d, kDisconnectAnswer);
            closed = true;
            deadline = Clock::now() + std::chrono::milliseconds(200);
        } else if (from.sameAddress(host.stream)) {
            ++(closed ? floodAfterEnd : flood);
        }
    }
    StreamReport r;
    ASSERT_TRUE(host.finished(r));
    EXPECT_TRUE(closed && r.closedByTarget);
    EXPECT_TRUE(flood > 30u && flood < 1000u && floodAfterEnd == 0u) << flood << " " << floodAfterEnd; // ~300
}

} // namespace
