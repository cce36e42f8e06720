#include "tools/signal/TestSignal.h"

#include <cstring>

namespace TESSERA {

// The signal, in integers only so that every machine and compiler produces the same bits:
// - PCM: a tone at -20 dBFS, 220 Hz times (1 + channel % 8), from a fixed-point sine, with the low quarter of
//   the sample's bits (at least 2) replaced by a hash of frame and channel, so that every frame is unique.
//   Float kinds carry the 24-bit (32-bit float) or 32-bit (64-bit float) integer signal divided by 2^23 or
//   2^31, which converts exactly.
// - DSD 1-bit: the same tone through a second-order sigma-delta modulator per channel, 32 samples per word.
// - DSD 4-bit and unknown kinds: the hash bytes.
// A frame that would come out as silence or its complement gets its first byte's lowest bit flipped, so
// neither occurs inside the signal: complemented silence is how silence arrives in inverted phase.

namespace {

constexpr int64_t kOne = int64_t{1} << 30; // Q30

uint64_t hash(uint64_t frame, uint32_t channel) {
    uint64_t z = frame * 0x9E3779B97F4A7C15ull + (static_cast<uint64_t>(channel) + 1) * 0xD1B54A32D192ED03ull;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

// sin(2 pi phase / 2^32) in Q30, from a parabola with one refinement step (error below 0.1%).
int64_t sineQ30(uint32_t phase) {
    const int64_t x =
        static_cast<int64_t>(static_cast<int32_t>(phase)) >> 1; // the angle over pi, Q30: -1 .. 1
    const int64_t ax = x < 0 ? -x : x;
    const int64_t p = (4 * x * (kOne - ax)) >> 30; // sin(pi x) ~ 4x(1 - |x|)
    const int64_t ap = p < 0 ? -p : p;
    return p + ((((p * ap) >> 30) - p) * 225) / 1000; // + 0.225 (p|p| - p)
}

// The tone at -20 dBFS for one frame and channel, in Q30.
int64_t toneQ30(uint64_t frame, uint32_t channel, uint32_t rate) {
    if (rate == 0) return 0;
    const uint64_t frequency = 220u * (1u + channel % 8u);
    const uint64_t inSecond = (frame % rate) * frequency % rate;
    const uint32_t phase = static_cast<uint32_t>((inSecond << 32) / rate);
    return sineQ30(phase) / 10;
}

// The phase of toneQ30 for the samples n, n + 1, ... in turn, the same values without two divisions each:
// the position in the second and the quotient and remainder of the phase are carried from sample to sample.
class TonePhase {
public:
    TonePhase(uint64_t n, uint32_t channel, uint32_t rate)
        : rate(rate), frequency(220u * (1u + channel % 8u)) {
        if (rate == 0) return; // no tone: toneQ30 gives 0
        inSecond = (n % rate) * frequency % rate;
        quotient = (inSecond << 32) / rate;
        remainder = (inSecond << 32) % rate;
        stepQuotient = (frequency << 32) / rate;
        stepRemainder = (frequency << 32) % rate;
    }
    int64_t toneQ30() const { return rate == 0 ? 0 : sineQ30(static_cast<uint32_t>(quotient)) / 10; }
    void next() {
        if (rate == 0) return;
        inSecond += frequency;
        quotient += stepQuotient;
        remainder += stepRemainder;
        if (remainder >= rate) {
            remainder -= rate;
            ++quotient;
        }
        if (inSecond >= rate) { // a whole turn of the second: (rate << 32) / rate leaves no remainder
            inSecond -= rate;
            quotient -= uint64_t{1} << 32;
        }
    }

private:
    uint64_t rate, frequency, inSecond = 0, quotient = 0, remainder = 0, stepQuotient = 0, stepRemainder = 0;
};

// A PCM sample of the given width: the tone scaled to the width with the hash in the low bits.
int64_t pcmSample(uint64_t frame, uint32_t channel, uint32_t rate, uint32_t bits) {
    const uint32_t hashBits = bits / 4 < 2 ? 2 : bits / 4;
    const int64_t tone = bits >= 31 ? toneQ30(frame, channel, rate) * (int64_t{1} << (bits - 31))
                                    : toneQ30(frame, channel, rate) >> (31 - bits);
    const uint64_t mask = (uint64_t{1} << hashBits) - 1;
    return static_cast<int64_t>((static_cast<uint64_t>(tone) & ~mask) | (hash(frame, channel) & mask));
}

void putLE(uint8_t* out, uint64_t value, uint32_t bytes) {
    for (uint32_t i = 0; i < bytes; ++i)
        out[i] = static_cast<uint8_t>(value >> (8 * i));
}

} // namespace

TestSignal::TestSignal(StreamFormat format) : fmt(format) {}

void TestSignal::render(uint64_t first, uint32_t count, uint8_t* out) {
    const uint32_t channels = fmt.channels();
    const uint32_t width = fmt.bytesPerSample();
    const uint32_t frameBytes = fmt.bytesPerFrame();
    const uint32_t kind = fmt.type() & 0x000FFF00u;
    const uint32_t rate = fmt.rate();
    const bool dsd1 = kind == 0x10000u && width == 4;
    if (dsd1 && first != nextFrame) {
        // The modulator has state: run it from the start up to the requested frame.
        modulatorState.assign(2u * channels, 0);
        nextFrame = 0;
        std::vector<uint8_t> scratch(frameBytes);
        while (nextFrame < first)
            render(nextFrame, 1, scratch.data());
    }
    if (dsd1 && modulatorState.size() != 2u * channels) modulatorState.assign(2u * channels, 0);
    const uint8_t mute = fmt.muteByte();
    for (uint32_t f = 0; f < count; ++f) {
        const uint64_t frame = first + f;
        uint8_t* at = out + static_cast<uint64_t>(f) * frameBytes;
        for (uint32_t c = 0; c < channels; ++c) {
            uint8_t* sample = at + c * width;
            if (kind == 0x2000u) {
                const float v = static_cast<float>(pcmSample(frame, c, rate, 24)) / 8388608.0f;
                uint32_t bitsOf;
                std::memcpy(&bitsOf, &v, 4);
                putLE(sample, bitsOf, 4);
            } else if (kind == 0x4000u) {
                const double v = static_cast<double>(pcmSample(frame, c, rate, 32)) / 2147483648.0;
                uint64_t bitsOf;
                std::memcpy(&bitsOf, &v, 8);
                putLE(sample, bitsOf, 8);
            } else if (fmt.isPcm()) {
                putLE(sample, static_cast<uint64_t>(pcmSample(frame, c, rate, width * 8)), width);
            } else if (dsd1) {
                // 32 samples of one channel, earliest first; bit order and byte order lay them out.
                int64_t& i1 = modulatorState[2 * c];
                int64_t& i2 = modulatorState[2 * c + 1];
                uint32_t word = 0;
                const bool lsbFirst = (fmt.type() & FormatBits::DsdLsb) != 0;
                TonePhase tone(frame * 32, c, rate); // toneQ30 of each sample, with less arithmetic
                for (uint32_t k = 0; k < 32; ++k, tone.next()) {
                    const int64_t x = tone.toneQ30() * 2; // -20 dB of the modulator's full scale
                    const int64_t y = i2 >= 0 ? kOne : -kOne;
                    i1 += x - y;
                    i2 += i1 - y;
                    if (y > 0) word |= lsbFirst ? (1u << k) : (0x80000000u >> k);
                }
                const bool little = (fmt.type() & 0x00400000u) != 0;
                for (uint32_t b = 0; b < 4; ++b)
                    sample[b] = static_cast<uint8_t>(word >> (8 * (little ? b : 3 - b)));
            } else {
                putLE(sample, hash(frame, c), width);
            }
        }
        bool silent = true, silentInverted = true;
        for (uint32_t i = 0; i < frameBytes && (silent || silentInverted); ++i) {
            silent = silent && at[i] == mute;
            silentInverted = silentInverted && at[i] == static_cast<uint8_t>(~mute);
        }
        if ((silent || silentInverted) && frameBytes) at[0] ^= 1;
    }
    if (dsd1) nextFrame = first + count;
}

} // namespace TESSERA
