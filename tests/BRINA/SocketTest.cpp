// Real sockets on ::1 and 127.0.0.1 only.
#include "BRINA/Network/Socket.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

using BRINA::IPAddress;
using BRINA::Socket;
using Clock = std::chrono::steady_clock;

namespace {

constexpr uint8_t kLoopback[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
constexpr uint8_t kAny[16] = {};
constexpr uint32_t kNoSuchInterface = 0x7FFFFFF0; // ::1 ignores it; no device has this index
constexpr uint32_t kLoopbackIndex = 1;            // the loopback device's index in every namespace

int64_t millisecondsSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

std::vector<uint8_t> pattern(size_t size, uint8_t seed) {
    std::vector<uint8_t> bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<uint8_t>(seed + i * 7 + (i >> 8));
    return bytes;
}

} // namespace

TEST(SocketTest, DatagramsArriveWholeWithTheirSender) {
    // clang-format off
    const struct { uint32_t type; IPAddress local; size_t size; uint32_t receiveSize; size_t expected; } rows[] = {
        {Socket::IPv6Datagram, IPAddress(kLoopback, 0, 0), 1, 1500, 1},
        {Socket::IPv6Datagram, IPAddress(kLoopback, 0, 0), 65000, 65536, 65000},
        {Socket::IPv6Datagram, IPAddress(kLoopback, 0, 0), 65000, 1500, 0}, // too large: dropped
        {Socket::IPv4Datagram, IPAddress(127, 0, 0, 1, 0), 1000, 1500, 1000},
    };
    // clang-format on
    for (const auto& r : rows) {
        SCOPED_TRACE(r.size);
        Socket receiver, sender;
        IPAddress to = r.local, senderAddress = r.local, peer, from;
        ASSERT_TRUE(receiver.open(r.type) && receiver.bind(to) && sender.open(r.type) &&
                    sender.bind(senderAddress));
        EXPECT_TRUE(to.port() != 0 && senderAddress.port() != 0);
        receiver.receiveSize = r.receiveSize;
        const IPAddress other(kLoopback, 9, 0);
        sender.setPeer(other);
        const std::vector<uint8_t> sent = pattern(r.size, 3);
        ASSERT_TRUE(sender.sendTo(to, sent.data(), static_cast<uint32_t>(sent.size()), false));
        sender.getPeer(peer);
        EXPECT_EQ(peer, other); // sendTo puts the default destination back
        ASSERT_EQ(receiver.wait(2000000), Socket::WaitReadable);
        std::vector<uint8_t> got(3, 0xAA);
        ASSERT_TRUE(receiver.receive(got, from));
        ASSERT_EQ(got.size(), r.expected);
        EXPECT_TRUE(r.expected == 0 || (got == sent && from == senderAddress));
    }
}

// 150 datagrams of 1400 bytes unread: the usual queue of 208 KB holds about 90 of them, and the larger
// queue holds them all even where the system caps it at that default (Linux grants twice the cap).
TEST(SocketTest, WaitAndReceiveDontBlockAndTheLargerQueueHoldsWhatTheDefaultWouldDrop) {
    Socket receiver, sender, closed;
    IPAddress to(kLoopback, 0, 0), local(kLoopback, 0, 0), from;
    ASSERT_TRUE(receiver.open(Socket::IPv6Datagram) && receiver.bind(to) && receiver.setBlocking(false) &&
                receiver.setReceiveBuffer(1 << 20));
    ASSERT_TRUE(sender.open(Socket::IPv6Datagram) && sender.bind(local));
    EXPECT_FALSE(closed.setReceiveBuffer(1 << 20));
    std::vector<uint8_t> buffer(10, 1);
    auto start = Clock::now();
    EXPECT_TRUE(receiver.receive(buffer, from) && buffer.empty());
    EXPECT_EQ(receiver.wait(0), Socket::WaitTimeout);
    EXPECT_LT(millisecondsSince(start), 150);
    EXPECT_EQ(receiver.wait(50000), Socket::WaitTimeout);
    EXPECT_GE(millisecondsSince(start), 45);
    start = Clock::now();
    const std::vector<uint8_t> datagram = pattern(1400, 3);
    std::thread other([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        for (int i = 0; i < 150; ++i)
            sender.sendTo(to, datagram.data(), static_cast<uint32_t>(datagram.size()), true);
    });
    EXPECT_EQ(receiver.wait(200000), Socket::WaitReadable);
    EXPECT_LT(millisecondsSince(start), 150);
    other.join();
    int received = 0;
    while (receiver.receive(buffer, from) && !buffer.empty() && received < 1000)
        ++received;
    EXPECT_EQ(received, 150);
    receiver.close();
    EXPECT_TRUE(!receiver.isOpen() && receiver.wait(0) == Socket::WaitError);
}

TEST(SocketTest, BindScopeDecidesThePeerScopeAndInterfacesMustExist) {
    // clang-format off
    const struct { const uint8_t* address; uint32_t scope, boundScope, peerScope; } rows[] = {
        {kLoopback, 0, 0, 5},
        {kLoopback, kNoSuchInterface, kNoSuchInterface, 0},
        {nullptr, 0, 0, 5}, // opened again, not bound: no scope is left over
        {kAny, kNoSuchInterface, 0, 5},
    };
    // clang-format on
    Socket socket;
    for (const auto& r : rows) {
        SCOPED_TRACE(r.scope);
        ASSERT_TRUE(socket.open(Socket::IPv6Datagram));
        IPAddress local(r.address ? r.address : kAny, 0, r.scope), peer;
        ASSERT_TRUE(!r.address || socket.bind(local));
        EXPECT_EQ(socket.boundScope(), r.boundScope);
        socket.setPeer(IPAddress(kLoopback, 4242, 5)); // getPeer of a destination with scope 5
        socket.getPeer(peer);
        EXPECT_EQ(peer, IPAddress(kLoopback, 4242, r.peerScope));
    }
    for (const auto& [index, accepted] :
         {std::pair{0u, true}, {kLoopbackIndex, true}, {kNoSuchInterface, false}})
        EXPECT_EQ(socket.setInterface(index), accepted) << index;
}

TEST(SocketTest, SendWithRetryWaitsForRoomAndStaysNonBlocking) {
    // Full queue: the first attempt is busy. Room for part: the first attempt takes only some bytes.
    for (const bool fillFirst : {true, false}) {
        SCOPED_TRACE(fillFirst);
        Socket listener, client, server;
        IPAddress local(kLoopback, 0, 0), from;
        ASSERT_TRUE(listener.open(Socket::IPv6Stream) && listener.bind(local));
        ASSERT_TRUE(client.open(Socket::IPv6Stream) && client.connect(local) && client.setBlocking(false));
        ASSERT_EQ(listener.accept(server, from, 2000000), Socket::WaitReadable);
        int64_t queued = 0;
        const uint8_t byte = 0;
        const std::vector<uint8_t> chunk(65536, 0x55), last = pattern(16 << 20, 9); // more than buffers hold
        for (int i = 0, sent = 0; fillFirst && i < 4096 && sent >= 0; ++i, queued += std::max(sent, 0))
            sent = client.sendStream(chunk.data(), static_cast<uint32_t>(chunk.size()));
        ASSERT_FALSE(fillFirst && client.send(&byte, 1, false)); // one attempt gives up on a full queue
        const size_t total = static_cast<size_t>(queued) + last.size();
        std::vector<uint8_t> drained, part(65536);
        std::thread reader([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50)); // let the sender meet the full queue
            const auto begin = Clock::now();
            while (drained.size() < total && millisecondsSince(begin) < 20000) {
                if (server.wait(100000) != Socket::WaitReadable) continue;
                const int32_t got = server.receiveStream(part.data(), static_cast<uint32_t>(part.size()));
                if (got <= 0) break;
                drained.insert(drained.end(), part.begin(), part.begin() + got);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            server.sendStream(&byte, 1);
        });
        EXPECT_TRUE(client.send(last.data(), static_cast<uint32_t>(last.size()), true));
        EXPECT_FALSE(client.isBlocking());
        uint8_t in = 0; // non-blocking for the system too: no wait for the byte
        EXPECT_LT(client.receiveStream(&in, 1), 0);
        reader.join();
        ASSERT_EQ(drained.size(), total);
        EXPECT_TRUE(
            std::equal(last.begin(), last.end(), drained.end() - static_cast<ptrdiff_t>(last.size())));
    }
}
