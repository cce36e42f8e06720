#include "tools/signal/TestSignal.h"
#include "format/CopyRoutines.h"
#include "tools/signal/AudioFileWriter.h"
#include "tools/signal/SignalVerifier.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <vector>

namespace {

using TESSERA::StreamFormat;

StreamFormat make(uint32_t type, uint32_t rate) {
    StreamFormat f;
    f.setRate(rate);
    f.merge(type, 0);
    return f;
}

std::vector<uint8_t> render(StreamFormat f, uint64_t first, uint32_t count) {
    TESSERA::TestSignal s(f);
    std::vector<uint8_t> out(static_cast<size_t>(count) * f.bytesPerFrame());
    s.render(first, count, out.data());
    return out;
}

const std::vector<StreamFormat>& formats() {
    static const std::vector<StreamFormat> all = [] {
        std::vector<StreamFormat> v;
        for (uint32_t kind : {0x100u, 0x200u, 0x400u, 0x800u, 0x1000u, 0x2000u, 0x4000u})
            for (uint32_t ch : {1u, 2u, 16u})
                v.push_back(make(kind | ch, 44100));
        for (uint32_t layout : {0x2510000u, 0x2910000u, 0x2610000u, 0x2A10000u})
            v.push_back(make(layout | 2, 2822400));
        return v;
    }();
    return all;
}

TEST(TestSignalTest, NoFrameIsSilentAndRangesAgreeWithSingleFrames) {
    for (const StreamFormat& f : formats()) {
        const uint32_t fb = f.bytesPerFrame();
        const auto block = render(f, 0, 3000);
        TESSERA::TestSignal s(f);
        std::vector<uint8_t> one(fb);
        for (uint64_t i : {2999ull, 0ull, 1234ull}) { // backwards too: the modulator must restart
            s.render(i, 1, one.data());
            EXPECT_TRUE(std::equal(one.begin(), one.end(), block.begin() + i * fb))
                << std::hex << f.type() << " " << i;
        }
        for (size_t i = 0; i < 3000; ++i) {
            bool silent = true, silentInverted = true; // inverted phase turns the one into the other
            for (uint32_t b = 0; b < fb; ++b) {
                silent = silent && block[i * fb + b] == f.muteByte();
                silentInverted = silentInverted && block[i * fb + b] == static_cast<uint8_t>(~f.muteByte());
            }
            ASSERT_FALSE(silent || silentInverted) << std::hex << f.type() << " frame " << std::dec << i;
        }
    }
}

TEST(TestSignalTest, DsdLayoutsCarryTheSameSamples) {
    // The conversions of the sender turn one layout into the other; the signal must agree with them.
    const auto lsbLittle = render(make(0x2510002, 2822400), 0, 512);
    struct Row {
        uint32_t type;
        TESSERA::CopyRoutine routine;
    } rows[] = {{0x2910002, TESSERA::copySwap},
                {0x2A10002, TESSERA::copyReverse},
                {0x2610002, TESSERA::copySwapReverse}};
    for (const auto& r : rows) {
        std::vector<uint8_t> converted(lsbLittle.size());
        r.routine(converted.data(), lsbLittle.data(), static_cast<uint32_t>(lsbLittle.size()));
        EXPECT_EQ(converted, render(make(r.type, 2822400), 0, 512)) << std::hex << r.type;
    }
}

TEST(TestSignalTest, VerifierCountsWhatArrived) {
    const StreamFormat f = make(0x402, 48000); // 24-bit stereo
    const uint32_t fb = f.bytesPerFrame();
    const auto signal = render(f, 0, 1000);
    const std::vector<uint8_t> silence(10 * fb, 0);

    struct Row {
        const char* name;
        std::function<void(TESSERA::SignalVerifier&)> feed;
        uint64_t matched, inverted, differed, missing;
        bool bitPerfect;
    } rows[] = {
        {"whole, in odd pieces",
         [&](auto& v) {
             v.feed(silence.data(), static_cast<uint32_t>(silence.size()));
             for (size_t at = 0; at < signal.size(); at += 7)
                 v.feed(signal.data() + at, static_cast<uint32_t>(std::min<size_t>(7, signal.size() - at)));
         },
         1000, 0, 0, 0, true},
        {"one flipped bit",
         [&](auto& v) {
             auto copy = signal;
             copy[500 * fb + 2] ^= 0x10;
             v.feed(copy.data(), static_cast<uint32_t>(copy.size()));
         },
         999, 0, 1, 0, false},
        {"one frame lost in a gap",
         [&](auto& v) {
             v.feed(signal.data(), 400 * fb);
             v.markGap();
             v.feed(signal.data() + 401 * fb, 599 * fb);
         },
         999, 0, 0, 1, false},
        {"complemented from frame 600, which the Target never asked for",
         [&](auto& v) {
             auto copy = signal;
             for (size_t i = 600 * fb; i < copy.size(); ++i)
                 copy[i] = static_cast<uint8_t>(~copy[i]);
             v.feed(copy.data(), static_cast<uint32_t>(copy.size()));
         },
         600, 400, 0, 0, false},
        {"silence inside does not shift the signal",
         [&](auto& v) {
             v.feed(signal.data(), 300 * fb);
             v.feed(silence.data(), static_cast<uint32_t>(silence.size()));
             v.feed(signal.data() + 300 * fb, 700 * fb);
         },
         1000, 0, 0, 0, true},
    };
    for (const auto& r : rows) {
        TESSERA::SignalVerifier v(f);
        r.feed(v);
        const auto& res = v.result();
        EXPECT_EQ(res.matched, r.matched) << r.name;
        EXPECT_EQ(res.inverted, r.inverted) << r.name;
        EXPECT_EQ(res.differed, r.differed) << r.name;
        EXPECT_EQ(res.missing, r.missing) << r.name;
        EXPECT_EQ(res.bitPerfect(), r.bitPerfect) << r.name;
    }
}

// The phase rule: normal until the Target asks, then at most one switch to inverted, silence included.
TEST(TestSignalTest, VerifierHoldsThePhaseToTheRequest) {
    const StreamFormat f = make(0x402, 48000); // 24-bit stereo
    const uint32_t fb = f.bytesPerFrame();
    const auto signal = render(f, 0, 1000);
    enum Kind { Signal, Inverted, Silence, InvertedSilence, Ask };
    struct Piece {
        Kind kind;
        uint32_t frames = 0; // signal pieces go on where the last one ended
    };
    struct Expect {
        bool bitPerfect, switched;
        uint64_t switchFrame, invertedUnasked, normalAfterSwitch, firstWrongPhase, invertedSilence;
    };
    struct Row {
        const char* name;
        std::vector<Piece> pieces;
        Expect e;
        const char* words;
    } rows[] = {
        {"never asked, inverted from signal frame 600",
         {{Silence, 10}, {Signal, 600}, {Inverted, 400}},
         {false, false, 0, 400, 0, 610, 0},
         "400 frames came inverted that the Target never asked for (the first at frame 610)"},
        {"asked at frame 300, turned at 610",
         {{Silence, 10}, {Signal, 290}, {Ask}, {Signal, 310}, {Inverted, 400}},
         {true, true, 610, 0, 0, 0, 0},
         "asked for inverted phase at frame 300, and the audio turned inverted at frame 610"},
        {"turned with the very frame after the request",
         {{Silence, 10}, {Signal, 290}, {Ask}, {Inverted, 710}},
         {true, true, 300, 0, 0, 0, 0},
         "turned inverted at frame 300"},
        {"turned one frame before the request",
         {{Silence, 10}, {Signal, 289}, {Inverted, 1}, {Ask}, {Inverted, 710}},
         {false, true, 300, 1, 0, 299, 0},
         "; 1 frame came inverted before the Target asked (the first at frame 299)"},
        {"turned back after the switch",
         {{Silence, 10}, {Signal, 290}, {Ask}, {Signal, 310}, {Inverted, 200}, {Signal, 200}},
         {false, true, 610, 0, 200, 810, 0},
         "200 frames turned back to normal after the switch"},
        {"complemented silence after the switch is inverted silence",
         {{Silence, 10}, {Ask}, {Signal, 300}, {Inverted, 700}, {InvertedSilence, 10}},
         {true, true, 310, 0, 0, 0, 10},
         "turned inverted at frame 310"},
        {"normal silence after the switch",
         {{Silence, 10}, {Ask}, {Signal, 300}, {Inverted, 700}, {Silence, 10}},
         {false, true, 310, 0, 10, 1010, 0},
         "10 frames turned back to normal after the switch"},
        {"complemented leading silence, never asked",
         {{InvertedSilence, 10}, {Signal, 1000}},
         {false, false, 0, 10, 0, 0, 10},
         "10 frames came inverted that the Target never asked for"},
        // A Host that inverts too cancels the request after its first packets, which follow the Target alone.
        {"asked at the start, inverted first packets, then the two phases cancel",
         {{Ask}, {InvertedSilence, 10}, {Silence, 10}, {Signal, 1000}, {Silence, 10}},
         {true, false, 0, 0, 0, 0, 10},
         "asked for inverted phase at frame 0, and the audio stayed normal"},
        {"asked at the start, inverted throughout",
         {{Ask}, {InvertedSilence, 10}, {Inverted, 1000}, {InvertedSilence, 10}},
         {true, true, 0, 0, 0, 0, 20},
         "asked for inverted phase at frame 0, and the audio turned inverted at frame 0"},
        {"never asked, all normal",
         {{Silence, 10}, {Signal, 1000}, {Silence, 10}},
         {true, false, 0, 0, 0, 0, 0},
         "normal throughout"},
    };
    for (const auto& r : rows) {
        TESSERA::SignalVerifier v(f);
        uint32_t next = 0;
        for (const Piece& p : r.pieces) {
            std::vector<uint8_t> bytes(static_cast<size_t>(p.frames) * fb, f.muteByte());
            if (p.kind == Signal || p.kind == Inverted) {
                std::copy_n(signal.begin() + static_cast<size_t>(next) * fb, bytes.size(), bytes.begin());
                next += p.frames;
            }
            if (p.kind == Inverted || p.kind == InvertedSilence)
                for (uint8_t& b : bytes)
                    b = static_cast<uint8_t>(~b);
            if (p.kind == Ask) v.invertAsked();
            v.feed(bytes.data(), static_cast<uint32_t>(bytes.size()));
        }
        const auto& res = v.result();
        EXPECT_EQ(res.differed, 0u) << r.name;
        EXPECT_EQ(res.bitPerfect(), r.e.bitPerfect) << r.name;
        EXPECT_EQ(res.switched, r.e.switched) << r.name;
        EXPECT_EQ(res.switchFrame, r.e.switchFrame) << r.name;
        EXPECT_EQ(res.invertedUnasked, r.e.invertedUnasked) << r.name;
        EXPECT_EQ(res.normalAfterSwitch, r.e.normalAfterSwitch) << r.name;
        EXPECT_EQ(res.firstWrongPhase, r.e.firstWrongPhase) << r.name;
        EXPECT_EQ(res.invertedSilence, r.e.invertedSilence) << r.name;
        EXPECT_NE(res.phaseText().find(r.words), std::string::npos) << r.name << ": " << res.phaseText();
    }
}

TEST(TestSignalTest, FilesDescribeTheirAudio) {
    const std::string path = ::testing::TempDir() + "tessera-writer-test";
    struct Row {
        StreamFormat format;
        uint16_t subFormat; // 0 for DSD: raw bytes and JSON
    } rows[] = {{make(0x402, 96000), 1}, {make(0x2002, 384000), 3}, {make(0x2510002, 2822400), 0}};
    for (const auto& r : rows) {
        const auto audio = render(r.format, 0, 100);
        TESSERA::AudioFileWriter w;
        ASSERT_TRUE(w.open(path, r.format));
        ASSERT_TRUE(w.write(audio.data(), static_cast<uint32_t>(audio.size())));
        ASSERT_TRUE(w.close());
        std::ifstream in(path, std::ios::binary);
        std::vector<uint8_t> file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (r.subFormat == 0) {
            EXPECT_EQ(file, audio);
            std::ifstream json(path + ".json");
            std::string text((std::istreambuf_iterator<char>(json)), std::istreambuf_iterator<char>());
            EXPECT_NE(text.find("\"rate\": 2822400"), std::string::npos) << text;
            EXPECT_NE(text.find("\"bitOrder\": \"LSB\""), std::string::npos) << text;
            continue;
        }
        ASSERT_EQ(file.size(), 68 + audio.size());
        auto u32 = [&](size_t at) {
            return file[at] | file[at + 1] << 8 | file[at + 2] << 16 | uint32_t(file[at + 3]) << 24;
        };
        auto u16 = [&](size_t at) { return uint16_t(file[at] | file[at + 1] << 8); };
        EXPECT_EQ(u32(4), 60 + audio.size());
        EXPECT_EQ(u16(20), 0xFFFE);
        EXPECT_EQ(u16(22), 2);
        EXPECT_EQ(u32(24), r.format.rate());
        EXPECT_EQ(u16(34), r.format.bytesPerSample() * 8);
        EXPECT_EQ(u16(44), r.subFormat);
        EXPECT_EQ(u32(64), audio.size());
        EXPECT_TRUE(std::equal(audio.begin(), audio.end(), file.begin() + 68));
    }
    std::remove(path.c_str());
    std::remove((path + ".json").c_str());
}

} // namespace
