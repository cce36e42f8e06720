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

std::string messageOf(const std::string& line) {
    const auto at = line.find("localhost ");
    return at == std::string::npos ? line : line.substr(at + 10);
}
} // namespace

LogCapture::LogCapture(int32_t level) {
    BRINA::initLog(16, onLine, 19640);
    {
        std::lock_guard<std::mutex> lock(captureMutex);
        captured.clear();
        capturing = true;
    }
    BRINA::setLogLevel(level);
}

LogCapture::~LogCapture() {
    BRINA::setLogLevel(-1);
    std::lock_guard<std::mutex> lock(captureMutex);
    capturing = false;
    captured.clear();
}

std::vector<std::string> LogCapture::lines() const {
    std::lock_guard<std::mutex> lock(captureMutex);
    return captured;
}

std::vector<std::string> LogCapture::messages() const {
    std::vector<std::string> out;
    for (const auto& line : lines())
        out.push_back(messageOf(line));
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
