// The questions put to one software Target on ::1: its Outputs, its settings, and transfers into
// its slots, which it loses, refuses and misnames on request, and through a relay that loses a share of the
// data or changes a byte of it.
#include "discovery/Find.h"
#include "tests/support/LogCapture.h"
#include "tools/receiver/SoftwareTarget.h"
#include "transport/wire/SyncCommands.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <random>
#include <thread>
#include <tuple>

namespace {

using BRINA::IPAddress;
using TESSERA::FindConfig;
using TESSERA::TargetSetting;
using TESSERA::TargetTransferConfig;
using In = BRINA::BufferCS_const;
using Bytes = std::vector<uint8_t>;
using Windows = std::vector<std::pair<uint16_t, bool>>;
using Strings = std::vector<std::string>;

IPAddress loopback(uint16_t port = 0) {
    IPAddress a;
    a.parse("::1");
    a.setPort(port);
    return a;
}

// A software Target on ::1, its ports the system's choice.
struct Loopback : TESSERA::SoftwareTarget {
    static TESSERA::TargetConfig bound(TESSERA::TargetConfig c) {
        c.bindAddress = loopback();
        c.discoveryPort = 0;
        return c;
    }
    explicit Loopback(const TESSERA::TargetConfig& config) : SoftwareTarget(bound(config)) {
        std::string error;
        EXPECT_TRUE(start(error)) << error;
    }
    IPAddress address() const { return loopback(discoveryPort()); }
    IPAddress output(size_t i) const { return loopback(controlPort(i)); }
};

struct Find : TESSERA::Find {
    explicit Find(const FindConfig& config = {}) : TESSERA::Find(config) { EXPECT_TRUE(open()); }
};

// A socket on ::1 that never answers.
struct Silent {
    BRINA::Socket socket;
    IPAddress address = loopback();
    Silent() { EXPECT_TRUE(socket.open(BRINA::Socket::IPv6Datagram) && socket.bind(address)); }
};

TEST(FindLoopbackTest, OutputsWithAPortAndAnAcceptedVersionAndNoneFromASilentReceiver) {
    TESSERA::TargetConfig three; // Out2 reported with port 0, Out3 of protocol version 2
    three.outputs.resize(3);
    for (size_t i = 0; i < 3; ++i)
        three.outputs[i].name = "Out" + std::to_string(i + 1);
    three.outputs[1].offered = false;
    three.outputs[2].protocolVersion = 2;
    Loopback t(three);
    Silent silent;
    // clang-format off
    const struct { uint16_t maxVersion; bool nopBreak, silent; std::vector<size_t> outputs; } rows[] = {
        {1, false, false, {0}},
        {2, true, false, {0, 2}},
        {0, false, false, {0, 2}},
        {0, true, true, {}},
    };
    // clang-format on
    for (const auto& row : rows) {
        FindConfig config;
        config.maxVersion = row.maxVersion;
        config.nopBreak = row.nopBreak;
        Find find(config);
        TESSERA::OutputMap outputs;
        TESTING::LogCapture log(6);
        ASSERT_TRUE(find.getOutputs(row.silent ? silent.address : t.address(), outputs));
        ASSERT_EQ(outputs.size(), row.outputs.size()) << row.maxVersion;
        for (size_t i : row.outputs)
            EXPECT_EQ(std::tie(outputs[t.output(i)].outputIndex, outputs[t.output(i)].outputName),
                      std::make_tuple(uint16_t(i + 1), "Out" + std::to_string(i + 1)));
        EXPECT_EQ(log.contains("Tessera Find protocol version not much : 1<2"), row.maxVersion == 1);
    }
}

TEST(FindLoopbackTest, SettingsWrittenAndReadBack) {
    TESSERA::TargetConfig config;
    config.settings = {
        {1, "Volume", 0, 100, 40, "", {}},
        {2, "Trim", -12, 12, -3, "", {}},
        {3, "Mute", 5, 9, 1, "", {}},
        {4, "Label", 0, 0, 0, "Studio", {}},
        {5, "Mode", 1, 3, 2, "", {"A", "B", "C"}},
        {6, "Filter", 0, 2, 1, "", {"sharp", "slow", "short"}},
        {6, "Named", 0, 1, 0, "own text", {"x", "y"}},
        {9, "Odd", 3, 4, 7, "", {}},
    };
    Loopback t(config);
    Find find;
    // clang-format off
    const struct { const char* name; uint32_t kind; int32_t lowest, highest, value, current; const char* text; Strings choices; } rows[] = {
        {"Volume", TargetSetting::Number, 0, 100, 80, 80, "", {}},
        {"Trim", TargetSetting::Number, -12, 12, -5, 7, "", {}},
        {"Mute", TargetSetting::OnOff, 0, 1, 1, 65532, "", {"disable", "enable"}},
        {"Label", TargetSetting::Text, 0, 0, 0, 0, "Booth", {}},
        {"Mode", TargetSetting::Choice, 1, 3, 2, 1, "", {"A", "B", "C"}},
        {"Filter", TargetSetting::NamedChoice, 0, 2, 1, 1, "slow", {"sharp", "slow", "short"}},
        {"Named", TargetSetting::NamedChoice, 0, 1, 0, 0, "own text", {"x", "y"}},
        {"Odd", TargetSetting::Unknown, 0, 0, 7, 4, "", {}},
    };
    // clang-format on
    // Volume 80 and Trim -5 are taken, 101 and 13 lie outside their ranges, and setting 99 doesn't exist.
    EXPECT_TRUE(find.setSetting(t.address(), 1, uint16_t{80}) &&
                !find.setSetting(t.address(), 1, uint16_t{101}));
    EXPECT_TRUE(find.setSetting(t.address(), 2, uint16_t(-5)) &&
                !find.setSetting(t.address(), 2, uint16_t{13}));
    EXPECT_TRUE(find.setSetting(t.address(), 4, std::string("Booth")) &&
                !find.setSetting(t.address(), 99, uint16_t{1}));
    std::list<TargetSetting> list{TargetSetting{}};
    ASSERT_TRUE(find.getSettings(t.address(), list, false));
    ASSERT_EQ(list.size(), std::size(rows));
    auto it = list.begin();
    for (const auto& row : rows) {
        const TargetSetting& s = *it++;
        EXPECT_EQ(std::tie(s.name, s.kind, s.lowest, s.highest, s.value, s.current, s.text, s.choices),
                  std::make_tuple(std::string(row.name), row.kind, row.lowest, row.highest, row.value,
                                  row.current, std::string(row.text), row.choices));
    }
    // The second way of reading gives the kept values; commit true keeps what stands, false goes back.
    const auto volume = [&](bool second) {
        EXPECT_TRUE(find.getSettings(t.address(), list, second) && !list.empty());
        return list.empty() ? -1 : list.front().value;
    };
    EXPECT_EQ(volume(true), 40);
    ASSERT_TRUE(find.commitSettings(t.address(), true));
    EXPECT_EQ(volume(true), 80);
    ASSERT_TRUE(find.setSetting(t.address(), 1, uint16_t{10}) && find.commitSettings(t.address(), false));
    EXPECT_EQ(volume(false), 80);

    // A silent Target: every request false.
    Silent silent;
    EXPECT_TRUE(find.pingTarget(t.address()) && !find.pingTarget(silent.address));
    EXPECT_FALSE(find.getSettings(silent.address, list, false) || find.commitSettings(silent.address, true));
}

Bytes randomBytes(size_t length) {
    std::mt19937 random(static_cast<uint32_t>(length));
    Bytes data(length);
    for (uint8_t& b : data)
        b = static_cast<uint8_t>(random());
    return data;
}

// Two slots of 4 blocks of 8 packets of 1,000 bytes, the window limit given, and the faults: the first
// arrival of sequence drop lost, silent windows unacknowledged, refusals, the sequence after the last
// acknowledged, another slot named.
TargetTransferConfig shaped(uint16_t limit, int32_t drop = -1, uint32_t silent = 0, bool refuse = false,
                            bool following = false, bool wrong = false) {
    TargetTransferConfig c{2, limit, 1000, 8, 4, drop};
    c.silentAcks = silent, c.refuse = refuse, c.ackFollowing = following, c.wrongSlotAck = wrong;
    return c;
}

TESSERA::TargetConfig withSlots(const TargetTransferConfig& transfer) {
    TESSERA::TargetConfig c;
    c.transfer = transfer;
    return c;
}

TEST(FindLoopbackTest, OutcomesTheirLinesAndTheWindows) {
    const uint16_t none = 0xFFFF;
    const Windows two{{0, false}, {1, true}, {2, false}, {3, true}};
    // clang-format off
    // seen: (sequence, last of window) of each TRANSFER_DATA in the order the Target saw them; empty: not looked at.
    const struct { const char* what; TargetTransferConfig target; int slot; size_t length; unsigned limit; bool ok; size_t arrivals; const char* line; Windows seen; } rows[] = {
        {"whole", shaped(none), 1, 20'000, 0, true, 20, "compleat Transfer ", {}},
        {"empty", shaped(none), 0, 0, 0, true, 0, "compleat Transfer ", {}},
        {"slot beyond the slots", shaped(none), 2, 10, 0, false, 0, nullptr, {}},
        {"larger than the slot", shaped(none), 0, 32'001, 0, false, 0, nullptr, {}},
        {"a lost packet: 3 to 7 again", shaped(none, 3), 0, 8000, 0, true, 13, "Retry Detect err 7 3", {}},
        {"the sequence after the last", shaped(none, -1, 0, false, true), 0, 3000, 0, true, 3, "Retry Redy Pass 2 3", {}},
        {"refused", shaped(none, -1, 0, true), 0, 3000, 0, false, 3, "Transfer NAK error ", {}},
        {"another slot named", shaped(none, -1, 0, false, false, true), 0, 3000, 0, false, 3, "Transfer NO error ", {}},
        {"never acknowledged", shaped(none, -1, 100), 0, 1000, 0, false, 11, "Transfer error 11", {}},
        {"the Target's window limit", shaped(1500), 0, 4000, 0, true, 4, nullptr, two},
        {"the caller's window limit", shaped(none), 0, 4000, 1500, true, 4, nullptr, two},
        {"one silence: the window again, then 1,000 bytes less", shaped(2600, -1, 1), 0, 6000, 0, true, 9, "resend 3", {{0, false}, {1, false}, {2, true}, {0, false}, {1, false}, {2, true}, {3, false}, {4, true}, {5, true}}},
    };
    // clang-format on
    for (const auto& row : rows) {
        Loopback t(withSlots(row.target));
        Find find;
        const Bytes data = randomBytes(row.length);
        TESTING::LogCapture log(6);
        EXPECT_EQ(find.Transfer(t.address(), row.slot, In(data), row.limit), row.ok) << row.what;
        Windows seen;
        for (const Bytes& a : t.transfers().arrivals())
            seen.emplace_back(a[10] | a[11] << 8, (a[9] & 0x80) != 0);
        EXPECT_EQ(seen.size(), row.arrivals) << row.what;
        EXPECT_TRUE(row.seen.empty() || seen == row.seen) << row.what;
        EXPECT_TRUE(row.line == nullptr || log.contains(row.line)) << row.what;
        EXPECT_TRUE(!row.ok || t.transfers().slot(row.slot) == data) << row.what;
    }
}

// Between the Host and a Target on ::1: loses each TRANSFER_DATA with the chance loss (seeded), and changes
// a byte of the one numbered corrupt; everything else passes both ways.
struct Relay {
    BRINA::Socket socket;
    IPAddress address = loopback();
    std::atomic<bool> running{true};
    std::thread thread;
    Relay(const IPAddress& target, double loss, int corrupt) {
        EXPECT_TRUE(socket.open(BRINA::Socket::IPv6Datagram) && socket.bind(address));
        thread = std::thread([this, target, loss, corrupt] {
            std::mt19937 random(5);
            std::bernoulli_distribution lost(loss);
            IPAddress host, from;
            Bytes d;
            for (int data = 0, turns = 0; running && turns < 100'000; ++turns) {
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

TEST(FindLoopbackTest, AMegabyteArrivesWholeThroughLossAndAChangedByteFailsTheCrc) {
    Loopback t(withSlots({2, 0xFFFF, 1024, 16, 64}));
    Find find;
    const Bytes data = randomBytes(1 << 20), small = randomBytes(20'000);
    TESTING::LogCapture log(6);
    {
        Relay lossy(t.address(), 0.05, -1);
        EXPECT_TRUE(find.Transfer(lossy.address, 1, In(data), 0) && log.contains("compleat Transfer "));
    }
    EXPECT_TRUE(t.transfers().slot(1) == data);
    Relay changing(t.address(), 0, 5);
    EXPECT_FALSE(find.Transfer(changing.address, 0, In(small), 0));
    EXPECT_TRUE(log.contains("TransferStrp error ") && t.transfers().slot(0).empty());
}

} // namespace
