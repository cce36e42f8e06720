// WAV files of every kind the stream carries come back as the stream's own bytes; files it can't carry
// are refused with a reason.
#include "tools/source/WavReader.h"
#include "tools/signal/AudioFileWriter.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace {

using namespace TESSERA;

std::string tempPath(const std::string& name) {
    return testing::TempDir() + "wavreader-" + name;
}

void le(std::vector<uint8_t>& out, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i)
        out.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

// A plain (not extensible) WAV file, with an extra chunk "abc" of odd size (and its pad byte) before the
// audio; dataSize may lie.
std::vector<uint8_t> plainWav(uint32_t tag, uint32_t channels, uint32_t rate, uint32_t bits,
                              const std::vector<uint8_t>& audio, uint32_t dataSize) {
    // clang-format off
    std::vector<uint8_t> f = {'R', 'I', 'F', 'F', 0, 0, 0, 0, 'W', 'A', 'V', 'E', 'L', 'I', 'S', 'T', 3, 0, 0, 0, 'a', 'b', 'c', 0, 'f', 'm', 't', ' ', 16, 0, 0, 0};
    // clang-format on
    for (auto [value, bytes] : {std::pair{tag, 2},
                                {channels, 2},
                                {rate, 4},
                                {rate * channels * bits / 8, 4},
                                {channels * bits / 8, 2},
                                {bits, 2},
                                {0x61746164u, 4} /* "data" */,
                                {dataSize, 4}})
        le(f, value, bytes);
    f.insert(f.end(), audio.begin(), audio.end());
    return f;
}

void writeFile(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), file), bytes.size());
    std::fclose(file);
}

TEST(WavReaderTest, ExtensibleFilesReadBackBitExact) {
    // clang-format off
    // mask: the speakers' positions; coding: 1 integer, 3 float
    const struct { uint32_t type, rate, mask, coding; } formats[] = {
        {0x0202, 0x000A, 0x3, 1}, // 16-bit stereo 44.1 kHz
        {0x0101, 0x000C, 0x4, 1}, // 8-bit mono 48 kHz: unsigned in the file, an odd data chunk
        {0x0401, 0x0024, 0x4, 1}, // 24-bit mono 192 kHz: an odd data chunk
        {0x0810, 0x0084, 0x63F, 1}, // 32-bit 8 ch 768 kHz
        {0x2002, 0x0044, 0x3, 3}, // float 32 stereo 384 kHz
        {0x4008, 0x0014, 0x3F, 3}, // float 64, 6 ch, 96 kHz
    };
    // clang-format on
    for (const auto& f : formats) {
        const StreamFormat format(f.type, f.rate);
        const std::string path = tempPath("ext.wav");
        std::vector<uint8_t> audio(format.bytesPerFrame() * 1001);
        for (size_t i = 0; i < audio.size(); ++i)
            audio[i] = static_cast<uint8_t>(i * 7 + i / 251);
        AudioFileWriter writer;
        ASSERT_TRUE(writer.open(path, format));
        ASSERT_TRUE(writer.write(audio.data(), static_cast<uint32_t>(audio.size())));
        ASSERT_TRUE(writer.close());
        std::ifstream file(path, std::ios::binary);
        std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        ASSERT_EQ(bytes.size(), 68 + audio.size() + audio.size() % 2); // an odd chunk has a pad byte
        const auto le = [&](size_t at, int n) {
            return n == 2
                       ? bytes[at] | bytes[at + 1] << 8
                       : bytes[at] | bytes[at + 1] << 8 | bytes[at + 2] << 16 | uint32_t{bytes[at + 3]} << 24;
        };
        // RIFF and data sizes, WAVE_FORMAT_EXTENSIBLE, channels, rate, bytes a second and a frame, bits (also
        // valid), speakers, sub-format
        const uint32_t frame = format.bytesPerFrame(), bits = format.bytesPerSample() * 8;
        EXPECT_EQ((std::vector<uint32_t>{le(4, 4), le(64, 4), le(20, 2), le(22, 2), le(24, 4), le(28, 4),
                                         le(32, 2), le(34, 2), le(38, 2), le(40, 4), le(44, 2)}),
                  (std::vector<uint32_t>{uint32_t(bytes.size() - 8), uint32_t(audio.size()), 0xFFFE,
                                         format.channels(), format.rate(), format.rate() * frame, frame, bits,
                                         bits, f.mask, f.coding}))
            << std::hex << f.type;
        EXPECT_TRUE(format.bytesPerSample() != 1 || bytes[68] == (audio[0] ^ 0x80))
            << "8-bit samples are unsigned";

        WavReader reader;
        std::string error;
        ASSERT_TRUE(reader.open(path, error)) << error;
        EXPECT_TRUE(reader.format() == format && reader.totalFrames() == 1001u) << std::hex << f.type;
        std::vector<uint8_t> back(audio.size() + 64);
        uint32_t frames = reader.read(back.data(), 1000);
        frames += reader.read(back.data() + frames * format.bytesPerFrame(), 1000);
        EXPECT_TRUE(frames == 1001u && reader.read(back.data(), 1) == 0u && !reader.failed()) << frames;
        back.resize(audio.size());
        EXPECT_EQ(back, audio) << std::hex << f.type;
    }
}

TEST(WavReaderTest, PlainFilesAndTheirLimits) {
    const std::vector<uint8_t> audio = {0x80, 0x7F, 0x00, 0xFF, 0x81, 0x01};
    std::vector<uint8_t> junk = {'R', 'I', 'F', 'F', 0,   0,   0,    0,    'W',  'A',
                                 'V', 'E', 'J', 'U', 'N', 'K', 0xFF, 0xFF, 0xFF, 0xFF};
    const std::vector<uint8_t> wav = plainWav(1, 1, 44100, 16, {0, 0}, 2);
    junk.insert(junk.end(), wav.begin() + 12, wav.end()); // a chunk that claims more than the file holds
    // error: the reason, for a refusal; audio: what comes back
    // clang-format off
    const struct { const char* name; std::vector<uint8_t> file; bool opens; std::string error; StreamFormat format; std::vector<uint8_t> audio; } rows[] = {
        {"8-bit audio is offset binary, the stream's is signed", plainWav(1, 2, 48000, 8, audio, 6), true, "", StreamFormat(0x0102, 0x000C), {0x00, 0xFF, 0x80, 0x7F, 0x01, 0x81}},
        {"a data size past the end reads to the end", plainWav(1, 1, 44100, 16, audio, 0xFFFFFFFF), true, "", StreamFormat(0x0201, 0x000A), audio},
        {"a data size short of the file stops there", plainWav(3, 1, 44100, 32, audio, 4), true, "", StreamFormat(0x2001, 0x000A), {0x80, 0x7F, 0x00, 0xFF}},
        {"a rate the stream doesn't carry", plainWav(1, 2, 22050, 16, audio, 6), false, "a rate of 22050 Hz is not one the stream carries", {}, {}},
        {"three channels", plainWav(1, 3, 44100, 16, audio, 6), false, "3 channels: the stream takes 1, 2, 4, 6, 8 or 16", {}, {}},
        {"12-bit samples", plainWav(1, 1, 44100, 12, audio, 6), false, "12-bit integer samples: the stream takes integers of 8, 16, 24 or 32 bits, or floats of 32 or 64", {}, {}},
        {"compressed audio", plainWav(2, 1, 44100, 4, audio, 6), false, "sample coding 2 is neither integer PCM nor float", {}, {}},
        {"a chunk that claims more than the file holds, odd in size", junk, false, "no audio (data chunk) in the file", {}, {}},
        {"not a WAV file", {'R', 'I', 'F', 'X', 0, 0, 0, 0, 'W', 'A', 'V', 'E'}, false, "not a WAV file (no RIFF/WAVE header)", {}, {}},
    };
    // clang-format on
    for (const auto& r : rows) {
        const std::string path = tempPath("plain.wav");
        writeFile(path, r.file);
        WavReader reader;
        std::string error;
        ASSERT_EQ(reader.open(path, error), r.opens) << r.name << ": " << error;
        if (!r.opens) {
            EXPECT_EQ(error, path + ": " + r.error) << r.name;
            continue;
        }
        EXPECT_EQ(reader.format(), r.format) << r.name;
        std::vector<uint8_t> back(64);
        back.resize(reader.read(back.data(), 64) * r.format.bytesPerFrame());
        EXPECT_EQ(back, r.audio) << r.name;
    }
    WavReader reader;
    std::string error;
    EXPECT_FALSE(reader.open(tempPath("absent.wav"), error));
    EXPECT_NE(error.find("can't open "), std::string::npos) << error;
}

} // namespace
