#include "tools/common/FormatText.h"

#include <charconv>
#include <cstdio>
#include <vector>

namespace TESSERA {

namespace {

struct Name {
    const char* text;
    uint32_t bits;
};

constexpr Name kChannels[] = {{"1", 0x01}, {"2", 0x02}, {"4", 0x04}, {"6", 0x08}, {"8", 0x10}, {"16", 0x20}};
constexpr Name kPcmSamples[] = {{"8", 0x100},   {"16", 0x200},   {"24", 0x400},  {"32", 0x800},
                                {"64", 0x1000}, {"f32", 0x2000}, {"f64", 0x4000}};
constexpr Name kByteOrders[] = {{"little", FormatBits::DsdLittle}, {"big", FormatBits::DsdBig}};
constexpr uint32_t kDsdWord = FormatBits::Dsd1Bit | 0x02000000; // 1 bit per sample in 32-bit words
constexpr uint32_t kSmallestDsdRate = 2822400;

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (;;) {
        const size_t end = text.find(separator, start);
        parts.push_back(text.substr(start, end == std::string::npos ? std::string::npos : end - start));
        if (end == std::string::npos) return parts;
        start = end + 1;
    }
}

bool number(const std::string& text, uint64_t& value, int base = 10) {
    const char* first = text.data();
    const char* last = first + text.size();
    if (base == 16 && text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) first += 2;
    const auto result = std::from_chars(first, last, value, base);
    return first != last && result.ec == std::errc() && result.ptr == last;
}

// The OR of the named bits of a comma list; false at the first unknown name.
template <size_t N>
bool namedBits(const std::string& list, const Name (&names)[N], const char* what, uint32_t& bits,
               std::string& error) {
    bits = 0;
    for (const std::string& item : split(list, ',')) {
        bool known = false;
        for (const Name& name : names)
            if (item == name.text) {
                bits |= name.bits;
                known = true;
            }
        if (!known) {
            error = std::string("unknown ") + what + " \"" + item + "\"";
            return false;
        }
    }
    return true;
}

// The OR of the rate codes of a comma list; dsdMultiples reads small numbers as DSD64, DSD128 and so on.
bool rateBits(const std::string& list, bool dsdMultiples, uint32_t& bits, std::string& error) {
    bits = 0;
    for (const std::string& item : split(list, ',')) {
        uint64_t value = 0;
        if (!number(item, value)) {
            error = "rate \"" + item + "\" is not a number";
            return false;
        }
        if (dsdMultiples && value < kSmallestDsdRate) value *= 44100;
        StreamFormat probe;
        if (!probe.setRate(value) || (dsdMultiples && value < kSmallestDsdRate)) {
            error = "no such rate: " + item;
            return false;
        }
        bits |= probe.rateBits();
    }
    return true;
}

// The names whose bits are all in bits, parted by commas.
template <size_t N> std::string namesOf(uint32_t bits, const Name (&names)[N]) {
    std::string list;
    for (const Name& name : names)
        if ((bits & name.bits) == name.bits) list += (list.empty() ? "" : ",") + std::string(name.text);
    return list;
}

// The rates whose codes are all in rateWord, in Hz or as DSD multiples of 44,100 Hz.
std::string ratesOf(uint32_t rateWord, bool dsdMultiples) {
    constexpr uint32_t kHz[] = {8000,     44100,    48000,    88200,    96000,     176400,   192000,
                                352800,   384000,   705600,   768000,   1411200,   1536000,  2822400,
                                3072000,  5644800,  6144000,  11289600, 12288000,  22579200, 24576000,
                                45158400, 49152000, 90316800, 98304000, 180633600, 196608000};
    std::string list;
    for (uint32_t hz : kHz) {
        StreamFormat probe;
        if (!probe.setRate(hz) || (rateWord & probe.rateBits()) != probe.rateBits()) continue;
        if (dsdMultiples && hz < kSmallestDsdRate) continue;
        const std::string text =
            dsdMultiples && hz % 44100 == 0 ? std::to_string(hz / 44100) : std::to_string(hz);
        list += (list.empty() ? "" : ",") + text;
    }
    return list;
}

// The three fields of "A:B:C", or "none" for an empty mask.
bool fields(const std::string& text, std::vector<std::string>& parts, std::string& error) {
    parts = split(text, ':');
    if (parts.size() == 3) return true;
    error = "\"" + text + "\" is not RATES:...:CHANNELS";
    return false;
}

} // namespace

bool FormatText::parsePcm(const std::string& text, StreamFormat& mask, std::string& error) {
    if (text == "none") {
        mask = StreamFormat();
        return true;
    }
    std::vector<std::string> parts;
    uint32_t rates = 0, samples = 0, channels = 0;
    if (!fields(text, parts, error) || !rateBits(parts[0], false, rates, error) ||
        !namedBits(parts[1], kPcmSamples, "sample kind", samples, error) ||
        !namedBits(parts[2], kChannels, "channel count", channels, error))
        return false;
    mask = StreamFormat(samples | channels, rates);
    return true;
}

bool FormatText::parseDsd(const std::string& text, bool lsb, StreamFormat& mask, std::string& error) {
    if (text == "none") {
        mask = StreamFormat();
        return true;
    }
    std::vector<std::string> parts;
    uint32_t rates = 0, orders = 0, channels = 0;
    if (!fields(text, parts, error) || !rateBits(parts[0], true, rates, error) ||
        !namedBits(parts[1], kByteOrders, "byte order", orders, error) ||
        !namedBits(parts[2], kChannels, "channel count", channels, error))
        return false;
    mask =
        StreamFormat(kDsdWord | (lsb ? FormatBits::DsdLsb : FormatBits::DsdMsb) | orders | channels, rates);
    return true;
}

bool FormatText::parseConcrete(const std::string& text, StreamFormat& format, std::string& error) {
    if (text.rfind("dsd:", 0) == 0) return parseDsd(text.substr(4), true, format, error);
    return parsePcm(text, format, error);
}

bool FormatText::parseWords(const std::string& text, StreamFormat& mask, std::string& error) {
    const std::vector<std::string> parts = split(text, ',');
    uint64_t type = 0, rate = 0;
    if (parts.size() != 2 || !number(parts[0], type, 16) || !number(parts[1], rate, 16) ||
        type > 0xFFFFFFFFu || rate > 0xFFFFFFFFu) {
        error = "\"" + text + "\" is not TYPE,RATE in hexadecimal";
        return false;
    }
    mask = StreamFormat(static_cast<uint32_t>(type), static_cast<uint32_t>(rate));
    return true;
}

std::string FormatText::describe(StreamFormat format) {
    if (!format.isValid()) return "invalid format " + words(format);
    const uint32_t type = format.type();
    const std::string channels = " " + std::to_string(format.channels()) + " ch";
    if (format.isPcm()) {
        const bool floating = (type & 0x6000) != 0;
        return "PCM " + std::to_string(format.bitsPerSample()) + (floating ? "-bit float " : "-bit ") +
               std::to_string(format.rate()) + " Hz" + channels;
    }
    const uint32_t rate = format.rate();
    const std::string multiple =
        rate % 44100 == 0 ? std::to_string(rate / 44100) : std::to_string(rate / 48000) + "x48k";
    return std::string((type & FormatBits::Dsd4Bit) ? "DSD4-bit " : "DSD") + multiple +
           ((type & FormatBits::DsdLsb) ? " LSB" : " MSB") +
           ((type & FormatBits::DsdLittle) ? " little" : " big") + channels;
}

std::string FormatText::describeMask(StreamFormat mask) {
    if (mask.isEmpty()) return "nothing";
    const uint32_t type = mask.type();
    const std::string channels = "; " + namesOf(type & FormatBits::Channels, kChannels) + " ch";
    if ((type & FormatBits::DsdKinds) == 0)
        return "PCM " + ratesOf(mask.rateBits(), false) + " Hz; " + namesOf(type, kPcmSamples) + channels;
    const std::string order = (type & FormatBits::DsdLsb) ? " LSB" : " MSB";
    return "DSD" + ratesOf(mask.rateBits(), true) + order + " " + namesOf(type, kByteOrders) + channels;
}

std::string FormatText::words(StreamFormat format) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%08X,0x%08X", format.type(), format.rateBits());
    return text;
}

} // namespace TESSERA
