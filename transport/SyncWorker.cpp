// The worker thread's set-up: priority, processor and sleeping rules from the mode word, then the loop.
#include "BRINA/LogStream.h"
#include "BRINA/Thread.h"
#include "BRINA/Time.h"
#include "transport/Sync.h"
#include "transport/ThreadMode.h"
#include "transport/WorkerLoop.h"

namespace TESSERA {

void Sync::wthMain() {
    lowCpu = false;
    uint32_t mode = threadMode.load(std::memory_order_relaxed);
    const uint32_t priority = (mode & CRITICAL) ? 0 : 1;
    const uint32_t cores = BRINA::physicalCoreCount();
    if (!(mode & NOSLEEPFORCE) && cores <= 2) {
        mode &= ~NOSLEEP4CORE;
        if (BRINA::timeBefore(profiles[0].cycle, 1000)) lowCpu = true;
    }
    if (latency <= 2000) mode &= ~NOFASTFEEDBACK;
    // The reduced word stays for the streams that follow, until the next open.
    threadMode.store(mode, std::memory_order_relaxed);

    BRINA::LogStream line(6, "wth start ");
    if (mode & CRITICAL) line << "CRITICAL ";
    if (mode & NOSHORTSLEEP) line << "NOSHORTSLEEP ";
    if (mode & NOSLEEP4CORE) line << "NOSLEEP4CORE ";
    if (mode & NOSLEEPFORCE) line << "NOSLEEPFORCE ";
    if (mode & SOCKETNOBLOCK) line << "SOCKETNOBLOCK ";
    if (mode & OCCUPIED) line << "OCCUPIED ";
    line << "CPU:" << cores << " FEEDBACK:" << feedbackDepth(mode)
         << ((mode & NOFASTFEEDBACK) ? " NOFASTFEEDBACK " : " ") << " Info=" << infoCycle / 1000;
    line.flush();

    // A spinning thread must never get a real-time policy: the kernel throttles it.
    const bool spins = (mode & (NOSHORTSLEEP | NOSLEEP4CORE | NOSLEEPFORCE)) != 0;
    bool ready = true;
    if (BRINA::processPriority() == 0)
        BRINA::LogStream(6, "wth Rialtime Class not chnage priority");
    else
        ready = BRINA::setThreadPriority(priority, spins);
    if (ready && (mode & OCCUPIED)) ready = BRINA::pinThreadToCpu(2) || BRINA::pinThreadToCpu(1);
    if (!ready) {
        state.store(Idle);
        wakeConnectWait();
        return;
    }
    wthLoop();
    state.store(Idle);
    wakeConnectWait();
    BRINA::LogStream(6, "wth end");
}

void Sync::wthLoop() {
    WorkerLoop loop(*this);
    loop.run();
}

uint32_t Sync::feedbackDepth(uint32_t mode) {
    return ((mode & FEEDBACK) >> 5) + 1;
}

} // namespace TESSERA
