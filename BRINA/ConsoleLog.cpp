#include "BRINA/ConsoleLog.h"

#include "BRINA/LogSink.h"
#include "BRINA/Thread.h"

#include <array>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <thread>

namespace BRINA {

namespace {

struct Queue {
    std::mutex mutex; // guards every member below
    std::array<std::array<char, ConsoleLog::kSlotSize>, ConsoleLog::kSlots> slots{};
    uint32_t used = 0;
    uint32_t dropped = 0;
    std::once_flag started;
};

Queue& queue() {
    static Queue* q = new Queue; // lives until the process ends, like the sink
    return *q;
}

void writerLoop() {
    setThreadPriority(3);
    for (;;) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
        ConsoleLog::drain();
    }
}

} // namespace

void ConsoleLog::onLine(const char* text) {
    Queue& q = queue();
    std::lock_guard<std::mutex> lock(q.mutex);
    if (q.used == kSlots) {
        ++q.dropped;
        return;
    }
    std::strncpy(q.slots[q.used].data(), text, kSlotSize - 1);
    q.slots[q.used][kSlotSize - 1] = '\0';
    ++q.used;
}

void ConsoleLog::drain() {
    Queue& q = queue();
    std::array<std::array<char, kSlotSize>, kSlots> batch;
    uint32_t count = 0;
    uint32_t dropped = 0;
    {
        std::lock_guard<std::mutex> lock(q.mutex);
        count = q.used;
        dropped = q.dropped;
        for (uint32_t i = 0; i < count; ++i)
            batch[i] = q.slots[i];
        q.used = 0;
        q.dropped = 0;
    }
    for (uint32_t i = 0; i < count; ++i)
        std::printf("%s\n", batch[i].data());
    // Lines that found the queue full are not lost without a word.
    if (dropped) std::printf("(%u log lines dropped: the console queue was full)\n", dropped);
    std::fflush(stdout);
}

void ConsoleLog::start(uint32_t facility, uint16_t port) {
    initLog(facility, &ConsoleLog::onLine, port);
    std::call_once(queue().started, [] { std::thread(writerLoop).detach(); });
}

} // namespace BRINA
