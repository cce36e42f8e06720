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

// A listener on ::1, a client connected to it and the accepted server side.
struct StreamPair {
    Socket listener, client, server;
    IPAddress from;
    StreamPair() {
        IPAddress local(kLoopback, 0, 0);
        EXPECT_TRUE(listener.open(Socket::IPv6Stream) && listener.bind(local));
        EXPECT_TRUE(client.open(Socket::IPv6Stream) && client.connect(local));
        EXPECT_EQ(listener.accept(server, from, 2000000), Socket::WaitReadable);
    }
};

} // namespace

TEST(SocketTest, DatagramsArriveWholeWithTheirSender) {
    struct Case {
        uint32_t type;
        IPAddress local;
        size_t size;
        uint32_t receiveSize;
        size_t expected; // 0: dropped, too large for receiveSize
    };
    const Case cases[] = {
        {Socket::IPv6Datagram, IPAddress(kLoopback, 0, 0), 1, 1500, 1},
        {Socket::IPv6Datagram, IPAddress(kLoopback, 0, 0), 65000, 65536, 65000},
        {Socket::IPv6Datagram, IPAddress(kLoopback, 0, 0), 65000, 1500, 0},
        {Socket::IPv4Datagram, IPAddress(127, 0, 0, 1, 0), 1000, 1500, 1000},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.size);
        Socket receiver, sender;
        IPAddress to = c.local, senderAddress = c.local;
        ASSERT_TRUE(receiver.open(c.type) && receiver.bind(to));
        ASSERT_TRUE(sender.open(c.type) && sender.bind(senderAddress));
        EXPECT_NE(to.port(), 0);
        EXPECT_NE(senderAddress.port(), 0);
        receiver.receiveSize = c.receiveSize;

        const IPAddress other(kLoopback, 9, 0);
        sender.setPeer(other);
        const std::vector<uint8_t> sent = pattern(c.size, 3);
        ASSERT_TRUE(sender.sendTo(to, sent.data(), static_cast<uint32_t>(sent.size()), false));
        IPAddress peer;
        sender.getPeer(peer);
        EXPECT_EQ(peer, other); // sendTo puts the default destination back

        ASSERT_EQ(receiver.wait(2000000), Socket::WaitReadable);
        std::vector<uint8_t> got(3, 0xAA);
        IPAddress from;
        ASSERT_TRUE(receiver.receive(got, from));
        ASSERT_EQ(got.size(), c.expected);
        if (c.expected == 0) continue;
        EXPECT_EQ(got, sent);
        EXPECT_EQ(from, senderAddress);
    }
}

TEST(SocketTest, ReceiveAndWaitOnAnIdleSocketDontBlock) {
    Socket socket;
    IPAddress local(kLoopback, 0, 0);
    ASSERT_TRUE(socket.open(Socket::IPv6Datagram) && socket.bind(local) && socket.setBlocking(false));
    std::vector<uint8_t> buffer(10, 1);
    IPAddress from;
    const auto start = Clock::now();
    EXPECT_TRUE(socket.receive(buffer, from));
    EXPECT_TRUE(buffer.empty());
    EXPECT_EQ(socket.wait(0), Socket::WaitTimeout);
    EXPECT_LT(millisecondsSince(start), 150);

    socket.close();
    EXPECT_FALSE(socket.isOpen());
    EXPECT_EQ(socket.wait(0), Socket::WaitError);
}

TEST(SocketTest, WaitTimesOutOrWakesOnADatagram) {
    Socket receiver, sender;
    IPAddress to(kLoopback, 0, 0), local(kLoopback, 0, 0);
    ASSERT_TRUE(receiver.open(Socket::IPv6Datagram) && receiver.bind(to));
    ASSERT_TRUE(sender.open(Socket::IPv6Datagram) && sender.bind(local));

    auto start = Clock::now();
    EXPECT_EQ(receiver.wait(50000), Socket::WaitTimeout);
    EXPECT_GE(millisecondsSince(start), 45);

    start = Clock::now();
    std::thread other([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        const uint8_t byte = 1;
        sender.sendTo(to, &byte, 1, false);
    });
    EXPECT_EQ(receiver.wait(200000), Socket::WaitReadable);
    EXPECT_LT(millisecondsSince(start), 150);
    other.join();
}

TEST(SocketTest, ReceiveBufferHoldsWhatTheSystemsDefaultWouldDrop) {
    // 150 datagrams of 1400 bytes unread: the usual queue of 208 KB holds about 90 of them, and the larger
    // queue holds them all even where the system caps it at that default (Linux grants twice the cap).
    Socket receiver, sender;
    IPAddress to(kLoopback, 0, 0);
    ASSERT_TRUE(receiver.open(Socket::IPv6Datagram) && receiver.bind(to));
    ASSERT_TRUE(receiver.setReceiveBuffer(1 << 20));
    IPAddress from(kLoopback, 0, 0);
    ASSERT_TRUE(sender.open(Socket::IPv6Datagram) && sender.bind(from));
    const std::vector<uint8_t> datagram = pattern(1400, 3);
    for (int i = 0; i < 150; ++i)
        ASSERT_TRUE(sender.sendTo(to, datagram.data(), static_cast<uint32_t>(datagram.size()), true));
    ASSERT_TRUE(receiver.setBlocking(false));
    std::vector<uint8_t> buffer;
    IPAddress source;
    int received = 0;
    while (receiver.receive(buffer, source) && !buffer.empty() && received < 1000)
        ++received;
    EXPECT_EQ(received, 150);
    Socket closed;
    EXPECT_FALSE(closed.setReceiveBuffer(1 << 20));
}

TEST(SocketTest, BindScopeDecidesThePeerScope) {
    struct Case {
        const uint8_t* address;
        uint32_t scope;
        uint32_t boundScope;
        uint32_t peerScope; // getPeer of a destination with scope 5
    };
    const Case cases[] = {
        {kLoopback, 0, 0, 5},
        {kLoopback, kNoSuchInterface, kNoSuchInterface, 0},
        {nullptr, 0, 0, 5}, // opened again, not bound: no scope is left over
        {kAny, kNoSuchInterface, 0, 5},
    };
    Socket socket;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.scope);
        ASSERT_TRUE(socket.open(Socket::IPv6Datagram));
        IPAddress local(c.address ? c.address : kAny, 0, c.scope);
        if (c.address) {
            ASSERT_TRUE(socket.bind(local));
        }
        EXPECT_EQ(socket.boundScope(), c.boundScope);
        socket.setPeer(IPAddress(kLoopback, 4242, 5));
        IPAddress peer;
        socket.getPeer(peer);
        EXPECT_EQ(peer, IPAddress(kLoopback, 4242, c.peerScope));
    }
}

TEST(SocketTest, SetInterfaceTakesOnlyExistingInterfaces) {
    struct Case {
        uint32_t index;
        bool accepted;
    };
    const Case cases[] = {{0, true}, {kLoopbackIndex, true}, {kNoSuchInterface, false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.index);
        Socket socket;
        ASSERT_TRUE(socket.open(Socket::IPv6Datagram));
        EXPECT_EQ(socket.setInterface(c.index), c.accepted);
    }
}

TEST(SocketTest, SendWithRetryWaitsForRoomAndStaysNonBlocking) {
    // Full queue: the first attempt is busy. Room for part: the first attempt takes only some bytes.
    for (const bool fillFirst : {true, false}) {
        SCOPED_TRACE(fillFirst);
        StreamPair pair;
        ASSERT_TRUE(pair.client.setBlocking(false));
        int64_t queued = 0;
        const uint8_t byte = 0;
        if (fillFirst) {
            const std::vector<uint8_t> chunk(65536, 0x55);
            const auto start = Clock::now();
            for (int i = 0; i < 4096 && millisecondsSince(start) < 5000; ++i) {
                const int32_t sent =
                    pair.client.sendStream(chunk.data(), static_cast<uint32_t>(chunk.size()));
                if (sent < 0) break;
                queued += sent;
            }
            ASSERT_FALSE(pair.client.send(&byte, 1, false)); // one attempt gives up on a full queue
        }

        const std::vector<uint8_t> last = pattern(16 << 20, 9); // more than both sides' buffers hold
        const size_t total = static_cast<size_t>(queued) + last.size();
        std::vector<uint8_t> drained;
        std::thread reader([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50)); // let the sender meet the full queue
            std::vector<uint8_t> part(65536);
            const auto begin = Clock::now();
            while (drained.size() < total && millisecondsSince(begin) < 20000) {
                if (pair.server.wait(100000) != Socket::WaitReadable) continue;
                const int32_t got =
                    pair.server.receiveStream(part.data(), static_cast<uint32_t>(part.size()));
                if (got <= 0) break;
                drained.insert(drained.end(), part.begin(), part.begin() + got);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            pair.server.sendStream(&byte, 1);
        });
        EXPECT_TRUE(pair.client.send(last.data(), static_cast<uint32_t>(last.size()), true));
        EXPECT_FALSE(pair.client.isBlocking());
        uint8_t in = 0;
        EXPECT_LT(pair.client.receiveStream(&in, 1),
                  0); // non-blocking for the system too: no wait for the byte
        reader.join();

        ASSERT_EQ(drained.size(), total);
        EXPECT_TRUE(
            std::equal(last.begin(), last.end(), drained.end() - static_cast<ptrdiff_t>(last.size())));
    }
}
