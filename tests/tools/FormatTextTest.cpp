// Capability masks from a user's words, product ids from their text, and formats in words for the logs.
#include "tools/common/FormatText.h"
#include "tools/receiver/TargetConfig.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using TESSERA::FormatText;
using TESSERA::StreamFormat;

TEST(FormatTextTest, ReadsMasks) {
    enum Kind { Pcm, Lsb, Msb, Words };
    const struct {
        Kind kind;
        const char* text;
        bool ok;
        uint32_t type, rate;
    } rows[] = {
        {Pcm, "44100,96000:16,24:2", true, 0x0602, 0x001E},
        {Pcm, "8000,768000:8,f32,f64:1,6,16", true, 0x6129, 0x0085},
        {Pcm, "none", true, 0, 0},
        {Pcm, "44101:16:2", false, 0, 0},
        {Pcm, "44100:12:2", false, 0, 0},
        {Pcm, "44100:16:3", false, 0, 0},
        {Pcm, "44100:16", false, 0, 0},
        {Pcm, "44100,:16:2", false, 0, 0},
        {Lsb, "64,128:little:2", true, 0x02510002, 0x0602},
        {Msb, "3072000:big,little:8", true, 0x02E10010, 0x0204},
        {Lsb, "32:little:2", false, 0, 0},
        {Lsb, "64:middle:2", false, 0, 0},
        {Words, "0x2E13,0xFE", true, 0x2E13, 0xFE},
        {Words, "2e13,fe", true, 0x2E13, 0xFE},
        {Words, "0x2E13", false, 0, 0},
        {Words, "0x1FFFFFFFF,0", false, 0, 0},
    };
    for (const auto& r : rows) {
        StreamFormat mask(0xDEAD, 0xBEEF);
        std::string error;
        bool ok = false;
        switch (r.kind) {
        case Pcm:
            ok = FormatText::parsePcm(r.text, mask, error);
            break;
        case Lsb:
            ok = FormatText::parseDsd(r.text, true, mask, error);
            break;
        case Msb:
            ok = FormatText::parseDsd(r.text, false, mask, error);
            break;
        case Words:
            ok = FormatText::parseWords(r.text, mask, error);
            break;
        }
        EXPECT_EQ(ok, r.ok) << r.text;
        EXPECT_EQ(error.empty(), r.ok) << r.text << ": " << error;
        if (r.ok) {
            EXPECT_EQ(mask, StreamFormat(r.type, r.rate)) << r.text;
        }
    }
}

TEST(FormatTextTest, DescribesFormats) {
    const struct {
        StreamFormat format;
        const char* text;
    } rows[] = {
        {{0x0402, 0x0014}, "PCM 24-bit 96000 Hz 2 ch"},
        {{0x2010, 0x000C}, "PCM 32-bit float 48000 Hz 8 ch"},
        {{0x02A10001, 0x0404}, "DSD128x48k MSB big 1 ch"},
        {{0x02510002, 0x0202}, "DSD64 LSB little 2 ch"},
        {{0x0403, 0x0014}, "invalid format 0x00000403,0x00000014"},
    };
    for (const auto& r : rows)
        EXPECT_EQ(FormatText::describe(r.format), r.text);
}

TEST(FormatTextTest, ProductIdOfText) {
    const struct {
        std::string text;
        uint64_t id;
    } rows[] = {
        {"QUINTARA", 0x415241544E495551u},  // 'Q' in the lowest byte
        {"QUINTARAX", 0x415241544E495551u}, // the first eight characters
        {"QUINTAR", ~uint64_t{0}},          {"", ~uint64_t{0}}, {std::string(8, '\xFF'), ~uint64_t{0}},
        {std::string(8, '\0'), 0},
    };
    for (const auto& r : rows)
        EXPECT_EQ(TESSERA::productIdOf(r.text), r.id) << r.text;
}

} // namespace
