#pragma once
// Formats and capability masks in words: read from a user's text, and written for logs and reports.
#include "format/StreamFormat.h"

#include <string>

namespace TESSERA {

class FormatText {
public:
    // "RATES:SAMPLES:CHANNELS", e.g. "44100,48000:16,24,f32:2,8", or "none". Rates in Hz; samples 8, 16,
    // 24, 32, 64 (integer), f32, f64; channels 1, 2, 4, 6, 8, 16.
    static bool parsePcm(const std::string& text, StreamFormat& mask, std::string& error);
    // "RATES:BYTEORDERS:CHANNELS", e.g. "64,128:little,big:2", or "none", for the mask of one bit order.
    // Rates as DSD multiples of 44,100 Hz (64 is 2,822,400 Hz) or in Hz; 1-bit DSD in 32-bit words.
    static bool parseDsd(const std::string& text, bool lsb, StreamFormat& mask, std::string& error);
    // A concrete format: RATE:SAMPLES:CHANNELS for PCM, or dsd:RATE:ORDER:CHANNELS for DSD of bit order LSB.
    static bool parseConcrete(const std::string& text, StreamFormat& format, std::string& error);
    // "TYPE,RATE": the two words in hexadecimal, e.g. "0x2E13,0xFE".
    static bool parseWords(const std::string& text, StreamFormat& mask, std::string& error);

    // A concrete format in words, e.g. "PCM 24-bit 96000 Hz 2 ch" or "DSD128 LSB little 2 ch".
    static std::string describe(StreamFormat format);
    // A mask in words, e.g. "PCM 44100,48000 Hz; 16,24,f32; 2,8 ch" or "DSD64,128 LSB little; 2 ch";
    // "nothing" for an empty mask.
    static std::string describeMask(StreamFormat mask);
    // The two words in hexadecimal, e.g. "0x00002E13,0x000000FE".
    static std::string words(StreamFormat format);
};

} // namespace TESSERA
