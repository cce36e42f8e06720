#include "tools/source/WavReader.h"

#include <cerrno>
#include <cstring>

namespace TESSERA {

namespace {

uint32_t le16(const uint8_t* p) {
    return p[0] | (uint32_t{p[1]} << 8);
}
uint32_t le32(const uint8_t* p) {
    return le16(p) | (le16(p + 2) << 16);
}

constexpr uint32_t kFormatPcm = 1, kFormatFloat = 3, kFormatExtensible = 0xFFFE;

// The sample kind bits of the type word for a WAV sample; 0 when the stream has no such kind.
uint32_t sampleKind(bool isFloat, uint32_t bits) {
    if (isFloat) return bits == 32 ? 0x2000 : bits == 64 ? 0x4000 : 0;
    switch (bits) {
    case 8:
        return 0x100;
    case 16:
        return 0x200;
    case 24:
        return 0x400;
    case 32:
        return 0x800;
    default:
        return 0;
    }
}

uint32_t channelCode(uint32_t channels) {
    switch (channels) {
    case 1:
        return 1;
    case 2:
        return 2;
    case 4:
        return 4;
    case 6:
        return 8;
    case 8:
        return 16;
    case 16:
        return 32;
    default:
        return 0;
    }
}

} // namespace

WavReader::~WavReader() {
    close();
}

void WavReader::close() {
    if (file) std::fclose(file);
    file = nullptr;
}

bool WavReader::open(const std::string& path, std::string& error) {
    close();
    done = 0;
    readFailed = false;
    file = std::fopen(path.c_str(), "rb");
    if (!file) {
        error = "can't open " + path + ": " + std::strerror(errno);
        return false;
    }
    if (!parse(error)) {
        error = path + ": " + error;
        close();
        return false;
    }
    return true;
}

bool WavReader::parse(std::string& error) {
    uint8_t head[12];
    if (std::fread(head, 1, 12, file) != 12 || std::memcmp(head, "RIFF", 4) != 0 ||
        std::memcmp(head + 8, "WAVE", 4) != 0) {
        error = "not a WAV file (no RIFF/WAVE header)";
        return false;
    }
    bool haveFormat = false;
    uint32_t channels = 0, bits = 0, blockAlign = 0, rate = 0;
    bool isFloat = false;
    uint32_t dataBytes = 0;
    for (;;) {
        uint8_t chunk[8];
        if (std::fread(chunk, 1, 8, file) != 8) {
            error = "no audio (data chunk) in the file";
            return false;
        }
        const uint32_t size = le32(chunk + 4);
        if (std::memcmp(chunk, "fmt ", 4) == 0) {
            uint8_t f[40] = {};
            if (size < 16 || std::fread(f, 1, size < 40 ? size : 40, file) != (size < 40 ? size : 40)) {
                error = "the format chunk is cut short";
                return false;
            }
            const uint64_t rest = uint64_t{size} - (size < 40 ? size : 40) + (size & 1);
            if (rest != 0 && std::fseek(file, static_cast<long>(rest), SEEK_CUR) != 0) {
                error = "the format chunk runs past the end of the file";
                return false;
            }
            uint32_t tag = le16(f);
            if (tag == kFormatExtensible) {
                if (size < 40) {
                    error = "the extensible format chunk is cut short";
                    return false;
                }
                tag = le16(f + 24); // the first two bytes of the sub-format GUID
            }
            if (tag != kFormatPcm && tag != kFormatFloat) {
                error = "sample coding " + std::to_string(tag) + " is neither integer PCM nor float";
                return false;
            }
            isFloat = tag == kFormatFloat;
            channels = le16(f + 2);
            rate = le32(f + 4);
            blockAlign = le16(f + 12);
            bits = le16(f + 14);
            haveFormat = true;
        } else if (std::memcmp(chunk, "data", 4) == 0) {
            if (!haveFormat) {
                error = "the audio comes before its format chunk";
                return false;
            }
            dataBytes = size;
            break;
        } else if (std::fseek(file, static_cast<long>(uint64_t{size} + (size & 1)), SEEK_CUR) != 0) {
            error = "a chunk runs past the end of the file";
            return false;
        }
    }
    const uint32_t kind = sampleKind(isFloat, bits), code = channelCode(channels);
    if (kind == 0) {
        error = std::to_string(bits) + (isFloat ? "-bit float" : "-bit integer") +
                " samples: the stream takes integers of 8, 16, 24 or 32 bits, or floats of 32 or 64";
        return false;
    }
    if (code == 0) {
        error = std::to_string(channels) + " channels: the stream takes 1, 2, 4, 6, 8 or 16";
        return false;
    }
    if (blockAlign != channels * bits / 8) {
        error = "frames of " + std::to_string(blockAlign) + " bytes don't match " + std::to_string(channels) +
                " channels of " + std::to_string(bits) + " bits";
        return false;
    }
    fmt = StreamFormat(kind | code, 0);
    if (!fmt.setRate(rate)) {
        error = "a rate of " + std::to_string(rate) + " Hz is not one the stream carries";
        return false;
    }
    // A data size that runs past the end of the file (a recording cut short, or a size left open) is
    // read up to the end.
    const long start = std::ftell(file);
    std::fseek(file, 0, SEEK_END);
    const long end = std::ftell(file);
    std::fseek(file, start, SEEK_SET);
    const uint64_t available = end > start ? static_cast<uint64_t>(end - start) : 0;
    total = (dataBytes < available ? dataBytes : available) / blockAlign;
    unsignedBytes = bits == 8;
    return true;
}

uint32_t WavReader::read(uint8_t* out, uint32_t count) {
    if (!file || done >= total) return 0;
    if (count > total - done) count = static_cast<uint32_t>(total - done);
    const uint32_t frameBytes = fmt.bytesPerFrame();
    const size_t got = std::fread(out, frameBytes, count, file);
    if (got < count) readFailed = true;
    if (unsignedBytes)
        for (size_t i = 0; i < got * frameBytes; ++i)
            out[i] ^= 0x80;
    done += got;
    return static_cast<uint32_t>(got);
}

} // namespace TESSERA
