#include "tools/receiver/StatusLine.h"

#include "tools/common/FormatText.h"

#include <cstdio>

namespace TESSERA {

namespace {

std::string outputText(const TargetStatus::Output& output) {
    const StreamReport& r = output.report;
    if (!output.streaming) {
        if (r.packets == 0) return output.name + ": idle";
        return output.name + ": idle, last stream " + (r.bitPerfect() ? "bit-perfect" : "not bit-perfect");
    }
    const char* perfect = !r.verifier.started ? "-" : (r.bitPerfect() ? "yes" : "NO");
    char numbers[160];
    std::snprintf(numbers, sizeof numbers,
                  " | packets %llu | resends %llu | buffer %.1f ms (min %.1f) | bit-perfect %s",
                  static_cast<unsigned long long>(r.packets),
                  static_cast<unsigned long long>(r.resendRequests), r.bufferMeanMs, r.bufferMinMs, perfect);
    return output.name + ": streaming " + FormatText::describe(StreamFormat(r.sinkType, r.sinkRate)) +
           numbers;
}

} // namespace

std::string StatusLine::text(const TargetStatus& status) {
    std::string line;
    for (const auto& output : status.outputs) {
        if (!line.empty()) line += "  ";
        line += outputText(output);
    }
    if (status.hostKnown) line += "  [Host " + status.hostName + "]";
    return line;
}

} // namespace TESSERA
