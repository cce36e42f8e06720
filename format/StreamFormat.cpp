#include "format/StreamFormat.h"

#include "BRINA/LittleEndian.h"

namespace TESSERA {

namespace {

constexpr uint32_t kUpperType =
    0xFFFFFF00;                    // everything a sample kind brings: kind, bit order, byte order, word size
constexpr uint32_t kWord32 = 0x02; // the word size field of 32-bit DSD words
constexpr uint32_t kRateCode = 0x0000FFFF;
constexpr uint32_t kSmallestDsdRate = 2822400;

struct RateCode {
    uint32_t hz;
    uint16_t code;
};

// Every rate the system streams, with the low half of its rate word.
constexpr RateCode kRates[] = {
    {8000, 0x0001},      {44100, 0x000A},     {48000, 0x000C},    {88200, 0x0012},    {96000, 0x0014},
    {176400, 0x0022},    {192000, 0x0024},    {352800, 0x0042},   {384000, 0x0044},   {705600, 0x0082},
    {768000, 0x0084},    {1411200, 0x0102},   {1536000, 0x0104},  {2822400, 0x0202},  {3072000, 0x0204},
    {5644800, 0x0402},   {6144000, 0x0404},   {11289600, 0x0802}, {12288000, 0x0804}, {22579200, 0x1002},
    {24576000, 0x1004},  {45158400, 0x2002},  {49152000, 0x2004}, {90316800, 0x4002}, {98304000, 0x4004},
    {180633600, 0x8002}, {196608000, 0x8004},
};

struct ChannelCode {
    uint32_t code;
    uint32_t channels;
};

constexpr ChannelCode kChannelCodes[] = {{1, 1}, {2, 2}, {4, 4}, {8, 6}, {16, 8}, {32, 16}};

struct SampleKind {
    uint32_t kind;
    uint32_t bytes;
    uint32_t bits;
};

// PCM kinds; the DSD kinds take their storage from the word size field.
constexpr SampleKind kPcmKinds[] = {
    {0x100, 1, 8},   {0x200, 2, 16},  {0x400, 3, 24},  {0x800, 4, 32},
    {0x1000, 8, 64}, {0x2000, 4, 32}, {0x4000, 8, 64},
};

const ChannelCode* channelCode(uint32_t code) {
    for (const auto& c : kChannelCodes)
        if (c.code == code) return &c;
    return nullptr;
}

bool isDsdKind(uint32_t kind) {
    return kind == 0x10000 || kind == 0x20000;
}

const SampleKind* pcmKind(uint32_t kind) {
    for (const auto& k : kPcmKinds)
        if (k.kind == kind) return &k;
    return nullptr;
}

bool exactlyOne(uint32_t word, uint32_t a, uint32_t b) {
    return ((word & a) != 0) != ((word & b) != 0);
}

} // namespace

bool StreamFormat::isPcm() const {
    return (typeWord & FormatBits::PcmKinds) != 0;
}

bool StreamFormat::isDsd() const {
    return !isPcm() && (typeWord & FormatBits::DsdKinds) != 0;
}

uint32_t StreamFormat::channels() const {
    const ChannelCode* c = channelCode(typeWord & FormatBits::Channels);
    return c ? c->channels : 2; // an unknown code still gives the arithmetic a usable count
}

uint32_t StreamFormat::bytesPerSample() const {
    const uint32_t kind = typeWord & FormatBits::Kinds;
    if (const SampleKind* k = pcmKind(kind)) return k->bytes;
    if (isDsdKind(kind)) return (typeWord >> 24) == kWord32 ? 4 : 2;
    return 2;
}

uint32_t StreamFormat::bitsPerSample() const {
    const uint32_t kind = typeWord & FormatBits::Kinds;
    if (const SampleKind* k = pcmKind(kind)) return k->bits;
    if (kind == 0x10000) return 1;
    if (kind == 0x20000) return 4;
    return 16;
}

uint32_t StreamFormat::bytesPerFrame() const {
    return bytesPerSample() * channels();
}

uint32_t StreamFormat::rate() const {
    const uint32_t family = rateWord & 0x7;
    const uint32_t multiplier = (rateWord & 0xFFF8) >> 3;
    if (family == 1 && multiplier == 0) return 8000;
    const bool oneMultiplier = multiplier != 0 && (multiplier & (multiplier - 1)) == 0;
    if (!oneMultiplier) return 0;
    if (family == 2) return 44100 * multiplier;
    if (family == 4) return 48000 * multiplier;
    return 0;
}

uint32_t StreamFormat::bytesPerSecond() const {
    return (bitsPerSample() * channels() * rate()) >> 3;
}

bool StreamFormat::setRate(uint64_t rate) {
    for (const auto& r : kRates) {
        if (r.hz != rate) continue;
        rateWord = (rateWord & ~kRateCode) | r.code;
        return true;
    }
    return false;
}

bool StreamFormat::merge(uint32_t newType, uint32_t newRate) {
    bool changed = false;
    if ((newType & FormatBits::Channels) != 0) {
        typeWord &= ~FormatBits::Channels;
        changed = true;
    }
    if ((newType & kUpperType) != 0) {
        typeWord &= ~kUpperType;
        changed = true;
    }
    if ((newRate & kRateCode) != 0) {
        rateWord &= ~kRateCode;
        changed = true;
    }
    if (!changed) return false;
    typeWord |= newType;
    rateWord |= newRate;
    return true;
}

uint8_t StreamFormat::muteByte() const {
    if ((typeWord & FormatBits::DsdKinds) == 0) return 0;
    return (typeWord & FormatBits::DsdLsb) ? 0x69 : 0x96;
}

std::array<uint8_t, 8> StreamFormat::compactForm(uint16_t value16) const {
    const uint32_t kind = typeWord & FormatBits::Kinds;
    uint8_t sampleClass = 4;
    if (kind == 0x2000 || kind == 0x4000)
        sampleClass = 2;
    else if (isDsdKind(kind))
        sampleClass = 8;
    else if (typeWord & FormatBits::PcmKinds)
        sampleClass = 1;
    std::array<uint8_t, 8> out{};
    out[0] = static_cast<uint8_t>(typeWord & FormatBits::Channels);
    out[1] = sampleClass;
    BRINA::writeLE16(out.data() + 2, value16);
    BRINA::writeLE32(out.data() + 4, rateWord);
    return out;
}

bool StreamFormat::isValid() const {
    if (!channelCode(typeWord & FormatBits::Channels)) return false;
    const uint32_t kind = typeWord & FormatBits::Kinds;
    if (pcmKind(kind)) return typeWord < FormatBits::DsdLsb;
    if (!isDsdKind(kind)) return false;
    return exactlyOne(typeWord, FormatBits::DsdLsb, FormatBits::DsdMsb) &&
           exactlyOne(typeWord, FormatBits::DsdLittle, FormatBits::DsdBig) && (typeWord >> 24) == kWord32 &&
           rate() >= kSmallestDsdRate;
}

} // namespace TESSERA
