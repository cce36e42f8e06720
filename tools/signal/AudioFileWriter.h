#pragma once
// Writes received audio to a file: WAV (extensible; integer and float kinds) for PCM, raw bytes with a
// small JSON description beside them for DSD.
#include "format/StreamFormat.h"

#include <cstdint>
#include <cstdio>
#include <string>

namespace TESSERA {

class AudioFileWriter {
public:
    AudioFileWriter() = default;
    ~AudioFileWriter();
    AudioFileWriter(const AudioFileWriter&) = delete;
    AudioFileWriter& operator=(const AudioFileWriter&) = delete;

    // PCM goes to path as WAV; DSD goes to path as raw bytes and path + ".json" as its description.
    bool open(const std::string& path, StreamFormat format);
    bool write(const uint8_t* bytes, uint32_t size);
    // Completes the sizes in the WAV header (or writes the JSON) and closes; true when all was written.
    bool close();
    uint64_t bytesWritten() const { return written; }

private:
    std::FILE* file = nullptr;
    std::string path;
    StreamFormat fmt;
    uint64_t written = 0;
    bool failed = false;
};

} // namespace TESSERA
