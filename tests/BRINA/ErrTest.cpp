#include "BRINA/Err.h"

#include <gtest/gtest.h>

namespace {

TEST(ErrTest, PrintsTheAssertionLineBetweenLineEnds) {
    ::testing::internal::CaptureStderr();
    const BRINA::Err err("BRINA/src/Network/Socket", 76, 0, 0);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "\nBRINA ASSERT[BRINA/src/Network/Socket]Line:76[code:0 Data:0]\n");
    EXPECT_EQ(err.line, 76);
    ::testing::internal::CaptureStderr();
    BRINA::Err("x", 79, -2, 4000000000u);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "\nBRINA ASSERT[x]Line:79[code:-2 Data:4000000000]\n");
}

} // namespace
