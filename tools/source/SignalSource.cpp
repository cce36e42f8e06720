#include "tools/source/SignalSource.h"

#include <algorithm>
#include <cstring>

namespace TESSERA {

SignalSource::~SignalSource() {
    shutdown();
}

void SignalSource::prepare(uint32_t frames, uint32_t count, uint64_t limitFrames) {
    prepareBuffer(frames, count);
    signal = std::make_unique<TestSignal>(getSourceFormat());
    limit = limitFrames;
    produced.store(0, std::memory_order_release);
    done.store(false, std::memory_order_release);
}

void SignalSource::fillBuffer(std::vector<uint8_t>& slot, bool) {
    const uint32_t frameBytes = getSourceFormat().bytesPerFrame();
    const uint64_t first = produced.load(std::memory_order_relaxed);
    uint64_t frames = slot.size() / frameBytes;
    if (limit != 0) frames = std::min<uint64_t>(frames, limit - std::min(limit, first));
    if (frames != 0) signal->render(first, static_cast<uint32_t>(frames), slot.data());
    std::memset(slot.data() + frames * frameBytes, getSourceFormat().muteByte(),
                slot.size() - frames * frameBytes);
    produced.store(first + frames, std::memory_order_release);
    if (limit != 0 && first + frames >= limit) done.store(true, std::memory_order_release);
}

} // namespace TESSERA
