#include "tests/support/LogCapture.h"

#include "BRINA/LogSink.h"
#include "BRINA/LogStream.h"

#include <algorithm>
#include <mutex>

namespace TESTING {

namespace {
std::mutex captureMutex;
std::vector<std::string> captured; // guarded by captureMutex
bool capturing = false;            // guarded by captureMutex

void onLine(const char* text) {
    std::lock_guard<std::mutex> lock(captureMutex);
    if (capturing) captured.emplace_back(text);
}

void capture(bool on) {
    std::lock_guard<std::mutex> lock(captureMutex);
    captured.clear(), capturing = on;
}
} // namespace

LogCapture::LogCapture(int32_t level) {
    BRINA::initLog(16, onLine, 19640);
    capture(true);
    BRINA::setLogLevel(level);
}

LogCapture::~LogCapture() {
    BRINA::setLogLevel(-1);
    capture(false);
}

std::vector<std::string> LogCapture::lines() const {
    std::lock_guard<std::mutex> lock(captureMutex);
    return captured;
}

std::vector<std::string> LogCapture::messages() const {
    std::vector<std::string> out = lines();
    for (auto& line : out) // without the header, which ends in the host name
        if (const auto at = line.find("localhost "); at != std::string::npos) line.erase(0, at + 10);
    return out;
}

bool LogCapture::contains(const std::string& message) const {
    const auto all = messages();
    return std::find(all.begin(), all.end(), message) != all.end();
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> lock(captureMutex);
    captured.clear();
}

} // namespace TESTING
