#include "BRINA/LogStream.h"
#include "BRINA/LogSink.h"

#include "tests/support/AllocationCounter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using BRINA::LogStream;

std::string textOf(const LogStream& s) {
    return std::string(s.buffer()->text, s.buffer()->length);
}

class LogStreamTest : public ::testing::Test {
protected:
    void TearDown() override { BRINA::logThreshold = -1; }
};

TEST_F(LogStreamTest, ThresholdDecidesWhichLevelsAreActiveAndInactiveOnesAllocateNothing) {
    // clang-format off
    const struct { int32_t threshold, level; bool active; } rows[] = {
        {-1, 3, false}, {-1, 0, false}, {6, 7, false}, {6, 6, true}, {6, 3, true}, {7, 7, true}, {3, 4, false},
        {0, 8, true}, // level 8 masks to 0
    };
    // clang-format on
    const std::string big(100, 'x');
    for (const auto& r : rows) {
        BRINA::logThreshold = r.threshold;
        const uint64_t before = TESTING::allocationCount();
        LogStream s(r.level, "never built ");
        s << 42 << uint32_t{7} << uint64_t{9} << int64_t{-3} << 1.5 << big;
        EXPECT_EQ(s.active(), r.active) << "threshold " << r.threshold << " level " << r.level;
        EXPECT_TRUE(r.active || TESTING::allocationCount() == before) << "threshold " << r.threshold;
    }
}

// Every value kind in its format behind the header that is stamped when sent; a string that does not fit
// is left out whole, and the line is capped at 2047 characters.
TEST_F(LogStreamTest, ValuesAppendInTheirFormatsAndStringsThatDontFitAreLeftOut) {
    BRINA::logThreshold = 7;
    LogStream s(7, "a=");
    s << int32_t{-5} << " b=" << uint16_t{65535} << " c=" << uint32_t{4000000000u} << " d=" << int64_t{-1}
      << " e=" << uint64_t{18446744073709551615ull} << " f=" << 0.5 << " g=" << std::string("str");
    const std::string values = "a=-5 b=65535 c=4000000000 d=-1 e=18446744073709551615 f=0.500000 g=str";
    EXPECT_EQ(textOf(s), "<000>MMM DD hh mm ss localhost " + values);
    s << std::string(2047 - 31 - values.size() - 10, 'f'); // leaves 10 characters of room
    ASSERT_EQ(s.buffer()->length, 2037u);
    s << std::string(10, 'x'); // 10 + 1 + 2037 = 2048: does not fit
    s << std::string(9, 'y') << "z";
    EXPECT_EQ(textOf(s).substr(2037), "yyyyyyyyyz");
    s << "more" << 123;
    EXPECT_EQ(s.buffer()->length, 2047u);
    EXPECT_EQ(s.buffer()->text[2047], '\0');
}

} // namespace
