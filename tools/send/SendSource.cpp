#include "tools/send/SendSource.h"

namespace TESSERA {

SendSource::SendSource(StreamFormat format)
    : signalFormat(format), signal(std::make_unique<SignalSource>()) {}

bool SendSource::openWav(const std::string& path, std::string& error) {
    signal.reset();
    wav = std::make_unique<WavSource>();
    return wav->open(path, error);
}

SyncBuffer& SendSource::buffer() {
    if (wav) return *wav;
    return *signal;
}

void SendSource::prepare(uint32_t frames, uint32_t count, uint64_t limitFrames) {
    if (wav)
        wav->prepare(frames, count);
    else
        signal->prepare(frames, count, limitFrames);
}

uint64_t SendSource::framesProduced() const {
    return wav ? wav->framesProduced() : signal->framesProduced();
}

bool SendSource::finished() const {
    return wav ? wav->finished() : signal->finished();
}

} // namespace TESSERA
