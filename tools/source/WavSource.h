#pragma once
// A stream buffer whose producer reads a WAV file, then gives silence once the file has ended.
#include "streambuffer/SyncBuffer.h"
#include "tools/source/WavReader.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace TESSERA {

class WavSource : public SyncBuffer {
public:
    WavSource() = default;
    ~WavSource() override;

    // Opens the file; its format is then what the host delivers (pass it to selectFormat).
    bool open(const std::string& path, std::string& error);
    StreamFormat fileFormat() const { return reader.format(); }
    uint64_t fileFrames() const { return reader.totalFrames(); }
    // After selectFormat: the ring of count + 1 blocks of frames each.
    void prepare(uint32_t frames, uint32_t count) { prepareBuffer(frames, count); }
    void fillBuffer(std::vector<uint8_t>& slot, bool first) override;

    // Frames of the file written into the ring so far; read from any thread.
    uint64_t framesProduced() const { return produced.load(std::memory_order_acquire); }
    // The whole file is in the ring, or reading it failed (then readFailed()).
    bool finished() const { return done.load(std::memory_order_acquire); }
    bool readFailed() const { return failed.load(std::memory_order_acquire); }

private:
    WavReader reader; // opened before the stream, then read by BufferWorker alone
    // Written by BufferWorker, read by anyone who watches the stream.
    std::atomic<uint64_t> produced{0};
    std::atomic<bool> done{false};
    std::atomic<bool> failed{false};
};

} // namespace TESSERA
