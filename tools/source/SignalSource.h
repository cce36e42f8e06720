#pragma once
// A stream buffer whose producer writes the test signal in the host's format, for a given number of
// frames (or without end), then silence.
#include "streambuffer/SyncBuffer.h"
#include "tools/signal/TestSignal.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace TESSERA {

class SignalSource : public SyncBuffer {
public:
    SignalSource() = default;
    ~SignalSource() override;

    // After selectFormat: the ring of count + 1 blocks of frames each, and the signal from its frame 0.
    // limitFrames 0 means no end.
    void prepare(uint32_t frames, uint32_t count, uint64_t limitFrames);
    void fillBuffer(std::vector<uint8_t>& slot, bool first) override;

    // Frames of the signal written into the ring so far; read from any thread.
    uint64_t framesProduced() const { return produced.load(std::memory_order_acquire); }
    // All limitFrames are in the ring; what follows is silence.
    bool finished() const { return done.load(std::memory_order_acquire); }

private:
    std::unique_ptr<TestSignal> signal; // set by prepare while no thread runs; used by BufferWorker
    uint64_t limit = 0;
    // Written by BufferWorker, read by anyone who watches the stream.
    std::atomic<uint64_t> produced{0};
    std::atomic<bool> done{false};
};

} // namespace TESSERA
