#include "tools/signal/TestSignal.h"
#include "format/CopyRoutines.h"
#include "tools/signal/AudioFileWriter.h"
#include "tools/signal/SignalVerifier.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
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

// No frame is silent, a range agrees with its frames rendered alone, and the bits themselves are pinned: a
// Host and a Target built apart must render the same signal (FNV-1a over 3,000 frames of each channel count).
TEST(TestSignalTest, NoFrameIsSilentRangesAgreeWithSingleFramesAndTheBitsArePinned) {
    // clang-format off
    const std::map<uint32_t, uint64_t> pinned = {
        {0x100, 0x5A2C3C547E387544ull},
        {0x200, 0xB9C804882604CEA2ull},
        {0x400, 0x3D69F9752F9D93FAull},
        {0x800, 0x90A0C3E92B37F841ull},
        {0x1000, 0xBD4A6C1EFF129C46ull},
        {0x2000, 0x584F7B61C1598F2Aull},
        {0x4000, 0x4183307F95F7AEA8ull},
        {0x2510000, 0x72EDD02DF6CC88AAull},
        {0x2910000, 0xCC43EFD2A3B2F3Cull},
        {0x2610000, 0x9CDC4CBBD336425Full},
        {0x2A10000, 0xEC5763FDC4AA0FAFull},
    };
    // clang-format on
    std::map<uint32_t, uint64_t> hashes;
    for (const StreamFormat& f : formats()) {
        const uint32_t fb = f.bytesPerFrame();
        const auto block = render(f, 0, 3000);
        uint64_t& hash = hashes.try_emplace(f.type() & ~0xFFu, 14695981039346656037ull).first->second;
        for (uint8_t b : block)
            hash = (hash ^ b) * 1099511628211ull;
        TESSERA::TestSignal s(f);
        std::vector<uint8_t> one(fb);
        for (uint64_t i : {2999ull, 0ull, 1234ull}) { // backwards too: the modulator must restart
            s.render(i, 1, one.data());
            EXPECT_TRUE(std::equal(one.begin(), one.end(), block.begin() + i * fb))
                << std::hex << f.type() << " " << i;
        }
        // Inverted phase turns silence into its complement: neither may occur inside the signal.
        for (size_t i = 0; i < 3000; ++i)
            for (const uint8_t mute : {f.muteByte(), static_cast<uint8_t>(~f.muteByte())})
                ASSERT_FALSE(std::all_of(block.begin() + i * fb, block.begin() + (i + 1) * fb,
                                         [&](uint8_t b) { return b == mute; }))
                    << std::hex << f.type() << " frame " << std::dec << i;
    }
    EXPECT_EQ(hashes, pinned);
}

TEST(TestSignalTest, DsdLayoutsCarryTheSameSamples) {
    // The conversions of the sender turn one layout into the other; the signal must agree with them.
    const auto lsbLittle = render(make(0x2510002, 2822400), 0, 512);
    // clang-format off
    const struct { uint32_t type; TESSERA::CopyRoutine routine; } rows[] = {{0x2910002, TESSERA::copySwap}, {0x2A10002, TESSERA::copyReverse}, {0x2610002, TESSERA::copySwapReverse}};
    // clang-format on
    for (const auto& r : rows) {
        std::vector<uint8_t> converted(lsbLittle.size());
        r.routine(converted.data(), lsbLittle.data(), static_cast<uint32_t>(lsbLittle.size()));
        EXPECT_EQ(converted, render(make(r.type, 2822400), 0, 512)) << std::hex << r.type;
    }
}

// A stream as the verifier meets it, piece by piece: the signal, complemented, silence (mute bytes) or
// complemented silence, a request for inversion, frames lost in a gap, a frame with one bit flipped, or the
// signal fed in pieces of 7 bytes. Signal pieces go on where the last one ended.
enum Kind { Signal, Inverted, Silence, InvertedSilence, Ask, Lost, Flipped, Odd };
struct Piece {
    Kind kind;
    uint32_t frames = 0;
};

// The phase rule: normal until the Target asks, then at most one switch to inverted, silence included.
TEST(TestSignalTest, VerifierCountsWhatArrivedAndHoldsThePhaseToTheRequest) {
    const StreamFormat f = make(0x402, 48000); // 24-bit stereo
    const uint32_t fb = f.bytesPerFrame();
    const auto signal = render(f, 0, 1000);
    // counts: matched, inverted, differed, missing, bitPerfect, switched, switchFrame, invertedUnasked,
    // normalAfterSwitch, firstWrongPhase, invertedSilence
    // clang-format off
    const struct { const char* name; std::vector<Piece> pieces; std::array<uint64_t, 11> counts; const char* words; } rows[] = {
        {"whole, in odd pieces", {{Silence, 10}, {Odd, 1000}}, {1000, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0}, "normal throughout"},
        {"one flipped bit", {{Signal, 500}, {Flipped, 1}, {Signal, 499}}, {999, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0}, ""},
        {"one frame lost in a gap", {{Signal, 400}, {Lost, 1}, {Signal, 599}}, {999, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0}, ""},
        {"silence inside does not shift the signal", {{Signal, 300}, {Silence, 10}, {Signal, 700}}, {1000, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0}, "normal throughout"},
        {"never asked, inverted from signal frame 600", {{Silence, 10}, {Signal, 600}, {Inverted, 400}}, {600, 400, 0, 0, 0, 0, 0, 400, 0, 610, 0}, "400 frames came inverted that the Target never asked for (the first at frame 610)"},
        {"asked at frame 300, turned at 610", {{Silence, 10}, {Signal, 290}, {Ask}, {Signal, 310}, {Inverted, 400}}, {600, 400, 0, 0, 1, 1, 610, 0, 0, 0, 0}, "asked for inverted phase at frame 300, and the audio turned inverted at frame 610"},
        {"turned with the very frame after the request", {{Silence, 10}, {Signal, 290}, {Ask}, {Inverted, 710}}, {290, 710, 0, 0, 1, 1, 300, 0, 0, 0, 0}, "turned inverted at frame 300"},
        {"turned one frame before the request", {{Silence, 10}, {Signal, 289}, {Inverted, 1}, {Ask}, {Inverted, 710}}, {289, 711, 0, 0, 0, 1, 300, 1, 0, 299, 0}, "; 1 frame came inverted before the Target asked (the first at frame 299)"},
        {"turned back after the switch", {{Silence, 10}, {Signal, 290}, {Ask}, {Signal, 310}, {Inverted, 200}, {Signal, 200}}, {800, 200, 0, 0, 0, 1, 610, 0, 200, 810, 0}, "200 frames turned back to normal after the switch"},
        {"complemented silence after the switch is inverted silence", {{Silence, 10}, {Ask}, {Signal, 300}, {Inverted, 700}, {InvertedSilence, 10}}, {300, 700, 0, 0, 1, 1, 310, 0, 0, 0, 10}, "turned inverted at frame 310"},
        {"normal silence after the switch", {{Silence, 10}, {Ask}, {Signal, 300}, {Inverted, 700}, {Silence, 10}}, {300, 700, 0, 0, 0, 1, 310, 0, 10, 1010, 0}, "10 frames turned back to normal after the switch"},
        {"complemented leading silence, never asked", {{InvertedSilence, 10}, {Signal, 1000}}, {1000, 0, 0, 0, 0, 0, 0, 10, 0, 0, 10}, "10 frames came inverted that the Target never asked for"},
        // A Host that inverts too cancels the request after its first packets, which follow the Target alone.
        {"asked at the start, inverted first packets, then the two phases cancel", {{Ask}, {InvertedSilence, 10}, {Silence, 10}, {Signal, 1000}, {Silence, 10}}, {1000, 0, 0, 0, 1, 0, 0, 0, 0, 0, 10}, "asked for inverted phase at frame 0, and the audio stayed normal"},
        {"asked at the start, inverted throughout", {{Ask}, {InvertedSilence, 10}, {Inverted, 1000}, {InvertedSilence, 10}}, {0, 1000, 0, 0, 1, 1, 0, 0, 0, 0, 20}, "asked for inverted phase at frame 0, and the audio turned inverted at frame 0"},
    };
    // clang-format on
    for (const auto& r : rows) {
        TESSERA::SignalVerifier v(f);
        uint32_t next = 0;
        for (const Piece& p : r.pieces) {
            std::vector<uint8_t> bytes(static_cast<size_t>(p.frames) * fb, f.muteByte());
            const bool carries = p.kind != Silence && p.kind != InvertedSilence && p.kind != Ask;
            if (carries)
                std::copy_n(signal.begin() + static_cast<size_t>(next) * fb, bytes.size(), bytes.begin());
            next += carries ? p.frames : 0;
            if (p.kind == Inverted || p.kind == InvertedSilence)
                for (uint8_t& b : bytes)
                    b = static_cast<uint8_t>(~b);
            if (p.kind == Flipped) bytes[2] ^= 0x10;
            if (p.kind == Ask) v.invertAsked();
            if (p.kind == Lost) v.markGap();
            const size_t step = p.kind == Odd ? 7 : bytes.size();
            for (size_t at = 0; p.kind != Lost && at < bytes.size(); at += step)
                v.feed(bytes.data() + at, static_cast<uint32_t>(std::min(step, bytes.size() - at)));
        }
        const auto& res = v.result();
        const std::array<uint64_t, 11> counts = {
            res.matched,           res.inverted,        res.differed,       res.missing,
            res.bitPerfect(),      res.switched,        res.switchFrame,    res.invertedUnasked,
            res.normalAfterSwitch, res.firstWrongPhase, res.invertedSilence};
        EXPECT_EQ(counts, r.counts) << r.name;
        EXPECT_NE(res.phaseText().find(r.words), std::string::npos) << r.name << ": " << res.phaseText();
    }
}

// DSD goes to a file of raw bytes with a JSON description beside it (WAV files are the WAV tests' part).
TEST(TestSignalTest, DsdFilesAreRawBytesWithADescription) {
    const std::string path = ::testing::TempDir() + "tessera-writer-test";
    const StreamFormat format = make(0x2510002, 2822400);
    const auto audio = render(format, 0, 100);
    TESSERA::AudioFileWriter w;
    ASSERT_TRUE(w.open(path, format) && w.write(audio.data(), static_cast<uint32_t>(audio.size())) &&
                w.close());
    std::ifstream in(path, std::ios::binary), json(path + ".json");
    EXPECT_EQ(std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>()),
              audio);
    const std::string text((std::istreambuf_iterator<char>(json)), std::istreambuf_iterator<char>());
    EXPECT_NE(text.find("\"rate\": 2822400"), std::string::npos) << text;
    EXPECT_NE(text.find("\"bitOrder\": \"LSB\""), std::string::npos) << text;
    std::remove(path.c_str());
    std::remove((path + ".json").c_str());
}

} // namespace
