// The receiver's side of the formats: the overview a Host reads its questions from, and the check of
// CONNECT_REQ against the mask of the format's own kind.
#include "tools/receiver/Capabilities.h"

#include <gtest/gtest.h>

namespace {

using TESSERA::Capabilities;
using TESSERA::StreamFormat;

const StreamFormat kPcm(0x00002E13, 0x000000FE);    // 16/24/32-bit and float, 1/2/8 channels, 44.1 to 768 kHz
const StreamFormat kLsb64(0x02D1001B, 0x00000202);  // DSD64 LSB only
const StreamFormat kMsbAll(0x02E1001B, 0x00001E06); // DSD64 to DSD512 MSB

TEST(CapabilitiesTest, OverviewAnnouncesExactlyTheMasksThatExist) {
    const struct {
        const char* what;
        Capabilities caps;
        uint32_t type, rate;
    } rows[] = {
        {"PCM only: no DSD question", {kPcm, {}, {}}, 0x00002E13, 0x000000FE},
        {"all three", {kPcm, kLsb64, kMsbAll}, 0x02F12E1B, 0x00001EFE},
        // Masks given as raw words: the bit-order bits follow the masks, not the words.
        {"LSB mask without its bit", {{}, StreamFormat(0x02C10002, 0x0202), {}}, 0x02D10002, 0x00000202},
        {"MSB mask with the LSB bit", {{}, {}, StreamFormat(0x02F10002, 0x0202)}, 0x02E10002, 0x00000202},
        {"nothing", {}, 0, 0},
    };
    for (const auto& r : rows) {
        const StreamFormat overview = r.caps.overview();
        EXPECT_EQ(overview.type(), r.type) << r.what;
        EXPECT_EQ(overview.rateBits(), r.rate) << r.what;
    }
}

TEST(CapabilitiesTest, AcceptsOnlyConcreteFormatsWithinTheMaskOfTheirKind) {
    const Capabilities caps(kPcm, kLsb64, kMsbAll);
    const struct {
        const char* what;
        StreamFormat format;
        bool accepted;
    } rows[] = {
        {"PCM 24-bit 96 kHz stereo", {0x0402, 0x0014}, true},
        {"PCM float 768 kHz 8 channels", {0x2010, 0x0084}, true},
        {"PCM 8 kHz: rate not offered", {0x0402, 0x0001}, false},
        {"PCM 1,536 kHz: multiplier not offered", {0x0402, 0x0104}, false},
        {"PCM 64-bit integer: kind not offered", {0x1002, 0x0014}, false},
        {"PCM 6 channels: count not offered", {0x0408, 0x0014}, false},
        {"PCM two channel codes", {0x0403, 0x0014}, false},
        {"PCM without a rate", {0x0402, 0}, false},
        {"PCM two rates", {0x0402, 0x001E}, false},
        {"DSD64 LSB little stereo", {0x02510002, 0x0202}, true},
        {"DSD128 LSB: only the MSB mask has it", {0x02510002, 0x0402}, false},
        {"DSD512 MSB big 6 channels", {0x02A10008, 0x1002}, true},
        {"DSD both bit orders", {0x02710002, 0x0202}, false},
        {"DSD without bit order", {0x02410002, 0x0202}, false},
        {"DSD below DSD64", {0x02510002, 0x0102}, false},
        {"DSD 16-bit words", {0x01510002, 0x0202}, false},
        {"empty", {}, false},
    };
    for (const auto& r : rows)
        EXPECT_EQ(caps.accepts(r.format), r.accepted) << r.what;
}

} // namespace
