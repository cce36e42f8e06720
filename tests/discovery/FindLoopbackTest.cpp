// The questions put to one receiver on ::1: the exchange under each, its Outputs, the watch's table of them,
// and its settings and texts.
#include "discovery/Find.h"
#include "tests/support/LogCapture.h"
#include "tests/support/LoopbackTarget.h"
#include "transport/wire/DiscoveryMessages.h"

#include <gtest/gtest.h>

#include <thread>
#include <tuple>

namespace {

using BRINA::IPAddress;
using TESSERA::Find;
using TESSERA::FindConfig;
using TESSERA::SendResult;
using TESSERA::TargetSetting;
using Bytes = std::vector<uint8_t>;
using Strings = std::vector<std::string>;

struct Opened : Find {
    explicit Opened(const FindConfig& config = {}) : Find(config) { EXPECT_TRUE(open()); }
};

// A socket on ::1 that answers nothing unless the test makes it.
struct Quiet {
    BRINA::Socket socket;
    IPAddress address = TESTING::localLoopback();
    Quiet() { EXPECT_TRUE(socket.open(BRINA::Socket::IPv6Datagram) && socket.bind(address)); }
};

Bytes answer(uint16_t command, bool content) {
    TESSERA::Packet p(command, 4, 0, 0, 0);
    if (content) p.header().setFlags(TESSERA::PacketFlag::HasContent);
    return Bytes(p.data(), p.data() + p.size());
}

TEST(FindLoopbackTest, TheFirstFittingDatagramEndsTheExchange) {
    using TESSERA::OUTPUT_ANS;
    const Bytes fits = answer(OUTPUT_ANS, true),
                broken{0x63, 0, 0x10, 0, 0x03, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    // clang-format off
    // script: what the asked socket (false) or a stranger (true) sends back, in turn.
    const struct { const char* what; std::vector<std::pair<bool, Bytes>> script; SendResult result; } rows[] = {
        {"answered", {{false, fits}}, SendResult::answered},
        {"without content, from a stranger", {{true, answer(OUTPUT_ANS, false)}}, SendResult::noContent},
        {"echo from a stranger", {{true, answer(TESSERA::OUTPUT_REQ, true)}}, SendResult::echoed},
        {"other command, broken, a stranger's answer, then the answer", {{false, answer(0x11, true)}, {false, broken}, {true, fits}, {false, fits}}, SendResult::answered},
        {"a stranger's answer only", {{true, fits}}, SendResult::timeout},
        {"silence", {}, SendResult::timeout},
    };
    // clang-format on
    for (const auto& row : rows) {
        Quiet asked, stranger;
        Opened find;
        std::thread target([&] {
            Bytes request;
            IPAddress host;
            if (asked.socket.wait(1'000'000) != BRINA::Socket::WaitReadable ||
                !asked.socket.receive(request, host))
                return;
            for (const auto& [fromStranger, bytes] : row.script)
                (fromStranger ? stranger : asked)
                    .socket.sendTo(host, bytes.data(), uint32_t(bytes.size()), true);
        });
        Bytes got{1, 2, 3};
        EXPECT_EQ(find.sendAck(asked.address, TESSERA::DiscoveryMessages::outputRequest(0), OUTPUT_ANS, got),
                  row.result)
            << row.what;
        target.join();
        const bool kept = row.result == SendResult::answered || row.result == SendResult::noContent;
        EXPECT_EQ(TESSERA::Packet::isValid(BRINA::BufferCS_const(got)), kept) << row.what;
    }
}

TEST(FindLoopbackTest, OutputsWithAPortAndAnAcceptedVersionAndNoneFromASilentOne) {
    TESSERA::TargetConfig three; // "Line"; one reported with port 0; "Two" of protocol version 2
    three.outputs.resize(3);
    three.outputs[0].name = "Line";
    three.outputs[1].offered = false;
    three.outputs[2].name = "Two";
    three.outputs[2].protocolVersion = 2;
    TESTING::LoopbackTarget t(three);
    // clang-format off
    const struct { uint16_t maxVersion; bool nopBreak; std::vector<size_t> outputs; } rows[] = {
        {1, false, {0}},
        {2, true, {0, 2}},
        {0, false, {0, 2}},
    };
    // clang-format on
    for (const auto& row : rows) {
        FindConfig config;
        config.maxVersion = row.maxVersion;
        config.nopBreak = row.nopBreak;
        Opened find(config);
        TESSERA::OutputMap outputs;
        TESTING::LogCapture log(6);
        ASSERT_TRUE(find.getOutputs(t.address(), outputs));
        ASSERT_EQ(outputs.size(), row.outputs.size()) << row.maxVersion;
        for (size_t i : row.outputs)
            EXPECT_EQ(std::tie(outputs[t.output(i)].outputIndex, outputs[t.output(i)].outputName),
                      std::make_tuple(uint16_t(i + 1), three.outputs[i].name));
        EXPECT_EQ(log.contains("Tessera Find protocol version not much : 1<2"), row.maxVersion == 1);
    }
    Quiet silent;
    Opened find;
    uint16_t count = 9;
    TESSERA::OutputMap none;
    EXPECT_TRUE(find.getOutputCount(silent.address, count) && count == 0);
    EXPECT_TRUE(find.getOutputs(silent.address, none) && none.empty());
}

// The receiver "Lab" with one Output of each version given.
TESSERA::TargetConfig lab(std::vector<uint16_t> versions) {
    TESSERA::TargetConfig c;
    c.name = "Lab";
    c.outputs.resize(versions.size());
    for (size_t i = 0; i < versions.size(); ++i)
        c.outputs[i].protocolVersion = versions[i];
    return c;
}

TEST(FindLoopbackTest, TheTableMergesAtMostOneStaleEntryPerCall) {
    TESTING::LoopbackTarget t(lab({1, 1, 1}));
    FindConfig config;
    config.maxVersion = 0;
    Opened find(config);
    TESTING::LogCapture log(6);
    ASSERT_TRUE(find.addTarget(t.address(), 42, "Lab"));
    ASSERT_TRUE(find.addTarget(t.address(), 42, "Renamed")); // nothing changed: nothing moves
    // The table goes in key order, which the system's choice of ports decides.
    std::map<IPAddress, std::string> byKey;
    for (size_t i = 0; i < 3; ++i)
        byKey[t.output(i)] = "Lab " + std::to_string(i + 1);
    Strings adds, dels;
    std::list<IPAddress> oldKeys;
    for (const auto& [key, name] : byKey) {
        adds.push_back("add Target: " + name), dels.push_back("del Target: " + name), oldKeys.push_back(key);
    }
    EXPECT_EQ(log.messages(), adds);
    TESSERA::TargetTable added;
    find.takeAdded(added);
    const TESSERA::Target& second = added[t.output(1)];
    EXPECT_EQ(std::make_tuple(added.size(), second.outputIndex, second.productId, second.targetName,
                              second.parentAddress),
              std::make_tuple(size_t{3}, uint16_t{2}, uint64_t{42}, std::string("Lab"), t.address()));

    // Now one Output of version 2: each call removes one stale entry; the new Output comes at once.
    t.restart(lab({2}));
    log.clear();
    for (uint32_t expected : {3u, 2u, 1u, 1u}) {
        ASSERT_TRUE(find.addTarget(t.address(), 42, "Lab"));
        EXPECT_EQ(find.targetCount(), expected);
    }
    EXPECT_EQ(log.messages(), (Strings{dels[0], "add Target: Lab 1", dels[1], dels[2]}));
    std::list<IPAddress> removed;
    find.takeRemoved(removed);
    EXPECT_EQ(removed, oldKeys);
    // Added and gone again before the user looked: nothing to take, though the key is among the removed.
    find.remTarget(t.address());
    find.takeAdded(added);
    find.takeRemoved(removed);
    EXPECT_TRUE(added.empty() && find.targetCount() == 0);
    EXPECT_EQ(removed, std::list<IPAddress>{t.output(0)});
    EXPECT_EQ(log.messages().back(), "rem Target: Lab 1");
}

TEST(FindLoopbackTest, ProbeAsksOneReceiverAndFilters) {
    TESTING::LoopbackTarget t(lab({1}));
    Quiet silent;
    const uint64_t own = TESSERA::makeProductId("QUINTARA"), none = TESSERA::kNoProduct;
    // clang-format off
    const struct { uint64_t targetProduct; bool silent; uint64_t id; const char* name; } rows[] = {
        {own, false, own, "Lab"},
        {TESSERA::makeProductId("OTHERPRD"), false, none, "Lab"},
        {own, true, none, "before"},
    };
    // clang-format on
    for (const auto& row : rows) {
        FindConfig config;
        config.targetProduct = row.targetProduct;
        config.hostName = "Probe";
        Opened find(config);
        uint64_t id = 0;
        std::string name = "before";
        EXPECT_TRUE(find.probeTarget(row.silent ? silent.address : t.address(), id, name));
        EXPECT_EQ(std::tie(id, name), std::make_tuple(row.id, std::string(row.name)));
    }
    EXPECT_EQ(t.target().status().hostName, "Probe");
}

TESSERA::TargetConfig withSettings() {
    TESSERA::TargetConfig c;
    c.settings = {
        {1, "Volume", 0, 100, 40, "", {}},
        {2, "Trim", -12, 12, -3, "", {}},
        {3, "Mute", 5, 9, 1, "", {}},
        {4, "Label", 0, 0, 0, "Studio", {}},
        {5, "Mode", 1, 3, 2, "", {"A", "B", "C"}},
        {6, "Filter", 0, 2, 1, "", {"sharp", "slow", "short"}},
        {6, "Named", 0, 1, 0, "own text", {"x", "y"}},
        {9, "Odd", 3, 4, 7, "", {}},
    };
    c.texts.second = "second text";
    c.texts.items = {"one", "two"};
    return c;
}

TEST(FindLoopbackTest, SettingsReadWrittenAndReadBack) {
    TESTING::LoopbackTarget t(withSettings());
    Opened find;
    // clang-format off
    const struct { const char* name; uint32_t kind; int32_t lowest, highest, value, current; const char* text; Strings choices; } rows[] = {
        {"Volume", TargetSetting::Number, 0, 100, 40, 40, "", {}},
        {"Trim", TargetSetting::Number, -12, 12, -3, 9, "", {}},
        {"Mute", TargetSetting::OnOff, 0, 1, 1, 65532, "", {"disable", "enable"}},
        {"Label", TargetSetting::Text, 0, 0, 0, 0, "Studio", {}},
        {"Mode", TargetSetting::Choice, 1, 3, 2, 1, "", {"A", "B", "C"}},
        {"Filter", TargetSetting::NamedChoice, 0, 2, 1, 1, "slow", {"sharp", "slow", "short"}},
        {"Named", TargetSetting::NamedChoice, 0, 1, 0, 0, "own text", {"x", "y"}},
        {"Odd", TargetSetting::Unknown, 0, 0, 7, 4, "", {}},
    };
    // clang-format on
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
    // clang-format off
    const struct { uint16_t number; uint16_t value; bool accepted; int32_t after; } writes[] = {
        {1, 80, true, 80},
        {1, 101, false, 80},
        {2, static_cast<uint16_t>(-5), true, -5},
        {2, 13, false, -5},
        {99, 1, false, 0},
    };
    // clang-format on
    for (const auto& row : writes) {
        EXPECT_EQ(find.setSetting(t.address(), row.number, row.value), row.accepted) << row.number;
        EXPECT_TRUE(row.number > 9 || t.target().settings().setting(row.number - 1).value == row.after)
            << row.number;
    }
    ASSERT_TRUE(find.setSetting(t.address(), 4, std::string("Booth")));
    // Read back: the first way gives the values as they stand, the second the kept ones; true keeps.
    const auto read = [&](bool second) {
        std::list<TargetSetting> back;
        EXPECT_TRUE(find.getSettings(t.address(), back, second) && back.size() == std::size(rows));
        return back.empty() ? std::make_tuple(-1, -1, std::string())
                            : std::make_tuple(back.front().value, std::next(back.begin())->value,
                                              std::next(back.begin(), 3)->text);
    };
    EXPECT_EQ(read(false), std::make_tuple(80, -5, std::string("Booth")));
    EXPECT_EQ(read(true), std::make_tuple(40, -3, std::string("Studio")));
    ASSERT_TRUE(find.commitSettings(t.address(), true));
    EXPECT_EQ(std::get<0>(read(true)), 80);
    ASSERT_TRUE(find.setSetting(t.address(), 1, uint16_t{10}) && find.commitSettings(t.address(), false));
    EXPECT_EQ(std::get<0>(read(false)), 80);
}

TEST(FindLoopbackTest, TextsSelectionAndASilentTarget) {
    TESTING::LoopbackTarget t(withSettings());
    Opened find;
    std::string text = "old";
    // clang-format off
    const struct { std::function<bool(std::string&)> ask; const char* text; } texts[] = {
        {[&](std::string& x) { return find.requestText(t.address(), x); }, "Tessera software Target"},
        {[&](std::string& x) { return find.requestTextB(t.address(), x); }, "second text"},
        {[&](std::string& x) { return find.requestItemText(t.address(), 2, x); }, "two"},
        {[&](std::string& x) { return find.requestItemText(t.address(), 3, x); }, ""},
    };
    // clang-format on
    for (const auto& row : texts)
        EXPECT_TRUE(row.ask(text) && text == row.text) << row.text;
    EXPECT_TRUE(find.selectItem(t.address(), true, 5) && t.target().settings().selected() == 5);
    EXPECT_TRUE(find.selectItem(t.address(), false, 5) && t.target().settings().selected() == 0);
    EXPECT_TRUE(find.pingTarget(t.address()));
    Quiet silent;
    std::list<TargetSetting> list;
    EXPECT_FALSE(find.pingTarget(silent.address) || find.getSettings(silent.address, list, false));
    EXPECT_FALSE(find.requestText(silent.address, text));
    EXPECT_TRUE(text.empty());
}

} // namespace
