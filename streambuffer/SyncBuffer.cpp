#include "streambuffer/SyncBuffer.h"

#include "BRINA/LogStream.h"
#include "BRINA/Thread.h"

#include <algorithm>
#include <chrono>

namespace TESSERA {

namespace {
constexpr auto kSpaceWait = std::chrono::milliseconds(1);
constexpr auto kStoppedWait = std::chrono::milliseconds(10);
} // namespace

SyncBuffer::~SyncBuffer() {
    shutdown();
}

void SyncBuffer::shutdown() {
    disconnecting.store(true);
    // Idle ends the worker at its next pass and BufferWorker at its next bounded wait.
    close();
    if (bufferThread.joinable()) bufferThread.join();
}

void SyncBuffer::prepareBuffer(uint32_t frames, uint32_t count) {
    // A ring needs two slots at least: with one, it would be empty and full at once.
    count = std::max<uint32_t>(count, 1);
    const StreamFormat format = getSourceFormat();
    blockBytes = format.bytesPerSample() * format.channels() * frames;
    const uint8_t mute = format.muteByte();
    ring.resize(count + 1);
    for (auto& slot : ring)
        slot.assign(blockBytes, mute);
    stopSilence.assign(blockBytes, mute);
    underrunSilence.assign(format.bytesPerSecond() / 100, mute);
    writeCursor.store(0, std::memory_order_release);
    readCursor.store(1, std::memory_order_release);
    taken.store(false);
}

bool SyncBuffer::ringFull() const {
    return nextOf(writeCursor.load(std::memory_order_relaxed)) == readCursor.load(std::memory_order_acquire);
}

bool SyncBuffer::isEmpty() const {
    return readCursor.load(std::memory_order_acquire) == writeCursor.load(std::memory_order_acquire);
}

bool SyncBuffer::hasFreeSlot() const {
    return nextOf(writeCursor.load(std::memory_order_acquire)) != readCursor.load(std::memory_order_acquire);
}

bool SyncBuffer::sessionRuns() const {
    const uint32_t now = getState();
    return now == Connecting || now == Streaming || now == Disconnecting;
}

void SyncBuffer::wakeProducer() {
    spaceCondition.notify_all();
}

bool SyncBuffer::getNewStream(Stream& out) {
    const uint32_t read = readCursor.load(std::memory_order_relaxed);
    if (read != writeCursor.load(std::memory_order_acquire)) {
        const auto& block = ring[read];
        out = Stream{block.data(), static_cast<uint32_t>(block.size())};
        readCursor.store(nextOf(read), std::memory_order_release);
        return true;
    }
    if (disconnecting.load()) {
        out = Stream{};
        return false;
    }
    if (stopping.load()) {
        if (!stopDone.load()) {
            stopDone.store(true);
            wakeProducer();
        }
        out = Stream{stopSilence.data(), static_cast<uint32_t>(stopSilence.size())};
        return true;
    }
    wakeProducer();
    out = Stream{underrunSilence.data(), static_cast<uint32_t>(underrunSilence.size())};
    BRINA::LogStream(4, "SyncBuffer not enough mute data return ") << out.size;
    return true;
}

bool SyncBuffer::streamTaken() {
    taken.store(true);
    wakeProducer();
    return true;
}

void SyncBuffer::fillBuffer(std::vector<uint8_t>&, bool) {}

bool SyncBuffer::startBufferWorker() {
    return BRINA::startThread(bufferThread, [this] { bufferWorker(); });
}

void SyncBuffer::bufferWorker() {
    BRINA::setThreadPriority(1);
    bool mark = false;
    std::unique_lock<std::mutex> lock(spaceMutex);
    while (sessionRuns() && !disconnecting.load()) {
        if (stopping.load()) {
            spaceCondition.wait_for(lock, kStoppedWait);
            continue;
        }
        bool room = true;
        while (ringFull()) {
            spaceCondition.wait_for(lock, kSpaceWait);
            if (!sessionRuns() || disconnecting.load() || stopping.load()) {
                room = false;
                break;
            }
        }
        if (!room) continue;
        // The host may take its time in fillBuffer: nobody waits on this lock meanwhile but this thread.
        lock.unlock();
        const uint32_t write = writeCursor.load(std::memory_order_relaxed);
        const bool first = taken.exchange(false) && !mark;
        if (first) mark = true;
        fillBuffer(ring[write], first);
        writeCursor.store(nextOf(write), std::memory_order_release);
        if (ringFull()) mark = false;
        lock.lock();
    }
    stopping.store(true);
    stopDone.store(true);
    BRINA::LogStream(6, "finish BufferWorker");
    while (sessionRuns())
        spaceCondition.wait_for(lock, kSpaceWait);
    BRINA::LogStream(6, "done BufferWorker");
}

bool SyncBuffer::connect() {
    // A stream that ended by itself leaves BufferWorker to be joined; Idle ends both threads first.
    endWorker();
    if (bufferThread.joinable()) bufferThread.join();
    if (!Sync::connect()) return false;
    disconnecting.store(false);
    stopping.store(false);
    stopDone.store(false);
    if (!startBufferWorker()) {
        BRINA::LogStream(3, "Buffer Worker Start Error");
        close();
        return false;
    }
    return true;
}

void SyncBuffer::play() {
    BRINA::LogStream(6, "SyncBuffer::play");
    disconnecting.store(false);
    stopping.store(false);
    stopDone.store(false);
    Sync::play();
    wakeProducer();
}

void SyncBuffer::stop() {
    BRINA::LogStream(6, "SyncBuffer::stop");
    stopping.store(true);
    // Bounded by the session too: with no worker left, nobody would drain the ring.
    std::unique_lock<std::mutex> lock(spaceMutex);
    while (!stopDone.load() && sessionRuns())
        spaceCondition.wait_for(lock, kSpaceWait);
    lock.unlock();
    Sync::stop();
}

void SyncBuffer::pre_disconnect() {
    BRINA::LogStream(6, "SyncBuffer::pre_disconnect");
    disconnecting.store(true);
}

void SyncBuffer::disconnect() {
    pre_disconnect();
    BRINA::LogStream(6, "SyncBuffer::disconnect");
    Sync::disconnect();
    if (bufferThread.joinable()) bufferThread.join();
}

} // namespace TESSERA
