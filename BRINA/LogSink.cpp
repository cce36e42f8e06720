#include "BRINA/LogSink.h"

#include "BRINA/LogStream.h"
#include "BRINA/platform/OsTime.h"

#include <cstdio>
#include <mutex>

namespace BRINA {

std::atomic<LogSink*> logSink{nullptr};

namespace {
constexpr const char* kMonths[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

void putTwoDigits(char* at, int value) {
    at[0] = static_cast<char>('0' + (value / 10) % 10);
    at[1] = static_cast<char>('0' + value % 10);
}

std::mutex sinkCreation; // serialises initLog and the socket opening; never taken on a log path
} // namespace

uint32_t stampLogHeader(char* text, uint8_t priority, int64_t wallSeconds) {
    uint32_t start = 4;
    unsigned p = priority;
    do {
        text[--start] = static_cast<char>('0' + p % 10);
        p /= 10;
    } while (p != 0);
    text[--start] = '<';
    text[4] = '>';
    std::tm tm{};
    if (osLocalTime(wallSeconds, tm)) {
        const int month = (tm.tm_mon >= 0 && tm.tm_mon < 12) ? tm.tm_mon : 0;
        text[5] = kMonths[month][0];
        text[6] = kMonths[month][1];
        text[7] = kMonths[month][2];
        text[8] = ' ';
        putTwoDigits(text + 9, tm.tm_mday);
        text[11] = ' ';
        putTwoDigits(text + 12, tm.tm_hour);
        text[14] = ':';
        putTwoDigits(text + 15, tm.tm_min);
        text[17] = ':';
        putTwoDigits(text + 18, tm.tm_sec);
        text[20] = ' ';
    }
    return start;
}

LogSink::LogSink(uint32_t fac, LogCallback cb, uint16_t p) : facility(fac), callback(cb), port(p) {}

bool LogSink::openSocket() {
    if (socketOpen.load(std::memory_order_acquire)) return true;
    std::lock_guard<std::mutex> lock(sinkCreation);
    if (socketOpen.load(std::memory_order_relaxed)) return true;
    static const uint8_t loopback[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    IPAddress local(loopback, 0, 0);
    if (!socket.open(Socket::IPv6Datagram) || !socket.bind(local) || !socket.setBlocking(false)) {
        socket.close();
        return false;
    }
    // A fixed peer: the senders of all threads read it and nobody changes it again.
    socket.setPeer(IPAddress(loopback, port, 0));
    socketOpen.store(true, std::memory_order_release);
    return true;
}

void LogSink::send(uint8_t priority, char* text, uint32_t length) {
    const uint32_t start = stampLogHeader(text, priority, osWallSeconds());
    if (socketOpen.load(std::memory_order_acquire))
        socket.send(reinterpret_cast<const uint8_t*>(text + start), length - start, false);
    if (callback) callback(text + start);
}

void initLog(uint32_t facility, LogCallback callback, uint16_t port) {
    LogSink* sink = nullptr;
    {
        std::lock_guard<std::mutex> lock(sinkCreation);
        if (logSink.load(std::memory_order_acquire)) return;
        sink = new LogSink(facility, callback, port); // lives until the process ends
        logSink.store(sink, std::memory_order_release);
    }
    if (!callback) sink->openSocket();
}

void setLogLevel(int32_t level) {
    logThreshold.store(level, std::memory_order_relaxed);
    if (LogSink* sink = logSink.load(std::memory_order_acquire)) sink->openSocket();
}

} // namespace BRINA
