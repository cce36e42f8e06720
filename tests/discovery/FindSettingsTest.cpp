// A Target's settings list and its texts, read and written through Find against a software Target on ::1.
#include "discovery/Find.h"
#include "tests/support/LoopbackTarget.h"

#include <gtest/gtest.h>

#include <functional>
#include <tuple>

namespace {

using BRINA::IPAddress;
using TESSERA::Find;
using TESSERA::TargetSetting;
using Strings = std::vector<std::string>;

TESSERA::TargetConfig withSettings() {
    TESSERA::TargetConfig c;
    c.settings = {
        {1, "Volume", 0, 100, 40, "", {}},
        {2, "Trim", -12, 12, -3, "", {}},
        {3, "Mute", 5, 9, 1, "", {}},
        {3, "Dim", 0, 1, 0, "", {"off", "on"}},
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

struct Open : Find {
    Open() : Find(TESSERA::FindConfig{}) { EXPECT_TRUE(open()); }
};

TEST(FindSettingsTest, ReadsTheWholeList) {
    TESTING::LoopbackTarget t(withSettings());
    Open find;
    std::list<TargetSetting> list{TargetSetting{}};
    ASSERT_TRUE(find.getSettings(t.address(), list, false));
    const struct {
        const char* name;
        uint32_t kind;
        int32_t lowest, highest, value, current;
        const char* text;
        Strings choices;
    } rows[] = {
        {"Volume", TargetSetting::Number, 0, 100, 40, 40, "", {}},
        {"Trim", TargetSetting::Number, -12, 12, -3, 9, "", {}},
        {"Mute", TargetSetting::OnOff, 0, 1, 1, 65532, "", {"disable", "enable"}},
        {"Dim", TargetSetting::OnOff, 0, 1, 0, 0, "", {"off", "on"}},
        {"Label", TargetSetting::Text, 0, 0, 0, 0, "Studio", {}},
        {"Mode", TargetSetting::Choice, 1, 3, 2, 1, "", {"A", "B", "C"}},
        {"Filter", TargetSetting::NamedChoice, 0, 2, 1, 1, "slow", {"sharp", "slow", "short"}},
        {"Named", TargetSetting::NamedChoice, 0, 1, 0, 0, "own text", {"x", "y"}},
        {"Odd", TargetSetting::Unknown, 0, 0, 7, 4, "", {}},
    };
    ASSERT_EQ(list.size(), std::size(rows));
    auto it = list.begin();
    for (const auto& row : rows) {
        const TargetSetting& s = *it++;
        EXPECT_EQ(std::tie(s.name, s.kind, s.lowest, s.highest, s.value, s.current, s.text, s.choices),
                  std::make_tuple(std::string(row.name), row.kind, row.lowest, row.highest, row.value,
                                  row.current, std::string(row.text), row.choices));
    }
}

TEST(FindSettingsTest, WritesSettingsAndActsOnAll) {
    TESTING::LoopbackTarget t(withSettings());
    Open find;
    const struct {
        uint16_t number;
        const char* text;
        uint16_t value;
        bool accepted;
        int32_t after; // the value the Target holds afterwards
    } rows[] = {
        {1, "", 80, true, 80},  {1, "", 101, false, 80}, {2, "", static_cast<uint16_t>(-5), true, -5},
        {2, "", 13, false, -5}, {6, "", 3, true, 3},     {99, "", 1, false, 0},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(find.setSetting(t.address(), row.number, row.text, row.value), row.accepted) << row.number;
        if (row.number > 9) continue;
        EXPECT_EQ(t.target().settings().setting(row.number - 1).value, row.after) << row.number;
    }
    ASSERT_TRUE(find.setSetting(t.address(), 5, std::string("Booth")));
    EXPECT_EQ(t.target().settings().setting(4).text, "Booth");

    // The second way of reading gives the kept values here; true keeps what stands, false goes back.
    const auto volume = [&](bool second) {
        std::list<TargetSetting> list;
        EXPECT_TRUE(find.getSettings(t.address(), list, second));
        return list.empty() ? -1 : list.front().value;
    };
    EXPECT_EQ(volume(false), 80);
    EXPECT_EQ(volume(true), 40);
    ASSERT_TRUE(find.commitSettings(t.address(), true));
    EXPECT_EQ(volume(true), 80);
    ASSERT_TRUE(find.setSetting(t.address(), 1, uint16_t{10}));
    ASSERT_TRUE(find.commitSettings(t.address(), false));
    EXPECT_EQ(volume(false), 80);
}

TEST(FindSettingsTest, TextsSelectionAndPing) {
    TESTING::LoopbackTarget t(withSettings());
    BRINA::Socket silent;
    IPAddress quiet;
    quiet.parse("::1");
    ASSERT_TRUE(silent.open(BRINA::Socket::IPv6Datagram) && silent.bind(quiet));
    Open find;
    std::string text = "old";
    const struct {
        std::function<bool(std::string&)> ask;
        const char* text;
    } texts[] = {
        {[&](std::string& x) { return find.requestText(t.address(), x); }, "Tessera software Target"},
        {[&](std::string& x) { return find.requestTextB(t.address(), x); }, "second text"},
        {[&](std::string& x) { return find.requestItemText(t.address(), 1, x); }, "one"},
        {[&](std::string& x) { return find.requestItemText(t.address(), 2, x); }, "two"},
        {[&](std::string& x) { return find.requestItemText(t.address(), 3, x); }, ""},
    };
    for (const auto& row : texts)
        EXPECT_TRUE(row.ask(text) && text == row.text) << row.text;
    EXPECT_TRUE(find.selectItem(t.address(), true, 5));
    EXPECT_EQ(t.target().settings().selected(), 5);
    EXPECT_TRUE(find.selectItem(t.address(), false, 5));
    EXPECT_EQ(t.target().settings().selected(), 0);
    EXPECT_TRUE(find.pingTarget(t.address()));

    // A silent Target: every request false, and the text left empty.
    EXPECT_FALSE(find.pingTarget(quiet));
    EXPECT_FALSE(find.requestText(quiet, text));
    EXPECT_TRUE(text.empty());
    std::list<TargetSetting> list;
    EXPECT_FALSE(find.getSettings(quiet, list, false));
    EXPECT_FALSE(find.commitSettings(quiet, true));
}

} // namespace
