// A Target's settings list and its texts, read and written through Find against a software Target on ::1.
#include "discovery/Find.h"
#include "tools/receiver/SoftwareTarget.h"

#include <gtest/gtest.h>

namespace {

using BRINA::IPAddress;
using TESSERA::Find;
using TESSERA::TargetSetting;
using Strings = std::vector<std::string>;

struct SettingsTarget {
    TESSERA::SoftwareTarget target;
    IPAddress address;
    static TESSERA::TargetConfig config() {
        TESSERA::TargetConfig c;
        c.bindAddress.parse("::1");
        c.discoveryPort = 0;
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
    SettingsTarget() : target(config()) {
        std::string error;
        EXPECT_TRUE(target.start(error)) << error;
        address.parse("::1");
        address.setPort(target.discoveryPort());
    }
};

struct Open : Find {
    Open() : Find(TESSERA::FindConfig{}) { EXPECT_TRUE(open()); }
};

TEST(FindSettingsTest, ReadsTheWholeList) {
    SettingsTarget t;
    Open find;
    std::list<TargetSetting> list{TargetSetting{}};
    ASSERT_TRUE(find.getSettings(t.address, list, false));
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
        EXPECT_EQ(s.name, row.name);
        EXPECT_EQ(s.kind, row.kind) << row.name;
        EXPECT_EQ(s.lowest, row.lowest) << row.name;
        EXPECT_EQ(s.highest, row.highest) << row.name;
        EXPECT_EQ(s.value, row.value) << row.name;
        EXPECT_EQ(s.current, row.current) << row.name;
        EXPECT_EQ(s.text, row.text) << row.name;
        EXPECT_EQ(s.choices, row.choices) << row.name;
    }
}

TEST(FindSettingsTest, WritesSettingsAndActsOnAll) {
    SettingsTarget t;
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
        EXPECT_EQ(find.setSetting(t.address, row.number, row.text, row.value), row.accepted) << row.number;
        if (row.number > 9) continue;
        EXPECT_EQ(t.target.settings().setting(row.number - 1).value, row.after) << row.number;
    }
    ASSERT_TRUE(find.setSetting(t.address, 5, std::string("Booth")));
    EXPECT_EQ(t.target.settings().setting(4).text, "Booth");

    // The second way of reading gives the kept values here; true keeps what stands, false goes back.
    const auto volume = [&](bool second) {
        std::list<TargetSetting> list;
        EXPECT_TRUE(find.getSettings(t.address, list, second));
        return list.empty() ? -1 : list.front().value;
    };
    EXPECT_EQ(volume(false), 80);
    EXPECT_EQ(volume(true), 40);
    ASSERT_TRUE(find.commitSettings(t.address, true));
    EXPECT_EQ(volume(true), 80);
    ASSERT_TRUE(find.setSetting(t.address, 1, uint16_t{10}));
    ASSERT_TRUE(find.commitSettings(t.address, false));
    EXPECT_EQ(volume(false), 80);
}

TEST(FindSettingsTest, TextsSelectionAndPing) {
    SettingsTarget t;
    BRINA::Socket silent;
    IPAddress quiet;
    quiet.parse("::1");
    ASSERT_TRUE(silent.open(BRINA::Socket::IPv6Datagram) && silent.bind(quiet));
    Open find;
    std::string text = "old";
    ASSERT_TRUE(find.requestText(t.address, text));
    EXPECT_EQ(text, "Tessera software Target");
    ASSERT_TRUE(find.requestTextB(t.address, text));
    EXPECT_EQ(text, "second text");
    const struct {
        uint16_t number;
        const char* text;
    } items[] = {{1, "one"}, {2, "two"}, {3, ""}};
    for (const auto& row : items) {
        ASSERT_TRUE(find.requestItemText(t.address, row.number, text));
        EXPECT_EQ(text, row.text);
    }
    EXPECT_TRUE(find.selectItem(t.address, true, 5));
    EXPECT_EQ(t.target.settings().selected(), 5);
    EXPECT_TRUE(find.selectItem(t.address, false, 5));
    EXPECT_EQ(t.target.settings().selected(), 0);
    EXPECT_TRUE(find.pingTarget(t.address));

    // A silent Target: every request false, and the text left empty.
    EXPECT_FALSE(find.pingTarget(quiet));
    EXPECT_FALSE(find.requestText(quiet, text));
    EXPECT_TRUE(text.empty());
    std::list<TargetSetting> list;
    EXPECT_FALSE(find.getSettings(quiet, list, false));
    EXPECT_FALSE(find.commitSettings(quiet, true));
}

} // namespace
