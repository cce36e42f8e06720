#include "SignalVerifier.h"

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

void SignalVerifier::checkFrame(const uint8_t* frame) {
    const bool silent = std::memcmp(frame, muted.data(), frameBytes) == 0 ||
                        std::memcmp(frame, mutedInverted.data(), frameBytes) == 0;
    if (!res.started) {
        if (silent) {
            ++res.leadingSilence;
            return;
        }
        res.started = true;
    }
    if (silent) {
        ++res.silenceInside;
        return;
    }
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
    } else if (isComplement(frame, expected.data(), frameBytes)) {
        if (res.inverted == 0) res.firstInverted = nextIndex;
        ++res.inverted;
    } else {
        if (res.differed == 0) res.firstDifference = nextIndex;
        ++res.differed;
    }
    ++nextIndex;
}

} // namespace TESSERA
