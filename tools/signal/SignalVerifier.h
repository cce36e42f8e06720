#pragma once
// Checks received audio against the test signal: finds its first frame after the leading silence and
// counts frames that match, match complemented (inverted phase), differ, or are missing; and checks that
// the phase of every frame, silence included, is the one the Target asked for.
#include "format/StreamFormat.h"
#include "tools/signal/TestSignal.h"

#include <cstdint>
#include <string>
#include <vector>

namespace TESSERA {

// Frames "of the stream" count every frame received, leading silence included, in the order of arrival;
// firstDifference and firstInverted count frames of the signal.
struct VerifierResult {
    bool started = false;           // the signal's first frame was found
    uint64_t leadingSilence = 0;    // mute frames before it
    uint64_t matched = 0;           // frames equal to the signal
    uint64_t inverted = 0;          // frames equal to the signal's bitwise complement
    uint64_t differed = 0;          // frames that are neither
    uint64_t missing = 0;           // frames reported lost (gaps never filled)
    uint64_t silenceInside = 0;     // mute frames after the start (sender underrun, or the end)
    uint64_t firstDifference = 0;   // signal index of the first differing frame, if any
    uint64_t firstInverted = 0;     // signal index of the first complemented frame, if any
    uint64_t invertedSilence = 0;   // mute frames that came complemented, leading ones included
    bool askedInverted = false;     // the Target asked the Host for inverted phase
    uint64_t askedAtFrame = 0;      // the frame of the stream that was next when it first asked
    bool switched = false;          // the audio turned inverted after the Target asked
    uint64_t switchFrame = 0;       // the frame of the stream where it turned
    uint64_t invertedUnasked = 0;   // frames that came inverted before the Target asked, or without asking
    uint64_t normalAfterSwitch = 0; // frames back in normal phase after the switch
    uint64_t firstWrongPhase = 0;   // the frame of the stream of the first of these two kinds
    bool phaseRight() const { return invertedUnasked == 0 && normalAfterSwitch == 0; }
    bool bitPerfect() const { return started && differed == 0 && missing == 0 && phaseRight(); }
    // The phase finding in plain words, for the reports.
    std::string phaseText() const;
};

class SignalVerifier {
public:
    // sinkFormat: the format on the wire, in which the bytes arrive.
    explicit SignalVerifier(StreamFormat sinkFormat);

    // Received audio in stream order; frames may be split across calls.
    void feed(const uint8_t* bytes, uint32_t size);
    // Audio went missing before the next bytes (a gap never filled): the next frame that is not silence
    // is looked for ahead of the expected one, and the frames passed over count as missing.
    void markGap();
    // The Target asked the Host for inverted phase now: from the next frame on the audio may turn
    // inverted, once. Later calls change nothing.
    void invertAsked();

    const VerifierResult& result() const { return res; }

private:
    void checkFrame(const uint8_t* frame);
    void checkPhase(bool invertedFrame, bool leading);
    void wrongPhase(uint64_t& counter);

    StreamFormat format;
    TestSignal signal;
    uint32_t frameBytes;
    std::vector<uint8_t> partial;  // bytes of a frame split across feeds
    std::vector<uint8_t> expected; // one frame of the signal
    std::vector<uint8_t> muted;    // one frame of silence, normal and complemented
    std::vector<uint8_t> mutedInverted;
    uint64_t nextIndex = 0;
    uint64_t position = 0; // frames of the stream checked so far
    bool gapPending = false;
    VerifierResult res;
};

} // namespace TESSERA
