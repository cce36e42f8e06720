// The Output questions put to one receiver, a software Target on ::1, and the address put into its text.
#include "discovery/Find.h"
#include "tests/support/LogCapture.h"
#include "tests/support/LoopbackTarget.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

using BRINA::IPAddress;
using TESSERA::Find;
using TESSERA::FindConfig;

using TESTING::localLoopback;

// Three Outputs: a plain one, one reported with port 0, and one of protocol version 2.
TESSERA::TargetConfig threeOutputs() {
    TESSERA::TargetConfig c;
    c.outputs.resize(3);
    c.outputs[0].name = "Line";
    c.outputs[1].name = "Away";
    c.outputs[1].offered = false;
    c.outputs[2].name = "";
    c.outputs[2].protocolVersion = 2;
    return c;
}

TEST(FindOutputsTest, OutputsWithAPortAndAnAcceptedVersion) {
    TESTING::LoopbackTarget t(threeOutputs());
    const struct {
        uint16_t maxVersion;
        bool nopBreak;
        std::vector<size_t> outputs; // by index from 0
    } rows[] = {{1, false, {0}}, {2, false, {0, 2}}, {0, false, {0, 2}}, {1, true, {0}}};
    for (const auto& row : rows) {
        FindConfig config;
        config.maxVersion = row.maxVersion;
        config.nopBreak = row.nopBreak;
        Find find(config);
        ASSERT_TRUE(find.open());
        uint16_t count = 0;
        ASSERT_TRUE(find.getOutputCount(t.address(), count));
        EXPECT_EQ(count, 3);
        TESSERA::OutputMap outputs;
        TESTING::LogCapture log(6);
        ASSERT_TRUE(find.getOutputs(t.address(), outputs));
        ASSERT_EQ(outputs.size(), row.outputs.size()) << row.maxVersion;
        for (size_t i : row.outputs) {
            const TESSERA::OutputInfo& info = outputs[t.output(i)];
            EXPECT_EQ(std::tie(info.outputIndex, info.outputName, info.protocolVersion),
                      std::make_tuple(uint16_t(i + 1), t.target().config().outputs[i].name,
                                      uint16_t(i == 2 ? 2 : 1)));
        }
        EXPECT_EQ(log.contains("Tessera Find protocol version not much : 1<2"), row.maxVersion == 1);
    }
}

TEST(FindOutputsTest, OneOutputOrTheNullKey) {
    TESTING::LoopbackTarget t(threeOutputs());
    Find find(FindConfig{});
    ASSERT_TRUE(find.open());
    // Only Output 1 has a port and version 1; a key left from before never survives.
    for (uint16_t index : {1, 2, 3, 4}) {
        IPAddress key = localLoopback();
        uint16_t version = 0;
        std::string name;
        ASSERT_TRUE(find.getOutput(t.address(), index, key, version, name));
        EXPECT_EQ(key, index == 1 ? t.output(0) : IPAddress()) << index;
    }
}

TEST(FindOutputsTest, ASilentReceiverHasNoOutputs) {
    BRINA::Socket silent;
    IPAddress address = localLoopback();
    ASSERT_TRUE(silent.open(BRINA::Socket::IPv6Datagram) && silent.bind(address));
    Find find(FindConfig{});
    ASSERT_TRUE(find.open());
    uint16_t count = 9;
    EXPECT_TRUE(find.getOutputCount(address, count));
    EXPECT_EQ(count, 0);
    TESSERA::OutputMap outputs;
    EXPECT_TRUE(find.getOutputs(address, outputs));
    EXPECT_TRUE(outputs.empty());
    Find closed(FindConfig{});
    EXPECT_FALSE(closed.getOutputs(address, outputs));
}

TEST(FindOutputsTest, TheReceiversAddressGoesIntoItsText) {
    IPAddress a;
    ASSERT_TRUE(a.parse("fe80::1:2"));
    a.setPort(19642);
    a.setScope(3);
    const struct {
        const char* text;
        const char* result;
    } rows[] = {
        {"[myaddress]", "[fe80::1:2]"},
        {"at [myaddress] and [myaddress]", "at [fe80::1:2] and [myaddress]"},
        {"[myaddress", "[myaddress"},
        {"no placeholder here", "no placeholder here"},
        {"", ""},
    };
    for (const auto& row : rows)
        EXPECT_EQ(TESSERA::withAddress(row.text, a), row.result) << row.text;
}

} // namespace
