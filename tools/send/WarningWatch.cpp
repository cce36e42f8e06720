#include "tools/send/WarningWatch.h"

#include "BRINA/ConsoleLog.h"
#include "BRINA/LogSink.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace TESSERA {

namespace {

constexpr uint32_t kFacility = 16; // local use 0, as the probe and the driver
constexpr uint16_t kLogPort = 19640;
constexpr size_t kDateAndHost = 26; // "MMM DD hh:mm:ss localhost " after the priority

// Written by whichever thread logs; read by the main thread for the status line.
std::atomic<uint32_t> warnings{0};
std::atomic<int32_t> consoleLevel{-1};
std::mutex lastMutex; // the logging thread only tries it: a warning never waits for the status line
char lastText[160] = {};

} // namespace

void WarningWatch::start(int32_t level) {
    consoleLevel.store(level);
    BRINA::initLog(kFacility, &WarningWatch::onLine, kLogPort);
    if (level >= 0) BRINA::ConsoleLog::start(kFacility, kLogPort);
    // Warnings are watched for the status line even when the user asked for less, or for no log.
    BRINA::setLogLevel(std::max(level, 4));
}

void WarningWatch::onLine(const char* text) {
    // The line starts "<priority>"; its low three bits are the level.
    char* end = nullptr;
    const long level = text[0] == '<' ? std::strtol(text + 1, &end, 10) & 7 : 7;
    if (level <= consoleLevel.load(std::memory_order_relaxed)) BRINA::ConsoleLog::onLine(text);
    if (!end || *end != '>' || level > 4) return;
    warnings.fetch_add(1, std::memory_order_relaxed);
    const char* message = std::strlen(end + 1) > kDateAndHost ? end + 1 + kDateAndHost : end + 1;
    std::unique_lock<std::mutex> lock(lastMutex, std::try_to_lock);
    if (!lock.owns_lock()) return;
    std::strncpy(lastText, message, sizeof lastText - 1);
}

uint32_t WarningWatch::count() {
    return warnings.load(std::memory_order_relaxed);
}

std::string WarningWatch::last() {
    std::lock_guard<std::mutex> lock(lastMutex);
    std::string text = lastText;
    while (!text.empty() && text.back() == ' ')
        text.pop_back();
    return text;
}

} // namespace TESSERA
