#pragma once
// The Target's own log: every part of the Target writes its lines here; they go to the terminal when
// verbose, and to the Host that asked for them with TARGETLOG_REQ.
#include <functional>
#include <mutex>
#include <string>

namespace TESSERA {

class TargetLog {
public:
    using Sink = std::function<void(const std::string&)>;

    void setVerbose(bool on);
    // Where lines go besides the terminal; an empty sink stops that. Waits for a line being written.
    void setForward(Sink sink);
    // Also called by tests and the program to watch the lines.
    void setObserver(Sink sink);
    // One line, from any thread.
    void line(const std::string& text);
    // The log as a function, for the parts that take one (the stream receiver).
    Sink function() {
        return [this](const std::string& text) { line(text); };
    }

private:
    std::mutex mutex; // one line at a time, and no sink changes while a line is written
    bool verbose = false;
    Sink forward;
    Sink observer;
};

} // namespace TESSERA
