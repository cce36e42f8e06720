// The format side of the Sync session: which formats the Target takes, and how the host's bytes become its.
#include "BRINA/LogStream.h"
#include "transport/Sync.h"

namespace TESSERA {

namespace {

constexpr uint32_t kWords32 = 0x02000000; // bit 25 of a mask: the Target takes 32-bit DSD words

// The four DSD sink formats: 1 bit per sample in 32-bit words, by bit order and byte order.
constexpr uint32_t kLsbLittle = 0x2510000;
constexpr uint32_t kLsbBig = 0x2910000;
constexpr uint32_t kMsbLittle = 0x2610000;
constexpr uint32_t kMsbBig = 0x2A10000;

bool covers(const StreamFormat& mask, uint32_t typeWord, uint32_t rateWord) {
    return (typeWord & ~mask.type()) == 0 && (rateWord & ~mask.rateBits()) == 0;
}

struct Conversion {
    uint32_t newType;
    const char* logLine;
    CopyRoutine routine;
};

// Indexed by [source LSB][source little]: keep the bit order, change the byte order.
constexpr Conversion kSameOrder[2][2] = {
    {{kMsbLittle, "DSD COVERT MSB Big -> MSB littele", copySwap},
     {kMsbBig, "DSD COVERT MSB littele -> MSB Big", copySwap}},
    {{kLsbLittle, "DSD COVERT LSB Big -> LSB littele", copySwap},
     {kLsbBig, "DSD COVERT LSB littele -> LSB Big", copySwap}},
};

// Indexed by [source LSB][source little]: the other bit order with the other byte order, bytes in place.
constexpr Conversion kOtherOrderBytesKept[2][2] = {
    {{kLsbLittle, "DSD COVERT MSB Big -> LSB littele", copyReverse},
     {kLsbBig, "DSD COVERT MSB littele -> LSB Big", copyReverse}},
    {{kMsbLittle, "DSD COVERT LSB Big -> MSB littele", copyReverse},
     {kMsbBig, "DSD COVERT LSB littele -> MSB Big", copyReverse}},
};

// Indexed by [source LSB][source little]: the other bit order with the same byte order, all 32 bits turned.
constexpr Conversion kOtherOrderBytesTurned[2][2] = {
    {{kLsbBig, "DSD COVERT MSB Big -> LSB Big", copySwapReverse},
     {kLsbLittle, "DSD COVERT MSB littele -> LSB littele", copySwapReverse}},
    {{kMsbBig, "DSD COVERT LSB Big -> MSB Big", copySwapReverse},
     {kMsbLittle, "DSD COVERT LSB littele -> MSB littele", copySwapReverse}},
};

} // namespace

bool Sync::canFormat(uint32_t typeWord, uint32_t rateWord) const {
    if (typeWord & FormatBits::PcmKinds) return covers(pcmMask, typeWord, rateWord);
    if ((typeWord & FormatBits::DsdKinds) == 0) return false;
    if (typeWord & FormatBits::DsdLsb) return covers(dsdLsbMask, typeWord, rateWord);
    if (typeWord & FormatBits::DsdMsb) return covers(dsdMsbMask, typeWord, rateWord);
    // No bit order, as in a question by rate alone: either DSD mask will do.
    const StreamFormat either(dsdLsbMask.type() | dsdMsbMask.type(),
                              dsdLsbMask.rateBits() | dsdMsbMask.rateBits());
    return covers(either, typeWord, rateWord);
}

bool Sync::selectFormat(uint32_t typeWord, uint32_t rateWord) {
    if (canFormat(typeWord, rateWord)) {
        copyRoutine = copyPlain;
        sourceFormat = sinkFormat = StreamFormat(typeWord, rateWord);
        return true;
    }
    const uint32_t kind = typeWord & FormatBits::Kinds;
    if (kind != FormatBits::Dsd1Bit && kind != FormatBits::Dsd4Bit) return false;
    if (((dsdLsbMask.type() | dsdMsbMask.type()) & FormatBits::Dsd1Bit) == 0) return false;
    const StreamFormat source(typeWord, rateWord);
    if (source.bytesPerSample() != 4) return false;

    const bool lsb = (typeWord & FormatBits::DsdLsb) != 0;
    const bool little = (typeWord & FormatBits::DsdLittle) != 0;
    const StreamFormat& sameMask = lsb ? dsdLsbMask : dsdMsbMask;
    const StreamFormat& otherMask = lsb ? dsdMsbMask : dsdLsbMask;
    const Conversion* conversion = nullptr;
    if (sameMask.type() & kWords32)
        conversion = &kSameOrder[lsb][little];
    else if (!(otherMask.type() & kWords32))
        return false;
    else if (otherMask.type() & (little ? FormatBits::DsdBig : FormatBits::DsdLittle))
        conversion = &kOtherOrderBytesKept[lsb][little];
    else
        conversion = &kOtherOrderBytesTurned[lsb][little];

    StreamFormat sink = source;
    sink.merge(conversion->newType, 0);
    // Logged before the Target's answer is known: the line may stand ahead of a refusal.
    BRINA::LogStream(6, conversion->logLine);
    if (!canFormat(sink.type(), sink.rateBits())) return false;
    copyRoutine = conversion->routine;
    sinkFormat = sink;
    sourceFormat = source;
    return true;
}

void Sync::setPlayPhase(bool hostInvert, bool targetInvert) {
    BRINA::LogStream(6, "Host Phase ") << (hostInvert ? "Invert" : "Normal");
    const bool invert = hostInvert != targetInvert;
    BRINA::LogStream(6, "Play Phase ") << (invert ? "Invert" : "Normal");
    if (copyRoutine == copySwap || copyRoutine == copySwapInverted)
        copyRoutine = invert ? copySwapInverted : copySwap;
    else if (copyRoutine == copySwapReverse || copyRoutine == copySwapReverseInverted)
        copyRoutine = invert ? copySwapReverseInverted : copySwapReverse;
    else if (copyRoutine == copyReverse || copyRoutine == copyReverseInverted)
        copyRoutine = invert ? copyReverseInverted : copyReverse;
    else
        copyRoutine = invert ? copyPlainInverted : copyPlain;
}

} // namespace TESSERA
