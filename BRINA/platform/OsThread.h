#pragma once
// The platform's scheduling calls behind names of our own.
#include <cstdint>

namespace BRINA {

enum class OsPriorityResult { Done, NotPermitted, Failed };

// Mode 0 to 3 as the driver counts them; spins keeps a busy-waiting thread off real-time policies.
OsPriorityResult osSetThreadPriority(uint32_t mode, bool spins);
uint32_t osProcessPriorityMode();
uint32_t osPhysicalCoreCount();
bool osPinThread(uint32_t cpu);
void osMoveOtherThreadsOff(uint32_t cpu);
void osYield();

} // namespace BRINA
