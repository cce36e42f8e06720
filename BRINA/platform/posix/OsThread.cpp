#include "BRINA/platform/OsThread.h"

#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <pthread.h>
#include <sched.h>
#include <set>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace BRINA {

namespace {

pid_t currentTid() {
    return static_cast<pid_t>(::syscall(SYS_gettid));
}

// Real-time priorities for time critical and highest; the kernel's interrupt threads sit at 50.
constexpr int kFifoPriority[2] = {40, 20};
// Nice values: time critical, highest, normal, idle.
constexpr int kNice[4] = {-20, -10, 0, 19};

bool setNice(int nice) {
    return ::setpriority(PRIO_PROCESS, static_cast<id_t>(currentTid()), nice) == 0;
}

// 0 or the error number: pthread functions return it instead of setting errno.
int setPolicy(int policy, int priority) {
    sched_param param{};
    param.sched_priority = priority;
    return ::pthread_setschedparam(::pthread_self(), policy, &param);
}

int readInt(const std::string& path) {
    std::ifstream in(path);
    int value = -1;
    if (!(in >> value)) return -1;
    return value;
}

} // namespace

OsPriorityResult osSetThreadPriority(uint32_t mode, bool spins) {
    if (mode <= 1) {
        // Timer slack of 1 ns: the default 50 us would make every wake-up of the schedule late by that much.
        ::prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
        // A busy-waiting SCHED_FIFO thread is throttled by the kernel, so spinning threads stay on nice
        // values.
        if (!spins) {
            const int error = setPolicy(SCHED_FIFO, kFifoPriority[mode]);
            if (error == 0) return OsPriorityResult::Done;
            if (error != EPERM) return OsPriorityResult::Failed;
        }
        setPolicy(SCHED_OTHER, 0);
        if (setNice(kNice[mode])) return OsPriorityResult::Done;
        return errno == EPERM || errno == EACCES ? OsPriorityResult::NotPermitted : OsPriorityResult::Failed;
    }
    if (setPolicy(SCHED_OTHER, 0) != 0) return OsPriorityResult::Failed;
    if (setNice(kNice[mode])) return OsPriorityResult::Done;
    return errno == EPERM || errno == EACCES ? OsPriorityResult::NotPermitted : OsPriorityResult::Failed;
}

uint32_t osProcessPriorityMode() {
    const int policy = ::sched_getscheduler(::getpid());
    if (policy == SCHED_FIFO || policy == SCHED_RR) return 0;
    if (policy == SCHED_IDLE) return 3;
    errno = 0;
    const int nice = ::getpriority(PRIO_PROCESS, static_cast<id_t>(::getpid()));
    if (errno != 0) return 2;
    if (nice < 0) return 1;
    return nice > 0 ? 3 : 2;
}

uint32_t osPhysicalCoreCount() {
    // A core is one (package, core) pair of the topology; hardware threads of one core share it.
    std::set<std::pair<int, int>> cores;
    DIR* dir = ::opendir("/sys/devices/system/cpu");
    if (dir) {
        while (dirent* entry = ::readdir(dir)) {
            const std::string name = entry->d_name;
            if (name.size() < 4 || name.compare(0, 3, "cpu") != 0 || name[3] < '0' || name[3] > '9') continue;
            const std::string base = "/sys/devices/system/cpu/" + name + "/topology/";
            const int package = readInt(base + "physical_package_id");
            const int core = readInt(base + "core_id");
            if (core >= 0) cores.insert({package, core});
        }
        ::closedir(dir);
    }
    if (!cores.empty()) return static_cast<uint32_t>(cores.size());
    // No topology in sysfs (some containers): take the pairs that /proc/cpuinfo lists.
    std::ifstream info("/proc/cpuinfo");
    std::string line;
    int package = -1;
    while (std::getline(info, line)) {
        const auto colon = line.find(':');
        if (colon == std::string::npos) continue;
        const std::string key = line.substr(0, line.find_last_not_of(" \t", colon - 1) + 1);
        const int value = std::atoi(line.c_str() + colon + 1);
        if (key == "physical id") package = value;
        if (key == "core id") cores.insert({package, value});
    }
    return static_cast<uint32_t>(cores.size());
}

bool osPinThread(uint32_t cpu) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(cpu, &set);
    return ::pthread_setaffinity_np(::pthread_self(), sizeof(set), &set) == 0;
}

void osMoveOtherThreadsOff(uint32_t cpu) {
    // Affinity is per thread here: walk the process's threads, as the process-wide mask would.
    const pid_t self = currentTid();
    DIR* dir = ::opendir("/proc/self/task");
    if (!dir) return;
    while (dirent* entry = ::readdir(dir)) {
        const pid_t tid = static_cast<pid_t>(std::atoi(entry->d_name));
        if (tid <= 0 || tid == self) continue;
        cpu_set_t set;
        if (::sched_getaffinity(tid, sizeof(set), &set) != 0) continue;
        CPU_CLR(cpu, &set);
        if (CPU_COUNT(&set) > 0) ::sched_setaffinity(tid, sizeof(set), &set);
    }
    ::closedir(dir);
}

void osYield() {
    ::sched_yield();
}

} // namespace BRINA
