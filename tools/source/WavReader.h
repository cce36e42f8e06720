#pragma once
// Reads the audio of a WAV file (plain or extensible; integer 8 to 32 bits, float 32 or 64 bits) in the
// stream's own layout: interleaved, little-endian, signed.
#include "format/StreamFormat.h"

#include <cstdint>
#include <cstdio>
#include <string>

namespace TESSERA {

class WavReader {
public:
    WavReader() = default;
    ~WavReader();
    WavReader(const WavReader&) = delete;
    WavReader& operator=(const WavReader&) = delete;

    // Reads the header up to the audio; on false, error says why in words.
    bool open(const std::string& path, std::string& error);
    void close();
    // The concrete PCM format of the file.
    StreamFormat format() const { return fmt; }
    uint64_t totalFrames() const { return total; }
    uint64_t framesRead() const { return done; }
    // Up to count frames into out; fewer at the end of the audio or on a read error (then failed()).
    uint32_t read(uint8_t* out, uint32_t count);
    bool failed() const { return readFailed; }

private:
    bool parse(std::string& error);

    std::FILE* file = nullptr;
    StreamFormat fmt;
    uint64_t total = 0;
    uint64_t done = 0;
    bool unsignedBytes = false; // 8-bit WAV audio is offset binary; the stream's is signed
    bool readFailed = false;
};

} // namespace TESSERA
