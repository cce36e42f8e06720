#pragma once
// The log sink's callback form for programs with a terminal: lines are queued by the callback and
// written to standard output by a low-priority thread, so a real-time thread never waits on the terminal.
#include <cstdint>

namespace BRINA {

class ConsoleLog {
public:
    static constexpr uint32_t kSlots = 40;
    static constexpr uint32_t kSlotSize = 1500;

    // Installs the queue as the sink's callback (creating the sink) and starts the writer thread.
    static void start(uint32_t facility, uint16_t port);
    // Writes what is queued now; the writer thread also does this once a second.
    static void drain();
    // The callback itself: copies the line into a free slot, or counts it as dropped.
    static void onLine(const char* text);
};

} // namespace BRINA
