#include "BRINA/Thread.h"

#include "BRINA/LogStream.h"
#include "BRINA/platform/OsThread.h"

namespace BRINA {

bool setThreadPriority(uint32_t mode, bool spins) {
    const OsPriorityResult result = osSetThreadPriority(mode > 3 ? 2 : mode, spins);
    if (result == OsPriorityResult::Failed) return false;
    if (result == OsPriorityResult::NotPermitted)
        LogStream(4, "thread priority unchanged, not permitted: mode ") << mode;
    return true;
}

uint32_t processPriority() {
    return osProcessPriorityMode();
}

uint32_t physicalCoreCount() {
    return osPhysicalCoreCount();
}

bool pinThreadToCpu(uint32_t n) {
    if (n >= 32) return false; // the empty mask
    if (!osPinThread(n)) return false;
    osMoveOtherThreadsOff(n);
    return true;
}

void yieldThread() {
    osYield();
}

} // namespace BRINA
