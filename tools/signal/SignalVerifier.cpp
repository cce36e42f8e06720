#include "tools/signal/SignalVerifier.h"

#include <algorithm>
#include <cstring>

namespace TESSERA {

namespace {
// How far ahead a gap may have carried the signal: about ten seconds of PCM at 48 kHz.
constexpr uint64_t kResyncWindow = 480000;

bool isComplement(const uint8_t* a, const uint8_t* b, uint32_t n) {
    for (uint32_t i = 0; i < n; ++i)
        if (static_cast<uint8_t>(~a[i]) != b[i]) return false;
    return true;
}
} // namespace

SignalVerifier::SignalVerifier(StreamFormat sinkFormat)
    : format(sinkFormat), signal(sinkFormat), frameBytes(sinkFormat.bytesPerFrame()), expected(frameBytes),
      muted(frameBytes, sinkFormat.muteByte()),
      mutedInverted(frameBytes, static_cast<uint8_t>(~sinkFormat.muteByte())) {
    partial.reserve(frameBytes);
}

void SignalVerifier::feed(const uint8_t* bytes, uint32_t size) {
    if (frameBytes == 0) return;
    while (size > 0) {
        if (!partial.empty() || size < frameBytes) {
            const uint32_t take =
                std::min<uint32_t>(size, frameBytes - static_cast<uint32_t>(partial.size()));
            partial.insert(partial.end(), bytes, bytes + take);
            bytes += take;
            size -= take;
            if (partial.size() == frameBytes) {
                checkFrame(partial.data());
                partial.clear();
            }
            continue;
        }
        checkFrame(bytes);
        bytes += frameBytes;
        size -= frameBytes;
    }
}

void SignalVerifier::markGap() {
    if (res.started) gapPending = true;
}

void SignalVerifier::invertAsked() {
    if (res.askedInverted) return;
    res.askedInverted = true;
    res.askedAtFrame = position;
}

void SignalVerifier::wrongPhase(uint64_t& counter) {
    if (res.invertedUnasked == 0 && res.normalAfterSwitch == 0) res.firstWrongPhase = position;
    ++counter;
}

// Normal audio after the request passes: a Host that inverts on its own cancels the Target's wish.
void SignalVerifier::checkPhase(bool invertedFrame, bool leading) {
    if (invertedFrame && !res.askedInverted) { // every frame checked since the request may be inverted
        wrongPhase(res.invertedUnasked);
    } else if (invertedFrame && !res.switched) {
        res.switched = true;
        res.switchFrame = position;
    } else if (!invertedFrame && res.switched) {
        // A Host's first packets follow the Target's wish alone, its own phase comes after them: in the
        // leading silence a Host that inverts too may turn the audio back, as the two cancel.
        if (leading)
            res.switched = false;
        else
            wrongPhase(res.normalAfterSwitch);
    }
}

void SignalVerifier::checkFrame(const uint8_t* frame) {
    const bool silentNormal = std::memcmp(frame, muted.data(), frameBytes) == 0;
    const bool silentInverted = !silentNormal && std::memcmp(frame, mutedInverted.data(), frameBytes) == 0;
    if (silentNormal || silentInverted) {
        if (silentInverted) ++res.invertedSilence;
        checkPhase(silentInverted, !res.started);
        ++position;
        if (res.started)
            ++res.silenceInside;
        else
            ++res.leadingSilence;
        return;
    }
    res.started = true;
    if (gapPending) {
        // Look ahead for the frame that arrived; what lies between was lost.
        gapPending = false;
        for (uint64_t skip = 0; skip < kResyncWindow; ++skip) {
            signal.render(nextIndex + skip, 1, expected.data());
            if (std::memcmp(frame, expected.data(), frameBytes) == 0 ||
                isComplement(frame, expected.data(), frameBytes)) {
                res.missing += skip;
                nextIndex += skip;
                break;
            }
        }
    }
    signal.render(nextIndex, 1, expected.data());
    if (std::memcmp(frame, expected.data(), frameBytes) == 0) {
        ++res.matched;
        checkPhase(false, false);
    } else if (isComplement(frame, expected.data(), frameBytes)) {
        if (res.inverted == 0) res.firstInverted = nextIndex;
        ++res.inverted;
        checkPhase(true, false);
    } else {
        if (res.differed == 0) res.firstDifference = nextIndex;
        ++res.differed;
    }
    ++nextIndex;
    ++position;
}

namespace {
std::string frames(uint64_t n) {
    return std::to_string(n) + (n == 1 ? " frame" : " frames");
}
} // namespace

std::string VerifierResult::phaseText() const {
    std::string text;
    if (!askedInverted)
        text = invertedUnasked == 0 ? "normal throughout, as the Target did not ask for inverted phase"
                                    : "the Target did not ask for inverted phase";
    else if (switched)
        text = "the Target asked for inverted phase at frame " + std::to_string(askedAtFrame) +
               ", and the audio turned inverted at frame " + std::to_string(switchFrame);
    else
        text = "the Target asked for inverted phase at frame " + std::to_string(askedAtFrame) +
               ", and the audio stayed normal (as when the Host inverts on its own too, which cancels)";
    if (invertedUnasked != 0)
        text += "; " + frames(invertedUnasked) +
                (askedInverted ? " came inverted before the Target asked"
                               : " came inverted that the Target never asked for");
    if (normalAfterSwitch != 0)
        text += "; " + frames(normalAfterSwitch) + " turned back to normal after the switch";
    if (!phaseRight()) text += " (the first at frame " + std::to_string(firstWrongPhase) + ")";
    return text;
}

} // namespace TESSERA
