#pragma once
// A WAV file of the test signal, for tests that stream a file and let the Target check it.
#include "format/StreamFormat.h"
#include "tools/signal/AudioFileWriter.h"
#include "tools/signal/TestSignal.h"

#include <cstdint>
#include <string>
#include <vector>

namespace TESTING {

// Writes frames of the test signal from its frame 0 in format to path; false when the file can't be written.
inline bool writeSignalWav(const std::string& path, TESSERA::StreamFormat format, uint32_t frames) {
    std::vector<uint8_t> audio(uint64_t{format.bytesPerFrame()} * frames);
    TESSERA::TestSignal(format).render(0, frames, audio.data());
    TESSERA::AudioFileWriter writer;
    return writer.open(path, format) && writer.write(audio.data(), static_cast<uint32_t>(audio.size())) &&
           writer.close();
}

} // namespace TESTING
