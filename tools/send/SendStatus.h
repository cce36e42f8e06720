#pragma once
// The sender's live status: frames handed to the stream, time, format, and the warnings of the log.
#include <cstdint>
#include <string>

namespace TESSERA {

struct SendProgress {
    std::string format;      // the format in words, as it goes on the wire
    uint64_t frames = 0;     // frames of the source handed to the stream so far
    double elapsed = 0;      // seconds since play
    double total = 0;        // seconds planned; 0: without end
    uint32_t warnings = 0;   // log lines of level 4 or worse so far
    std::string lastWarning; // the latest of them
};

class SendStatus {
public:
    // One line without line end, e.g. "streaming PCM 16-bit 44100 Hz 2 ch | 3.0 / 10.0 s | 132300 frames".
    static std::string text(const SendProgress& progress);
    // A log line in words where its meaning is known ("over time 1198 ..." is "sent 1198 us late"),
    // else the line itself.
    static std::string explain(const std::string& logLine);
};

} // namespace TESSERA
