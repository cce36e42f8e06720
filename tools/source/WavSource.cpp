#include "tools/source/WavSource.h"

#include <cstring>

namespace TESSERA {

WavSource::~WavSource() {
    shutdown();
}

bool WavSource::open(const std::string& path, std::string& error) {
    produced.store(0);
    done.store(false);
    failed.store(false);
    return reader.open(path, error);
}

void WavSource::fillBuffer(std::vector<uint8_t>& slot, bool) {
    const uint32_t frameBytes = reader.format().bytesPerFrame();
    const uint32_t frames = done.load(std::memory_order_relaxed)
                                ? 0
                                : reader.read(slot.data(), static_cast<uint32_t>(slot.size() / frameBytes));
    std::memset(slot.data() + frames * frameBytes, getSourceFormat().muteByte(),
                slot.size() - frames * frameBytes);
    produced.fetch_add(frames, std::memory_order_release);
    if (reader.failed()) failed.store(true, std::memory_order_release);
    if (reader.framesRead() >= reader.totalFrames() || reader.failed())
        done.store(true, std::memory_order_release);
}

} // namespace TESSERA
