// The feedback words of each kind, and what the Host reads back from them.
#include "tools/receiver/FeedbackWords.h"
#include "transport/wire/FeedbackValue.h"

#include <gtest/gtest.h>

namespace {

using TESSERA::FeedbackValue;
using TESSERA::FeedbackWords;

TEST(FeedbackWordsTest, EachKindCarriesTheLevelsExcessAsTheHostReadsIt) {
    const struct {
        uint8_t kind;
        uint32_t level, target; // 100 us units
        uint16_t word8, word10, word12;
        FeedbackValue::Kind read;
        int16_t value;
    } rows[] = {
        {3, 750, 500, 0, 750, 500, FeedbackValue::Ratio, 8192},
        {1, 750, 500, 0x3000, 0, 0, FeedbackValue::Offset, 8192},
        {2, 750, 500, 0xA000, 0, 0, FeedbackValue::Direct, 8192},
        {0, 750, 500, 0, 0, 0, FeedbackValue::None, 0},
        {9, 750, 500, 0, 0, 0, FeedbackValue::None, 0}, // unknown kinds send no feedback
        {3, 250, 500, 0, 250, 500, FeedbackValue::Ratio, -8192},
        {2, 250, 500, 0xE000, 0, 0, FeedbackValue::Direct, -8192},
        {1, 0, 500, 0x0001, 0, 0, FeedbackValue::Offset, -16382}, // word8 0 would mean no feedback
        {2, 0, 500, 0xC000, 0, 0, FeedbackValue::Direct, -16384},
        // At three times the target the Host's quotient would wrap to a negative value: the level stops
        // short.
        {3, 2000, 500, 0, 1499, 500, FeedbackValue::Ratio, 32735},
        {1, 2000, 500, 0x5FEF, 0, 0, FeedbackValue::Offset, 32734},
        {2, 2000, 500, 0xBFFF, 0, 0, FeedbackValue::Direct, 16383},
        {3, 100, 0, 0, 2, 1, FeedbackValue::Ratio, 16384}, // a target of 0 would read as no feedback
        {3, 90000, 30000, 0, 65535, 30000, FeedbackValue::Ratio, 19406},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message()
                     << "kind " << int(r.kind) << " level " << r.level << " target " << r.target);
        const FeedbackWords w = FeedbackWords::make(r.kind, r.level, r.target);
        EXPECT_EQ(w.word8, r.word8);
        EXPECT_EQ(w.word10, r.word10);
        EXPECT_EQ(w.word12, r.word12);
        const FeedbackValue read = FeedbackValue::decode(w.word8, w.word10, w.word12);
        EXPECT_EQ(read.kind, r.read);
        EXPECT_EQ(read.value, r.value);
    }
}

} // namespace
