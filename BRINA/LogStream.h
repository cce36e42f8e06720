#pragma once
// One log statement: LogStream(6, "start SPEED=") << rate; builds one line and hands it to the sink.
#include <atomic>
#include <cstdint>
#include <string>

namespace BRINA {

// Process-wide threshold: a statement of level L is active when L <= threshold; -1 silences all.
// Written while settings load (and by tests), read by every thread that logs.
extern std::atomic<int32_t> logThreshold;

constexpr uint32_t kLogLineCapacity = 2048; // text plus its terminating NUL
constexpr uint32_t kLogHeaderLength = 31;
constexpr const char kLogHeader[] = "<000>MMM DD hh mm ss localhost ";

// The heap block of one active statement.
struct LogLine {
    uint8_t priority;
    char text[kLogLineCapacity];
    uint32_t length;
};

class LogStream {
public:
    explicit LogStream(int32_t level) {
        // The inactive case is one comparison: no allocation, no formatting, no system call.
        if (static_cast<int32_t>(level & 7) > logThreshold.load(std::memory_order_relaxed)) return;
        begin(level);
    }
    LogStream(int32_t level, const char* text) : LogStream(level) {
        if (line) *this << text;
    }
    LogStream(LogStream&& other) noexcept : line(other.line), owns(other.owns) { other.line = nullptr; }
    LogStream(const LogStream&) = delete;
    LogStream& operator=(const LogStream&) = delete;
    LogStream& operator=(LogStream&&) = delete;
    ~LogStream() { flush(); }

    bool active() const { return line != nullptr; }
    // The line built so far (header included), or null for an inactive statement.
    const LogLine* buffer() const { return line; }

    LogStream& operator<<(const char* text);
    LogStream& operator<<(const std::string& text);
    LogStream& operator<<(int32_t value);
    LogStream& operator<<(uint16_t value);
    LogStream& operator<<(uint32_t value);
    LogStream& operator<<(int64_t value);
    LogStream& operator<<(uint64_t value);
    LogStream& operator<<(double value);

    // Hands the line to the sink (if there is one) and frees it; later appends do nothing.
    void flush();

private:
    void begin(int32_t level);
    void appendFormatted(const char* format, ...) __attribute__((format(printf, 2, 3)));

    LogLine* line = nullptr;
    bool owns = false;
};

} // namespace BRINA
