#pragma once
// Thread priority, processor affinity and core count, in the driver's terms.
#include <cstdint>
#include <system_error>
#include <thread>
#include <utility>

namespace BRINA {

// Priority modes: 0 time critical, 1 highest, 2 normal, 3 idle; above 3 means normal.
// A thread that will busy-wait passes spins = true and is never given a real-time policy.
// Where the process may not raise the priority the call succeeds unchanged and logs one warning.
bool setThreadPriority(uint32_t mode, bool spins = false);
// The mode that the process's own priority corresponds to, 0 to 3.
uint32_t processPriority();
// Physical cores, not hardware threads; 0 when the platform can't tell.
uint32_t physicalCoreCount();
// Pins the calling thread to processor n (below 32) and moves the process's other threads off it.
bool pinThreadToCpu(uint32_t n);
void yieldThread();

// Starts thread on body; false when the system can't make one, the one place where the standard library
// reports by exception.
template <typename Body> bool startThread(std::thread& thread, Body&& body) {
    try {
        thread = std::thread(std::forward<Body>(body));
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

} // namespace BRINA
