// selectFormat over any masks and any source format: it must never settle a Sink format that the Target
// refuses, never change anything when it fails, and its routine must carry silence into silence.
#include "BRINA/LittleEndian.h"
#include "transport/Sync.h"

namespace {
// The session's negotiated facts, set by the fuzzer where a Target's answers would set them.
class OpenSync : public TESSERA::Sync {
public:
    using Sync::copyRoutine;
    using Sync::dsdLsbMask;
    using Sync::dsdMsbMask;
    using Sync::pcmMask;
    using Sync::sinkFormat;
    using Sync::sourceFormat;
};
} // namespace

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

void require(bool condition) {
    if (!condition) __builtin_trap();
}

uint8_t copiedMute(const OpenSync& sync) {
    uint8_t in[8], out[8];
    std::memset(in, sync.sourceFormat.muteByte(), sizeof in);
    sync.copyRoutine(out, in, sizeof in);
    for (uint8_t b : out)
        require(b == out[0]);
    return out[0];
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Three masks, the source format and a phase byte; a short input is padded with zeros.
    uint8_t input[33] = {};
    std::memcpy(input, data, std::min(size, sizeof input));
    OpenSync sync;
    sync.pcmMask = TESSERA::StreamFormat::fromU64(BRINA::readLE64(input));
    sync.dsdLsbMask = TESSERA::StreamFormat::fromU64(BRINA::readLE64(input + 8));
    sync.dsdMsbMask = TESSERA::StreamFormat::fromU64(BRINA::readLE64(input + 16));
    const auto source = TESSERA::StreamFormat::fromU64(BRINA::readLE64(input + 24));

    // A state that selectFormat never leaves, so that any write on failure shows.
    sync.copyRoutine = TESSERA::copyReverseInverted;
    sync.sourceFormat = TESSERA::StreamFormat(0xFFFFFFFF, 0xFFFFFFFF);
    sync.sinkFormat = TESSERA::StreamFormat(0xFFFFFFFE, 0xFFFFFFFE);
    if (!sync.selectFormat(source.type(), source.rateBits())) {
        require(sync.copyRoutine == TESSERA::copyReverseInverted);
        require(sync.sourceFormat == TESSERA::StreamFormat(0xFFFFFFFF, 0xFFFFFFFF));
        require(sync.sinkFormat == TESSERA::StreamFormat(0xFFFFFFFE, 0xFFFFFFFE));
        return 0;
    }
    require(sync.canFormat(sync.sinkFormat.type(), sync.sinkFormat.rateBits()));
    require(sync.sourceFormat == source);
    require(copiedMute(sync) == sync.sinkFormat.muteByte());
    const bool hostInvert = input[32] & 1, targetInvert = input[32] & 2;
    sync.setPlayPhase(hostInvert, targetInvert);
    const uint8_t mute = sync.sinkFormat.muteByte();
    require(copiedMute(sync) == (hostInvert != targetInvert ? static_cast<uint8_t>(~mute) : mute));
    return 0;
}
