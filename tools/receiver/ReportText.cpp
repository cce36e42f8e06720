#include "tools/receiver/ReportText.h"

#include "tools/common/FormatText.h"

#include <cstdio>

namespace TESSERA {

namespace {

unsigned long long n(uint64_t value) {
    return static_cast<unsigned long long>(value);
}

std::string signalText(const VerifierResult& v) {
    char text[256];
    if (!v.started) return "the test signal was not found";
    std::snprintf(text, sizeof text,
                  "%llu frames matched, %llu inverted (first at %llu), %llu differed (first at %llu), "
                  "%llu missing",
                  n(v.matched), n(v.inverted), n(v.firstInverted), n(v.differed), n(v.firstDifference),
                  n(v.missing));
    return text;
}

} // namespace

std::string ReportText::text(const std::string& outputName, const StreamReport& r) {
    char lines[1024];
    const char* ending = r.closedByHost ? (r.finalSeen ? "closed by the Host after its final packet"
                                                       : "closed by the Host without a final packet")
                                        : "ended without the Host's close";
    std::snprintf(
        lines, sizeof lines,
        "Stream on \"%s\": %s, %.1f s, %s\n"
        "  %llu packets, %llu frames; %llu repeats, %llu resend requests, %llu packets never filled\n"
        "  %llu foreign datagrams, %llu underruns; buffer %.1f / %.1f / %.1f ms (min / mean / max)\n"
        "  arrival deviation %.0f / %.0f / %.0f us (median / 99%% / max)\n"
        "  %s; %s\n"
        "  phase: %s\n",
        outputName.c_str(), FormatText::describe(StreamFormat(r.sinkType, r.sinkRate)).c_str(),
        r.durationSeconds, ending, n(r.packets), n(r.frames), n(r.repeats), n(r.resendRequests),
        n(r.gapsNeverFilled), n(r.foreignDatagrams), n(r.underruns), r.bufferMinMs, r.bufferMeanMs,
        r.bufferMaxMs, r.arrivalP50Us, r.arrivalP99Us, r.arrivalMaxUs, signalText(r.verifier).c_str(),
        r.bitPerfect() ? "bit-perfect" : "NOT bit-perfect", r.verifier.phaseText().c_str());
    return lines;
}

} // namespace TESSERA
