// tessera-find as a user runs it: refused outside a network namespace of its own, then on a private link.
#include "tests/support/PrivateLink.h"
#include "tests/support/ProgramRun.h"

#include <gtest/gtest.h>

namespace {

using TESTING::PrivateLink;

TEST(FindProgramTest, ListsTheOutputsItFindsOrSaysWhy) {
    // Still in the machine's namespace (or one that can't be told from it): refused before any datagram.
    const auto refused = TESTING::runProgram("tools/find/tessera-find", "");
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.output.find("search refused"), std::string::npos) << refused.output;

    std::string why;
    if (!PrivateLink::enterOwnNamespace(why)) GTEST_SKIP() << why;
    PrivateLink link(1);
    ASSERT_TRUE(link.ready());
    std::string error;
    TESSERA::TargetConfig alpha, foreign;
    alpha.name = "Alpha";
    alpha.outputs.resize(2);
    alpha.outputs[1].name = "Right";
    foreign.name = "Foreign";
    foreign.productId = TESSERA::productIdOf("OTHERPRD");
    ASSERT_EQ(link.addTarget(0, alpha, error), 0) << error;
    ASSERT_EQ(link.addTarget(0, foreign, error), 1) << error;
    ASSERT_TRUE(link.waitForHostAddresses());
    const std::string at = link.targetAddress(0).toString();

    const struct {
        std::string arguments;
        int status;
        std::string expected, absent;
    } rows[] = {
        {"", 0, "Alpha, Output 2 \"Right\", version 1", "Foreign"},
        {"--product any --interface tlink0", 0, "Foreign, Output 1 \"Output 1\", version 1", ""},
        {"--product OTHERPRD", 0, "Foreign", "Alpha"},
        {"--target " + at + " --output 2", 0, "Alpha, Output 2 \"\", version 1", "Foreign"},
        {"--target fe80::dead:beef", 1, "no Target found", "Alpha"},
        {"--interface nowhere", 2, "cannot search on nowhere", ""},
        {"--product SHORT", 2, "a product is eight characters", ""},
        {"--help", 0, "usage: tessera-find", ""},
    };
    for (const auto& r : rows) {
        const auto run = TESTING::runProgram("tools/find/tessera-find", r.arguments);
        EXPECT_EQ(run.status, r.status) << r.arguments << "\n" << run.output;
        EXPECT_NE(run.output.find(r.expected), std::string::npos) << r.arguments << "\n" << run.output;
        EXPECT_TRUE(r.absent.empty() || run.output.find(r.absent) == std::string::npos) << r.arguments;
    }
}

} // namespace
