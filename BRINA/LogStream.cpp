#include "BRINA/LogStream.h"

#include "BRINA/LogSink.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace BRINA {

std::atomic<int32_t> logThreshold{-1};

void LogStream::begin(int32_t level) {
    LogSink* sink = logSink.load(std::memory_order_acquire);
    const uint32_t facility = sink ? sink->facility : 0;
    const uint8_t priority = static_cast<uint8_t>((facility * 8u) | static_cast<uint32_t>(level));
    line = new LogLine;
    owns = true;
    line->priority = priority;
    std::memcpy(line->text, kLogHeader, kLogHeaderLength + 1);
    line->length = kLogHeaderLength;
}

void LogStream::appendFormatted(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::vsnprintf(line->text + line->length, kLogLineCapacity - line->length, format, args);
    va_end(args);
    line->length += static_cast<uint32_t>(std::strlen(line->text + line->length));
}

LogStream& LogStream::operator<<(const char* text) {
    if (line) appendFormatted("%s", text ? text : "(null)");
    return *this;
}

LogStream& LogStream::operator<<(const std::string& text) {
    // A string goes in whole or not at all.
    if (line && text.size() + 1 + line->length < kLogLineCapacity) {
        std::memcpy(line->text + line->length, text.data(), text.size());
        line->length += static_cast<uint32_t>(text.size());
        line->text[line->length] = '\0';
    }
    return *this;
}

LogStream& LogStream::operator<<(int32_t value) {
    if (line) appendFormatted("%d", value);
    return *this;
}

LogStream& LogStream::operator<<(uint16_t value) {
    if (line) appendFormatted("%u", static_cast<unsigned>(value));
    return *this;
}

LogStream& LogStream::operator<<(uint32_t value) {
    if (line) appendFormatted("%u", value);
    return *this;
}

LogStream& LogStream::operator<<(int64_t value) {
    if (line) appendFormatted("%lld", static_cast<long long>(value));
    return *this;
}

LogStream& LogStream::operator<<(uint64_t value) {
    if (line) appendFormatted("%llu", static_cast<unsigned long long>(value));
    return *this;
}

LogStream& LogStream::operator<<(double value) {
    if (line) appendFormatted("%lf", value);
    return *this;
}

void LogStream::flush() {
    if (!line || !owns) return;
    if (LogSink* sink = logSink.load(std::memory_order_acquire))
        sink->send(line->priority, line->text, line->length);
    delete line;
    line = nullptr;
    owns = false;
}

} // namespace BRINA
