#pragma once
// The three capability masks of one Output, as a receiver reports them and checks a Host's format against
// them.
#include "format/StreamFormat.h"

#include <cstdint>

namespace TESSERA {

class Capabilities {
public:
    // Bits of the type word that a FORMAT_REQ selector and the overview speak of.
    static constexpr uint32_t kPcmKinds = 0x0000FF00;
    static constexpr uint32_t kDsdLsb = 0x00100000;
    static constexpr uint32_t kDsdMsb = 0x00200000;

    Capabilities() = default;
    Capabilities(StreamFormat pcm, StreamFormat dsdLsb, StreamFormat dsdMsb)
        : pcmMask(pcm), dsdLsbMask(dsdLsb), dsdMsbMask(dsdMsb) {}

    // PCM 44,100 to 768,000 Hz in both families, 16/24/32-bit integer and 32-bit float, 1/2/8 channels.
    static StreamFormat defaultPcm();
    // 1-bit DSD in 32-bit words of either byte order, DSD64 to DSD512 in both families, 1/2/6/8 channels.
    static StreamFormat defaultDsd(bool lsb);

    // The answer to selector 0: every type and rate bit of the three masks, with the bit-order bits
    // standing only for the DSD masks that are not empty, so that a Host asks for exactly those.
    StreamFormat overview() const;
    // The answer to a FORMAT_REQ selector: the overview, a mask, or an empty mask for a selector we don't
    // know.
    StreamFormat answer(uint64_t selector) const;
    // A concrete, valid format whose every bit is in the mask of its kind.
    bool accepts(StreamFormat format) const;

    StreamFormat pcm() const { return pcmMask; }
    StreamFormat dsdLsb() const { return dsdLsbMask; }
    StreamFormat dsdMsb() const { return dsdMsbMask; }

private:
    StreamFormat pcmMask;
    StreamFormat dsdLsbMask;
    StreamFormat dsdMsbMask;
};

} // namespace TESSERA
