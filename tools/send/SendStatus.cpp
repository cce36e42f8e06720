#include "SendStatus.h"

#include <cstdio>

namespace TESSERA {

std::string SendStatus::text(const SendProgress& p) {
    char time[64];
    if (p.total > 0)
        std::snprintf(time, sizeof time, "%.1f / %.1f s", p.elapsed, p.total);
    else
        std::snprintf(time, sizeof time, "%.1f s (until Ctrl-C)", p.elapsed);
    std::string line = "streaming " + p.format + " | " + time + " | " + std::to_string(p.frames) + " frames";
    if (p.warnings != 0)
        line += " | " + std::to_string(p.warnings) + (p.warnings == 1 ? " warning: " : " warnings, last: ") +
                p.lastWarning;
    return line;
}

} // namespace TESSERA
