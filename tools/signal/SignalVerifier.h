#pragma once
// Checks received audio against the test signal: finds its first frame after the leading silence and
// counts frames that match, match complemented (inverted phase), differ, or are missing.
#include "StreamFormat.h"
#include "TestSignal.h"

#include <cstdint>
#include <vector>

namespace TESSERA {

struct VerifierResult {
    bool started = false;         // the signal's first frame was found
    uint64_t leadingSilence = 0;  // mute frames before it
    uint64_t matched = 0;         // frames equal to the signal
    uint64_t inverted = 0;        // frames equal to the signal's bitwise complement
    uint64_t differed = 0;        // frames that are neither
    uint64_t missing = 0;         // frames reported lost (gaps never filled)
    uint64_t silenceInside = 0;   // mute frames after the start (sender underrun, or the end)
    uint64_t firstDifference = 0; // signal index of the first differing frame, if any
    uint64_t firstInverted = 0;   // signal index of the first complemented frame, if any
    bool bitPerfect() const { return started && differed == 0 && missing == 0; }
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

    const VerifierResult& result() const { return res; }

private:
    void checkFrame(const uint8_t* frame);

    StreamFormat format;
    TestSignal signal;
    uint32_t frameBytes;
    std::vector<uint8_t> partial;  // bytes of a frame split across feeds
    std::vector<uint8_t> expected; // one frame of the signal
    std::vector<uint8_t> muted;    // one frame of silence, normal and complemented
    std::vector<uint8_t> mutedInverted;
    uint64_t nextIndex = 0;
    bool gapPending = false;
    VerifierResult res;
};

} // namespace TESSERA
