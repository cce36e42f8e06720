#include "bench/stream_bench/ThreadCpu.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace TESSERA {

bool ThreadCpu::clockOf(pthread_t thread, clockid_t& clock) {
    return ::pthread_getcpuclockid(thread, &clock) == 0;
}

double ThreadCpu::seconds(clockid_t clock) {
    timespec t{};
    if (::clock_gettime(clock, &t) != 0) return 0;
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

CpuTime ThreadCpu::ofTask(pid_t tid) {
    const std::string path = "/proc/self/task/" + std::to_string(tid) + "/stat";
    std::FILE* file = std::fopen(path.c_str(), "r");
    if (!file) return {};
    char text[1024] = {};
    const size_t n = std::fread(text, 1, sizeof text - 1, file);
    std::fclose(file);
    text[n] = '\0';
    // The name in parentheses may hold blanks: the fields are counted from its closing parenthesis.
    const char* p = std::strrchr(text, ')');
    if (!p) return {};
    unsigned long utime = 0, stime = 0;
    if (std::sscanf(p + 2, "%*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu", &utime, &stime) != 2)
        return {};
    const double tick = static_cast<double>(::sysconf(_SC_CLK_TCK));
    return {static_cast<double>(utime) / tick, static_cast<double>(stime) / tick};
}

CpuTime ThreadCpu::ofProcess() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    auto secondsOf = [](const timeval& t) { return static_cast<double>(t.tv_sec) + t.tv_usec * 1e-6; };
    return {secondsOf(usage.ru_utime), secondsOf(usage.ru_stime)};
}

pid_t ThreadCpu::currentTid() {
    return static_cast<pid_t>(::syscall(SYS_gettid));
}

} // namespace TESSERA
