#pragma once
// The stream buffer: a ring of equal blocks between a producer thread, BufferWorker, that asks fillBuffer
// for each free block, and the session's worker, which takes the blocks and never waits for one.
#include "format/Stream.h"
#include "transport/Sync.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

namespace TESSERA {

class SyncBuffer : public Sync {
public:
    SyncBuffer() = default;
    // Ends the stream if one runs, closes the session and joins BufferWorker.
    ~SyncBuffer() override;

    // The worker's side: the next block, or silence when the ring is empty; false only at the end.
    bool getNewStream(Stream& out) override;
    // The worker took at least one block in this cycle: wakes the producer.
    bool streamTaken() override;
    // Writes all slotBytes bytes of one block in the source format; called on BufferWorker in ring order.
    // Here it leaves the slot alone, so the old bytes play again.
    virtual void fillBuffer(std::vector<uint8_t>& slot, bool first);
    // Starts BufferWorker; false when the thread can't be made.
    virtual bool startBufferWorker();

    // Sizes the ring to count + 1 slots of frames each and fills it with silence; neither thread may run.
    void prepareBuffer(uint32_t frames, uint32_t count);
    bool connect() override;
    void play() override;
    // Plays out what is buffered, then stops play.
    void stop() override;
    // Announces the end of the stream: the worker gets the blocks left in the ring, then the end.
    void pre_disconnect();
    // Ends both threads; never call it on either of them.
    void disconnect() override;

    // The ring as the producer and consumer see it, for callers that watch it.
    bool isEmpty() const;
    bool hasFreeSlot() const;
    uint32_t slotBytes() const { return blockBytes; }
    uint32_t slotCount() const { return static_cast<uint32_t>(ring.size()); }

protected:
    // Ends both threads and closes the session; a subclass calls it first in its destructor, so that
    // fillBuffer and getNewStream are never called on a half-destroyed object.
    void shutdown();

private:
    void bufferWorker();
    uint32_t nextOf(uint32_t slot) const { return slot + 1 == ring.size() ? 0 : slot + 1; }
    bool ringFull() const;
    bool sessionRuns() const;
    void wakeProducer();

    // The slots: sized by prepareBuffer alone, while neither thread runs; then only their bytes change.
    std::vector<std::vector<uint8_t>> ring;
    // Moved by the worker alone (release), read by BufferWorker (acquire): the next block to give out.
    std::atomic<uint32_t> readCursor{0};
    // Moved by BufferWorker alone (release) after the block's bytes are written, read by the worker
    // (acquire).
    std::atomic<uint32_t> writeCursor{0};
    std::thread bufferThread;
    // Guards nothing but the waits on spaceCondition: flags are set without it, every wait is bounded.
    std::mutex spaceMutex;
    std::condition_variable spaceCondition;
    uint32_t blockBytes = 0; // set by prepareBuffer while neither thread runs
    // Silence for a stopped play and for an underrun; sized in prepareBuffer so the worker never allocates.
    std::vector<uint8_t> stopSilence;
    std::vector<uint8_t> underrunSilence;
    // Set by pre_disconnect on the caller's thread, cleared by connect and play; read by both threads.
    std::atomic<bool> disconnecting{false};
    // Set by stop and by BufferWorker at its end, cleared by connect and play; read by both threads.
    std::atomic<bool> stopping{false};
    // Set by the worker when the ring has drained after stopping, and by BufferWorker at its end.
    std::atomic<bool> stopDone{false};
    // Set by the worker in streamTaken, read and cleared by BufferWorker.
    std::atomic<bool> taken{false};
};

} // namespace TESSERA
