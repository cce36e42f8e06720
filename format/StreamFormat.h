#pragma once
// The 64-bit audio format word: a type word and a rate word, used as a concrete format and as a capability
// mask.
#include <array>
#include <cstdint>

namespace TESSERA {

// The fields and bits of the type word, of a concrete format and of a capability mask alike.
namespace FormatBits {
constexpr uint32_t Channels = 0x000000FF;  // the channel count; in a mask, the counts taken
constexpr uint32_t PcmKinds = 0x0000FF00;  // the PCM sample kinds
constexpr uint32_t DsdKinds = 0x000F0000;  // the DSD sample kinds
constexpr uint32_t Kinds = 0x000FFF00;     // every sample kind
constexpr uint32_t Dsd1Bit = 0x00010000;   // DSD of one bit a sample
constexpr uint32_t Dsd4Bit = 0x00020000;   // DSD of four bits a sample
constexpr uint32_t DsdLsb = 0x00100000;    // DSD bit order: the first sample in the lowest bit
constexpr uint32_t DsdMsb = 0x00200000;    // DSD bit order: the first sample in the highest bit
constexpr uint32_t DsdLittle = 0x00400000; // DSD byte order of a word: little-endian
constexpr uint32_t DsdBig = 0x00800000;    // DSD byte order of a word: big-endian
} // namespace FormatBits

class StreamFormat {
public:
    StreamFormat() = default;
    StreamFormat(uint32_t type, uint32_t rate) : typeWord(type), rateWord(rate) {}
    // The 8-byte wire value: type word in the low half.
    static StreamFormat fromU64(uint64_t value) {
        return StreamFormat(static_cast<uint32_t>(value), static_cast<uint32_t>(value >> 32));
    }
    uint64_t toU64() const {
        return static_cast<uint64_t>(typeWord) | (static_cast<uint64_t>(rateWord) << 32);
    }

    uint32_t type() const { return typeWord; }
    uint32_t rateBits() const { return rateWord; }
    bool isEmpty() const { return typeWord == 0 && rateWord == 0; }
    bool isPcm() const;
    bool isDsd() const;

    uint32_t channels() const;
    uint32_t bytesPerSample() const;
    uint32_t bitsPerSample() const;
    uint32_t bytesPerFrame() const;
    uint32_t rate() const;
    uint32_t bytesPerSecond() const;
    bool setRate(uint64_t rate);
    bool merge(uint32_t newType, uint32_t newRate);
    uint8_t muteByte() const;
    std::array<uint8_t, 8> compactForm(uint16_t value16) const;
    bool isValid() const;

    bool operator==(const StreamFormat& o) const { return typeWord == o.typeWord && rateWord == o.rateWord; }
    bool operator!=(const StreamFormat& o) const { return !(*this == o); }

private:
    uint32_t typeWord = 0;
    uint32_t rateWord = 0;
};

} // namespace TESSERA
