#pragma once
// CPU time of one thread and of the whole process, user and system, in seconds.
#include <pthread.h>
#include <sys/types.h>
#include <time.h>

namespace TESSERA {

struct CpuTime {
    double user = 0, system = 0;
    double total() const { return user + system; }
    CpuTime operator-(const CpuTime& o) const { return {user - o.user, system - o.system}; }
};

class ThreadCpu {
public:
    // The thread's CPU clock, readable from any thread while the thread lives.
    static bool clockOf(pthread_t thread, clockid_t& clock);
    // User plus system time on such a clock; nanosecond resolution.
    static double seconds(clockid_t clock);
    // One thread's user and system time, from /proc/self/task/TID/stat, in clock ticks (often 10 ms).
    static CpuTime ofTask(pid_t tid);
    static CpuTime ofProcess();
    static pid_t currentTid();
};

} // namespace TESSERA
