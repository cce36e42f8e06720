#include "tools/send/SendStatus.h"

#include <cstdio>

namespace TESSERA {

std::string SendStatus::explain(const std::string& line) {
    // The first number after the words of each known line, and what the line means.
    static const struct {
        const char* start;
        const char* before;
        const char* after;
    } kKnown[] = {
        {"over time change profile ", "late too often: the worker moved to its fallback plan", ""},
        {"over time ", "the worker sent a cycle ", " us late"},
        {"SyncBuffer not enough mute data return ", "the source was slow: ", " bytes of silence went out"},
        {"thread priority unchanged", "the worker runs at normal priority (no right to raise it)", ""},
    };
    for (const auto& known : kKnown) {
        const std::string start = known.start;
        if (line.rfind(start, 0) != 0) continue;
        if (*known.after == '\0') return known.before;
        const std::string rest = line.substr(start.size());
        return known.before + rest.substr(0, rest.find(' ')) + known.after;
    }
    return line;
}

std::string SendStatus::text(const SendProgress& p) {
    char time[64];
    if (p.total > 0)
        std::snprintf(time, sizeof time, "%.1f / %.1f s", p.elapsed, p.total);
    else
        std::snprintf(time, sizeof time, "%.1f s (until Ctrl-C)", p.elapsed);
    std::string line = "streaming " + p.format + " | " + time + " | " + std::to_string(p.frames) + " frames";
    if (p.warnings != 0)
        line += " | " + std::to_string(p.warnings) + (p.warnings == 1 ? " warning: " : " warnings, last: ") +
                explain(p.lastWarning);
    return line;
}

} // namespace TESSERA
