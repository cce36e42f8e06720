// The WAV reader on any file: it never crashes, and what it accepts is a format the stream carries whose
// frames it reads without running past the file.
#include "tools/source/WavReader.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = "/tmp/tessera-wavfuzz-" + std::to_string(getpid()) + ".wav";
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) return 0;
    std::fwrite(data, 1, size, file);
    std::fclose(file);
    TESSERA::WavReader reader;
    std::string error;
    const bool opened = reader.open(path, error);
    std::remove(path.c_str()); // the open file stays readable; nothing is left behind when the fuzzer ends
    if (!opened) {
        if (error.empty()) std::abort(); // a refusal always says why
        return 0;
    }
    const TESSERA::StreamFormat format = reader.format();
    if (!format.isPcm() || format.rate() == 0 || reader.totalFrames() * format.bytesPerFrame() > size)
        std::abort();
    std::vector<uint8_t> frames(format.bytesPerFrame() * 64);
    uint64_t read = 0;
    while (uint32_t got = reader.read(frames.data(), 64))
        read += got;
    if (read != reader.totalFrames()) std::abort();
    return 0;
}
