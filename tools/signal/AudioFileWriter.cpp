#include "tools/signal/AudioFileWriter.h"

#include <algorithm>
#include <cstring>

namespace TESSERA {

namespace {

constexpr uint32_t kWavHeaderBytes = 68; // RIFF, fmt chunk of 40 bytes (extensible), data chunk head

void le16(uint8_t* p, uint32_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}
void le32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<uint8_t>(v >> (8 * i));
}

// The speaker positions of the usual layouts; other counts leave the mask empty.
uint32_t channelMask(uint32_t channels) {
    switch (channels) {
    case 1:
        return 0x4;
    case 2:
        return 0x3;
    case 4:
        return 0x33;
    case 6:
        return 0x3F;
    case 8:
        return 0x63F;
    default:
        return 0;
    }
}

void wavHeader(uint8_t* h, StreamFormat fmt, uint64_t dataBytes) {
    const uint32_t channels = fmt.channels();
    const uint32_t width = fmt.bytesPerSample();
    const bool isFloat = (fmt.type() & 0x6000u) != 0;
    const uint32_t data = static_cast<uint32_t>(dataBytes);
    std::memcpy(h, "RIFF", 4);
    le32(h + 4, kWavHeaderBytes - 8 + data + (data & 1u)); // an odd data chunk is followed by a pad byte
    std::memcpy(h + 8, "WAVEfmt ", 8);
    le32(h + 16, 40);
    le16(h + 20, 0xFFFE); // WAVE_FORMAT_EXTENSIBLE
    le16(h + 22, channels);
    le32(h + 24, fmt.rate());
    le32(h + 28, fmt.rate() * width * channels);
    le16(h + 32, width * channels);
    le16(h + 34, width * 8);
    le16(h + 36, 22);
    le16(h + 38, width * 8); // valid bits
    le32(h + 40, channelMask(channels));
    // Sub-format GUID: 1 (integer PCM) or 3 (IEEE float), then 00000000-0010-8000-00AA00389B71.
    static const uint8_t tail[14] = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                     0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
    le16(h + 44, isFloat ? 3 : 1);
    std::memcpy(h + 46, tail, 14);
    std::memcpy(h + 60, "data", 4);
    le32(h + 64, data);
}

} // namespace

AudioFileWriter::~AudioFileWriter() {
    close();
}

bool AudioFileWriter::open(const std::string& p, StreamFormat format) {
    close();
    path = p;
    fmt = format;
    written = 0;
    failed = false;
    file = std::fopen(path.c_str(), "wb");
    if (!file) return false;
    if (fmt.isPcm()) {
        uint8_t header[kWavHeaderBytes];
        wavHeader(header, fmt, 0);
        failed = std::fwrite(header, 1, sizeof header, file) != sizeof header;
    }
    return !failed;
}

bool AudioFileWriter::write(const uint8_t* bytes, uint32_t size) {
    if (!file || failed) return false;
    // A WAV file counts its data in 32 bits: refuse what it cannot describe rather than corrupt it.
    if (fmt.isPcm() && written + size > 0xFFFFFFFFull - kWavHeaderBytes) {
        failed = true;
        return false;
    }
    if (fmt.isPcm() && fmt.bytesPerSample() == 1) {
        // Our 8-bit samples are signed (silence is 0); a WAV file's are unsigned (silence is 0x80).
        uint8_t shifted[4096];
        for (uint32_t done = 0; done < size && !failed;) {
            const uint32_t n = std::min<uint32_t>(size - done, sizeof shifted);
            for (uint32_t i = 0; i < n; ++i)
                shifted[i] = static_cast<uint8_t>(bytes[done + i] ^ 0x80u);
            failed = std::fwrite(shifted, 1, n, file) != n;
            done += n;
        }
    } else {
        failed = std::fwrite(bytes, 1, size, file) != size;
    }
    if (!failed) written += size;
    return !failed;
}

bool AudioFileWriter::close() {
    if (!file) return !failed;
    if (fmt.isPcm()) {
        uint8_t header[kWavHeaderBytes];
        wavHeader(header, fmt, written);
        if ((written & 1u) != 0) failed = failed || std::fputc(0, file) == EOF;
        failed = failed || std::fseek(file, 0, SEEK_SET) != 0 ||
                 std::fwrite(header, 1, sizeof header, file) != sizeof header;
    }
    failed = std::fclose(file) != 0 || failed;
    file = nullptr;
    if (!fmt.isPcm()) {
        const uint32_t t = fmt.type();
        if (std::FILE* json = std::fopen((path + ".json").c_str(), "w")) {
            std::fprintf(json,
                         "{\n  \"format\": \"0x%08X\",\n  \"rate\": %u,\n  \"channels\": %u,\n  "
                         "\"bitOrder\": \"%s\",\n"
                         "  \"byteOrder\": \"%s\",\n  \"wordBytes\": %u,\n  \"bytes\": %llu\n}\n",
                         t, fmt.rate(), fmt.channels(), (t & FormatBits::DsdLsb) ? "LSB" : "MSB",
                         (t & 0x00400000u) ? "little" : "big", fmt.bytesPerSample(),
                         static_cast<unsigned long long>(written));
            failed = std::fclose(json) != 0 || failed;
        } else {
            failed = true;
        }
    }
    return !failed;
}

} // namespace TESSERA
