#include "tests/support/SignalWav.h"

#include "tools/signal/AudioFileWriter.h"
#include "tools/signal/TestSignal.h"

#include <vector>

namespace TESTING {

bool writeSignalWav(const std::string& path, TESSERA::StreamFormat format, uint32_t frames) {
    std::vector<uint8_t> audio(uint64_t{format.bytesPerFrame()} * frames);
    TESSERA::TestSignal(format).render(0, frames, audio.data());
    TESSERA::AudioFileWriter writer;
    return writer.open(path, format) && writer.write(audio.data(), static_cast<uint32_t>(audio.size())) &&
           writer.close();
}

} // namespace TESTING
