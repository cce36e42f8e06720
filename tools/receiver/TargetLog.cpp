#include "tools/receiver/TargetLog.h"

#include <cstdio>
#include <utility>

namespace TESSERA {

void TargetLog::setVerbose(bool on) {
    std::lock_guard<std::mutex> lock(mutex);
    verbose = on;
}

void TargetLog::setForward(Sink sink) {
    std::lock_guard<std::mutex> lock(mutex);
    forward = std::move(sink);
}

void TargetLog::setObserver(Sink sink) {
    std::lock_guard<std::mutex> lock(mutex);
    observer = std::move(sink);
}

void TargetLog::line(const std::string& text) {
    std::lock_guard<std::mutex> lock(mutex);
    if (verbose) std::fprintf(stderr, "%s\n", text.c_str());
    if (observer) observer(text);
    if (forward) forward(text);
}

} // namespace TESSERA
