#include "tools/receiver/ReportWords.h"

#include "tools/common/FormatText.h"

#include <cstdarg>
#include <cstdio>

namespace TESSERA {

namespace {

unsigned long long n(uint64_t value) {
    return static_cast<unsigned long long>(value);
}

std::string printed(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string printed(const char* format, ...) {
    char text[400];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    return text;
}

// A label in its column, then the words.
std::string line(const char* label, const std::string& words) {
    return printed("  %-10s %s\n", label, words.c_str());
}

std::string result(const StreamReport& r) {
    const VerifierResult& v = r.verifier;
    // Other audio differs from the signal's first frame on: nothing matches, not even inverted.
    if (!v.started || (v.matched == 0 && v.inverted == 0))
        return "not checked: the audio was not the test signal (music from a WAV file, say), so the Target "
               "could not compare it sample by sample";
    if (r.bitPerfect() && v.inverted == 0)
        return printed("BIT-PERFECT: all %llu frames of the test signal arrived unchanged", n(v.matched));
    if (r.bitPerfect())
        return printed(
            "BIT-PERFECT: all %llu frames of the test signal arrived intact, %llu of them inverted in "
            "phase as the Target asked",
            n(v.matched + v.inverted), n(v.inverted));
    std::string text = printed("NOT bit-perfect: %llu frames arrived unchanged", n(v.matched));
    if (v.differed)
        text += printed(", %llu differed (the first at frame %llu)", n(v.differed), n(v.firstDifference));
    if (v.inverted)
        text += printed(", %llu came inverted in phase (from frame %llu)", n(v.inverted), n(v.firstInverted));
    if (v.missing || r.gapsNeverFilled)
        text += printed(", %llu went missing in %llu lost packets", n(v.missing), n(r.gapsNeverFilled));
    if (!v.phaseRight()) text += "; the phase was not the one the Target asked for";
    return text;
}

std::string losses(const StreamReport& r) {
    std::string text;
    if (r.resendRequests == 0 && r.repeats == 0 && r.gapsNeverFilled == 0)
        text = "none: no packet went missing, so no resend was needed";
    else
        text = printed("%llu resend requests; %llu packets came a second time; %llu gaps were never filled",
                       n(r.resendRequests), n(r.repeats), n(r.gapsNeverFilled));
    if (r.droppedByFaults)
        text += printed(" (the Target dropped %llu packets on purpose, as its fault options asked)",
                        n(r.droppedByFaults));
    return text;
}

std::string ending(const StreamReport& r) {
    if (r.closedByHost && r.finalSeen)
        return "the Host marked its last packet and closed the stream: a clean end";
    if (r.closedByHost) return "the Host closed the stream without marking a last packet";
    if (r.hostSilent) return "the Host fell silent, so the Target ended the stream";
    if (r.closedByTarget) return "the Target ended the stream itself";
    return "the stream ended without the Host's close";
}

} // namespace

std::string ReportWords::text(const StreamReport& r) {
    std::string text = "What the Target received:\n";
    text += line("Result", result(r));
    text += line("Audio", printed("%s for %.1f s: %llu frames in %llu packets",
                                  FormatText::describe(StreamFormat(r.sinkType, r.sinkRate)).c_str(),
                                  r.durationSeconds, n(r.frames), n(r.packets)));
    if (r.verifier.leadingSilence)
        text += line("", printed("(the first %llu frames were silence, sent while the stream started)",
                                 n(r.verifier.leadingSilence)));
    // Only a stream in which the phase was asked for, or came wrong, has something to tell of it.
    if (r.verifier.askedInverted || !r.verifier.phaseRight()) text += line("Phase", r.verifier.phaseText());
    text += line("Losses", losses(r));
    text += line("Timing", printed("the gaps between packets strayed from their schedule by %.0f us or less "
                                   "for half of them,",
                                   r.arrivalP50Us));
    text += line(
        "", printed("%.0f us or less for 99 in 100, and %.0f us at most", r.arrivalP99Us, r.arrivalMaxUs));
    text +=
        line("Buffer", printed("the Target held %.1f to %.1f ms of audio waiting to play, %.1f ms on average",
                               r.bufferMinMs, r.bufferMaxMs, r.bufferMeanMs));
    text += line("Underruns",
                 r.underruns == 0
                     ? std::string("none: the Target's play-out never ran dry")
                     : printed("%llu: the Target's play-out ran dry and played silence", n(r.underruns)));
    if (r.foreignDatagrams)
        text += line("Foreign", printed("%llu datagrams from other senders, or broken, were passed over",
                                        n(r.foreignDatagrams)));
    text += line("End", ending(r));
    return text;
}

} // namespace TESSERA
