// The product word of an eight-character text, and the filter made of a driver's two product words.
#include "discovery/FindConfig.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

using TESSERA::kNoProduct;

constexpr uint64_t kQuintara = 0x415241544E495551ull, kOther = 0x3132333435363738ull;

TEST(FindProductTest, ProductIdOfTextAndTheFilterOfTwoWords) {
    // clang-format off
    const struct { const char* text; uint64_t id; } texts[] = {
        {TESSERA::kProductText, kQuintara},
        {"87654321", kOther},
        {"QUINTAR", kNoProduct},
        {"QUINTARA and more", kQuintara},
        {"\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", kNoProduct},
    };
    const struct { uint64_t productId, findId, targetProduct; std::vector<uint64_t> extra; } words[] = {
        {kQuintara, kQuintara, kQuintara, {}},
        {kQuintara, kOther, kQuintara, {kOther}},
        {0, kOther, kOther, {}},
        {kQuintara, 0, 0, {}},
    };
    // clang-format on
    for (const auto& row : texts)
        EXPECT_EQ(TESSERA::makeProductId(row.text), row.id) << row.text;
    for (const auto& row : words) {
        TESSERA::FindConfig config;
        TESSERA::setProducts(config, row.productId, row.findId);
        EXPECT_EQ(std::tie(config.targetProduct, config.extraProducts),
                  std::tie(row.targetProduct, row.extra));
    }
}

} // namespace
