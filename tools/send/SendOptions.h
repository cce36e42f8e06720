#pragma once
// The command line of tessera-send: the Target, the source, the duration, the plan and the worker's
// settings, named after the driver's own settings where it has them.
#include "BRINA/Network/IPAddress.h"
#include "format/StreamFormat.h"
#include "transport/SessionSetup.h"

#include <cstdint>
#include <string>
#include <vector>

namespace TESSERA {

class SendOptions {
public:
    using Mode = PlanMode;

    // Reads the arguments after the program name; false with the reason in error.
    bool parse(const std::vector<std::string>& arguments, std::string& error);
    // The help text: every option with its argument and meaning, examples and the exit status.
    static std::string help();
    // The plan's part of the options.
    PlanSettings planSettings() const { return {mode, cycleTime, cycleMinTime, profileLimitTime, fragment}; }

    BRINA::IPAddress target; // the Output's control endpoint; its scope comes from interfaceName
    std::string interfaceName;
    StreamFormat signalFormat; // the test signal's format, when no WAV file is named
    std::string signalText = "44100:16:2";
    std::string wavPath;       // a WAV file instead of the test signal
    double seconds = 10;       // 0: the test signal without end, or the whole WAV file
    bool secondsGiven = false; // a WAV file streams whole unless --seconds is given
    Mode mode = Mode::Fix;
    uint32_t cycleTime = 1000;       // CycleTime, microseconds
    uint32_t cycleMinTime = 0;       // CycleMinTime: Random's shortest cycle, microseconds
    uint32_t profileLimitTime = 400; // TargetProfileLimitTime: the profile mode's shortest cycle
    uint32_t fragment = 1;           // Fragment: most packets in a cycle; 0: as many as the Target takes
    uint32_t latencyBuffer = 0;      // LatencyBuffer: microseconds asked of the Target; 0: its own
    bool nopBreak = false;           // NopBreak
    bool phaseInvert = false;        // Phase=Invert
    uint32_t threadMode = 1;         // ThredMode, the worker's mode word
    uint32_t infoCycle = 100000;     // InfoCycle, microseconds between info requests
    uint32_t syncBufferCount = 6;    // SyncBufferCount: blocks in the stream buffer's ring
    uint32_t bufferSize = 512;       // ASIOBufferSize: frames in one block, as one host buffer
    bool quiet = false;
    int32_t logLevel = -1; // -1: the log stays off
    bool helpAsked = false;

private:
    friend struct SendOptionTable;
    bool finish(std::string& error);
    std::string endpointText;
};

} // namespace TESSERA
