// The product word of an eight-character text, and the filter that decides which receivers count.
#include "discovery/Find.h"
#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

using TESSERA::kNoProduct;

constexpr uint64_t kQuintara = 0x415241544E495551ull;
constexpr uint64_t kOther = 0x3132333435363738ull;

TEST(FindProductTest, ProductIdOfText) {
    const struct {
        const char* text;
        uint64_t id;
    } rows[] = {
        {"QUINTARA", kQuintara},          {"87654321", kOther},
        {"QUINTAR", kNoProduct},          {"", kNoProduct},
        {"QUINTARA and more", kQuintara}, {"\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", kNoProduct},
    };
    for (const auto& row : rows)
        EXPECT_EQ(TESSERA::makeProductId(row.text), row.id) << row.text;
    EXPECT_EQ(TESSERA::makeProductId(TESSERA::kProductText), kQuintara);
}

TEST(FindProductTest, TheDriversTwoWordsMakeTheFilter) {
    const struct {
        uint64_t productId, findId, targetProduct;
        std::vector<uint64_t> extra;
    } rows[] = {{kQuintara, kQuintara, kQuintara, {}},
                {kQuintara, kOther, kQuintara, {kOther}},
                {0, kOther, kOther, {}},
                {kQuintara, 0, 0, {}}};
    for (const auto& row : rows) {
        TESSERA::FindConfig config;
        TESSERA::setProducts(config, row.productId, row.findId);
        EXPECT_EQ(std::tie(config.targetProduct, config.extraProducts),
                  std::tie(row.targetProduct, row.extra));
    }
}

TEST(FindProductTest, FilterAcceptsItsProductsAndLogsWhy) {
    const std::string q = std::to_string(kQuintara), o = std::to_string(kOther);
    const struct {
        uint64_t targetProduct;
        std::vector<uint64_t> extra;
        uint64_t id, result;
        std::string line;
    } rows[] = {
        {kQuintara, {}, kQuintara, kQuintara, "Terget Producst : " + q},
        {kQuintara, {}, kOther, kNoProduct, "Find Skip : " + o + " " + q},
        {kQuintara, {kOther}, kOther, kOther, "Terget Producst : " + o},
        {kQuintara, {}, 0, 0, "Find Target: 0"},
        {0, {}, kOther, kOther, "Find Target: " + o},
        {0, {}, kNoProduct, kNoProduct, "Find Target: 18446744073709551615"},
        {kNoProduct, {}, kQuintara, kNoProduct, "Find Skip : " + q + " 18446744073709551615"},
        {kNoProduct, {}, kNoProduct, kNoProduct, "Terget Producst : 18446744073709551615"},
    };
    for (const auto& row : rows) {
        TESSERA::FindConfig config;
        config.targetProduct = row.targetProduct;
        config.extraProducts = row.extra;
        const TESSERA::Find find(config);
        TESTING::LogCapture log(6);
        EXPECT_EQ(find.matchProduct(row.id), row.result) << row.line;
        EXPECT_EQ(log.messages(), std::vector<std::string>{row.line});
    }
}

} // namespace
