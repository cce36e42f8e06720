// Transfers into the slots of a software Target on ::1 that loses, refuses and misnames on request, and
// through a relay that loses a share of the data or changes a byte of it.
#include "discovery/Find.h"
#include "tests/support/LogCapture.h"
#include "tests/support/LoopbackTarget.h"
#include "transport/wire/Crc16.h"
#include "transport/wire/PacketHeader.h"
#include "transport/wire/SyncCommands.h"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

namespace {

using BRINA::IPAddress;
using TESSERA::Find;
using TESSERA::TargetTransferConfig;
using Bytes = std::vector<uint8_t>;
using Windows = std::vector<std::pair<uint16_t, bool>>;

Bytes randomBytes(size_t length) {
    std::mt19937 random(static_cast<uint32_t>(length));
    Bytes data(length);
    for (uint8_t& b : data)
        b = static_cast<uint8_t>(random());
    return data;
}

// A Target on ::1 whose slots take transfers as transfer says, and a Find opened to reach it.
struct Slots {
    TESTING::LoopbackTarget target;
    Find find{TESSERA::FindConfig{}};
    static TESSERA::TargetConfig with(const TargetTransferConfig& transfer) {
        TESSERA::TargetConfig c;
        c.transfer = transfer;
        return c;
    }
    explicit Slots(const TargetTransferConfig& transfer) : target(with(transfer)) {
        EXPECT_TRUE(find.open());
    }
    bool send(int slot, const Bytes& data, unsigned limit = 0) {
        return find.Transfer(target.address(), slot, BRINA::BufferCS_const(data), limit);
    }
    // (sequence, last of window) of each TRANSFER_DATA in the order the Target saw them.
    Windows windows() {
        Windows seen;
        for (const Bytes& a : target.target().transfers().arrivals())
            seen.emplace_back(TESSERA::PacketHeader(a.data()).word10(), (a[9] & 0x80) != 0);
        return seen;
    }
};

// windowLimit, packetSize, blockLength, blockCount, then the faults: dropOnce, silentAcks, refuse,
// ackFollowing, wrongSlotAck.
TargetTransferConfig shaped(uint16_t limit, uint16_t size, uint16_t length, uint16_t count, int32_t drop = -1,
                            uint32_t silent = 0, bool refuse = false, bool following = false,
                            bool wrong = false) {
    TargetTransferConfig c;
    c.windowLimit = limit, c.packetSize = size, c.blockLength = length, c.blockCount = count;
    c.dropOnce = drop, c.silentAcks = silent, c.refuse = refuse, c.ackFollowing = following;
    c.wrongSlotAck = wrong;
    return c;
}

TEST(FindTransferTest, OutcomesAndTheirLines) {
    const uint16_t none = 0xFFFF;
    // clang-format off
    const struct { const char* what; TargetTransferConfig target; int slot; size_t length; bool ok; size_t arrivals; const char* line; } rows[] = {
        {"whole", shaped(none, 1000, 8, 4), 1, 20'000, true, 20, "compleat Transfer "},
        {"empty", shaped(none, 1000, 8, 4), 0, 0, true, 0, "compleat Transfer "},
        {"slot beyond the slots", shaped(none, 1000, 8, 4), 2, 10, false, 0, nullptr},
        {"larger than the slot", shaped(none, 1000, 8, 4), 0, 32'001, false, 0, nullptr},
        {"a lost packet", shaped(none, 1000, 8, 4, 3), 0, 8000, true, 13, "Retry Detect err 7 3"},
        {"the sequence after the last", shaped(none, 1000, 8, 4, -1, 0, false, true), 0, 3000, true, 3, "Retry Redy Pass 2 3"},
        {"refused", shaped(none, 1000, 8, 4, -1, 0, true), 0, 3000, false, 3, "Transfer NAK error "},
        {"another slot named", shaped(none, 1000, 8, 4, -1, 0, false, false, true), 0, 3000, false, 3, "Transfer NO error "},
        {"never acknowledged", shaped(none, 1000, 8, 4, -1, 100), 0, 1000, false, 11, "Transfer error 11"},
    };
    // clang-format on
    for (const auto& row : rows) {
        Slots t(row.target);
        const Bytes data = randomBytes(row.length);
        TESTING::LogCapture log(6);
        EXPECT_EQ(t.send(row.slot, data), row.ok) << row.what;
        EXPECT_EQ(t.target.target().transfers().arrivals().size(), row.arrivals) << row.what;
        EXPECT_TRUE(row.line == nullptr || log.contains(row.line)) << row.what;
        EXPECT_TRUE(!row.ok || t.target.target().transfers().slot(row.slot) == data) << row.what;
    }
}

TEST(FindTransferTest, WindowsEndAtTheLimitAndShrinkAfterASilence) {
    // clang-format off
    const struct { const char* what; TargetTransferConfig target; unsigned limit; Windows seen; } rows[] = {
        {"the Target's limit", shaped(1500, 1000, 8, 4), 0, {{0, false}, {1, true}, {2, false}, {3, true}}},
        {"the caller's limit", shaped(0xFFFF, 1000, 8, 4), 1500, {{0, false}, {1, true}, {2, false}, {3, true}}},
        {"no limit: a block per window", shaped(0xFFFF, 1000, 2, 4), 0, {{0, false}, {1, true}, {2, false}, {3, true}}},
        {"one silence: the window again, then 1,000 bytes less", shaped(1500, 1000, 8, 4, -1, 1), 0, {{0, false}, {1, true}, {0, false}, {1, true}, {2, true}, {3, true}}},
    };
    // clang-format on
    for (const auto& row : rows) {
        Slots t(row.target);
        EXPECT_TRUE(t.send(0, randomBytes(4000), row.limit)) << row.what;
        EXPECT_EQ(t.windows(), row.seen) << row.what;
    }
}

TEST(FindTransferTest, AResendRepeatsThePacketsFromTheFirstMissing) {
    Slots t(shaped(0xFFFF, 100, 8, 4, 2));
    ASSERT_TRUE(t.send(0, randomBytes(777)));
    const std::vector<Bytes> arrivals = t.target.target().transfers().arrivals();
    // Eight packets, then 2 to 7 again: the same header and payload, a few zero bytes behind.
    ASSERT_EQ(arrivals.size(), 14u);
    for (size_t again = 8; again < arrivals.size(); ++again) {
        const Bytes& first = arrivals[again - 6];
        const Bytes& second = arrivals[again];
        EXPECT_TRUE(second.size() >= first.size() && second.size() <= first.size() + 8 &&
                    std::equal(first.begin(), first.end(), second.begin()))
            << again;
    }
}

// Between the Host and a Target on ::1: loses each TRANSFER_DATA with the chance loss (seeded), and changes
// a byte of the one numbered corrupt; everything else passes both ways.
struct Relay {
    BRINA::Socket socket;
    IPAddress address = TESTING::localLoopback();
    std::atomic<bool> running{true};
    std::thread thread;
    Relay(const IPAddress& target, double loss, int corrupt) {
        EXPECT_TRUE(socket.open(BRINA::Socket::IPv6Datagram) && socket.bind(address));
        thread = std::thread([this, target, loss, corrupt] {
            std::mt19937 random(5);
            std::bernoulli_distribution lost(loss);
            IPAddress host;
            Bytes d;
            for (int data = 0; running;) {
                IPAddress from;
                if (socket.wait(100'000) != BRINA::Socket::WaitReadable || !socket.receive(d, from)) continue;
                const bool back = from == target;
                if (!back) host = from;
                if (!back && d.size() > 16 && d[4] == TESSERA::TRANSFER_DATA) {
                    if (lost(random)) continue;
                    if (data++ == corrupt) d[16] ^= 1;
                }
                socket.sendTo(back ? host : target, d.data(), uint32_t(d.size()), true);
            }
        });
    }
    ~Relay() {
        running = false;
        thread.join();
    }
};

TEST(FindTransferTest, AMegabyteArrivesWholeThroughLossAndAChangedByteFailsTheCrc) {
    Slots t(shaped(0xFFFF, 1024, 16, 64));
    const Bytes data = randomBytes(1 << 20);
    {
        Relay lossy(t.target.address(), 0.05, -1);
        TESTING::LogCapture log(6);
        EXPECT_TRUE(t.find.Transfer(lossy.address, 1, BRINA::BufferCS_const(data), 0));
        EXPECT_TRUE(log.contains("compleat Transfer "));
    }
    EXPECT_TRUE(t.target.target().transfers().slot(1) == data);
    Relay changing(t.target.address(), 0, 5);
    TESTING::LogCapture log(6);
    EXPECT_FALSE(t.find.Transfer(changing.address, 0, BRINA::BufferCS_const(randomBytes(20'000)), 0));
    EXPECT_TRUE(log.contains("TransferStrp error "));
    EXPECT_TRUE(t.target.target().transfers().slot(0).empty());
    // The query: the length of what slot 1 holds when its CRC is the one asked about, 0 otherwise.
    const uint16_t right = TESSERA::crc16Usb(BRINA::BufferCS_const(data));
    // clang-format off
    const struct { int slot; uint16_t crc; bool ok; uint16_t value; } rows[] = {
        {1, right, true, 0xFFFE},
        {1, static_cast<uint16_t>(right ^ 1), true, 0},
        {0, right, true, 0},
        {5, right, false, 9},
    };
    // clang-format on
    for (const auto& row : rows) {
        uint16_t crc = row.crc, value = 9;
        EXPECT_EQ(t.find.transferQuery(t.target.address(), row.slot, crc, value), row.ok) << row.slot;
        EXPECT_EQ(value, row.value) << row.slot;
    }
}

} // namespace
