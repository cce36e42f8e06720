#pragma once
// One run of tessera-send: negotiation, plan, the stream with its status line, and the clean end; every
// way it can end has its exit status and one line in words.
#include "tools/send/SendExit.h"
#include "tools/send/SendOptions.h"
#include "tools/send/SendStatus.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace TESSERA {

class SendSource;
class SyncBuffer;

class Sender {
public:
    explicit Sender(const SendOptions& options);
    // Runs the whole stream; the exit status of the program.
    int run();

private:
    // The steps of run; each gives ExitDone to go on, or the status with its message printed.
    int negotiate(SendSource& source, uint32_t scope);
    int connect(SyncBuffer& session);
    int stream(SendSource& source, uint64_t limitFrames);
    bool scopeOf(uint32_t& scope);
    int fail(SendExit status, const std::string& message);
    void say(const std::string& line);
    void showStatus(const SendProgress& progress, bool due);
    void clearStatus();

    const SendOptions& options;
    std::string target;     // the Target in words
    std::string formatText; // the stream's format in words
    double framesPerSecond = 0;
    bool statusOnTerminal = false; // the status line repaints itself; else a plain line each second
    bool statusShown = false;      // a repainting line is on the terminal now
    std::chrono::steady_clock::time_point lastPlainLine;
};

} // namespace TESSERA
