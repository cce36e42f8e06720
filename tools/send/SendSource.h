#pragma once
// The sender's source of audio: the test signal or a WAV file, each a stream buffer of its own, behind
// one face for the sender.
#include "tools/source/SignalSource.h"
#include "tools/source/WavSource.h"

#include <cstdint>
#include <memory>
#include <string>

namespace TESSERA {

class SendSource {
public:
    // The test signal in the given format.
    explicit SendSource(StreamFormat signalFormat);
    // A WAV file; false with the reason when it can't be read.
    bool openWav(const std::string& path, std::string& error);

    SyncBuffer& buffer();
    // What the host delivers: the signal's format, or the file's.
    StreamFormat format() const { return wav ? wav->fileFormat() : signalFormat; }
    bool isWav() const { return wav != nullptr; }
    uint64_t fileFrames() const { return wav ? wav->fileFrames() : 0; }
    // After selectFormat: the ring, and for the signal its length (0: without end).
    void prepare(uint32_t frames, uint32_t count, uint64_t limitFrames);
    uint64_t framesProduced() const;
    // All audio is in the ring: the signal's length, or the whole file.
    bool finished() const;
    bool readFailed() const { return wav && wav->readFailed(); }

private:
    StreamFormat signalFormat;
    std::unique_ptr<SignalSource> signal;
    std::unique_ptr<WavSource> wav;
};

} // namespace TESSERA
