#include "tools/send/SendOptions.h"

#include "tools/common/CommandOptions.h"

#include "tools/common/FormatText.h"
#include "tools/common/OptionValues.h"
#include "transport/ThreadMode.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace TESSERA {

namespace {

// The mode word as a number, or as bit names joined by "+" (CRITICAL+SOCKETNOBLOCK).
bool threadModeValue(const std::string& text, uint32_t& mode, std::string& error) {
    static const std::pair<const char*, uint32_t> kNames[] = {
        {"CRITICAL", CRITICAL},           {"NOSHORTSLEEP", NOSHORTSLEEP}, {"NOSLEEP4CORE", NOSLEEP4CORE},
        {"SOCKETNOBLOCK", SOCKETNOBLOCK}, {"OCCUPIED", OCCUPIED},         {"NOFASTFEEDBACK", NOFASTFEEDBACK},
        {"SLEEP0ONCE", SLEEP0ONCE},       {"SLEEP0ALWAYS", SLEEP0ALWAYS}, {"NOSLEEPFORCE", NOSLEEPFORCE}};
    uint64_t number = 0;
    if (readWhole(text, 0, 0xFFFFFFFF, number)) {
        mode = static_cast<uint32_t>(number);
        return true;
    }
    uint32_t word = 0;
    size_t start = 0;
    while (start <= text.size()) {
        const size_t end = std::min(text.find('+', start), text.size());
        const std::string name = text.substr(start, end - start);
        const auto* found = std::find_if(std::begin(kNames), std::end(kNames),
                                         [&](const auto& entry) { return name == entry.first; });
        if (found == std::end(kNames)) {
            error = "--thread-mode takes a number or bit names joined by +, and \"" + name + "\" is neither";
            return false;
        }
        word |= found->second;
        start = end + 1;
    }
    mode = word;
    return true;
}

} // namespace

struct SendOptionTable {
    using Option = CommandOption<SendOptions>;
    static const std::vector<Option>& options();
};

const std::vector<SendOptionTable::Option>& SendOptionTable::options() {
    using O = SendOptions;
    using S = const std::string&;
    static const std::vector<Option> table = {
        {nullptr, nullptr, "Target", nullptr},
        {"--interface", "NAME", "the interface that leads to a link-local ADDRESS (e.g. eth0)",
         [](O& o, S v, std::string&) { return o.interfaceName = v, true; }},
        {"--latency-buffer", "US",
         "latency to ask of the Target, in microseconds (default 0: take the Target's own)",
         [](O& o, S v, std::string& e) {
             return setWhole(v, "--latency-buffer", o.latencyBuffer, e, 0, 6553500);
         }},
        {"--nopbreak", nullptr, "send NOPBREAK_REQ before the negotiation",
         [](O& o, S, std::string&) { return o.nopBreak = true, true; }},
        {nullptr, nullptr, "Source (the test signal unless --wav names a file)", nullptr},
        {"--signal", "FORMAT",
         "the test signal as RATE:SAMPLES:CHANNELS for PCM (default 44100:16:2; samples 8 16 24 32 64 f32 "
         "f64; channels 1 2 4 6 8 16), or dsd:RATE:ORDER:CHANNELS for DSD of bit order LSB, e.g. "
         "dsd:64:little:2",
         [](O& o, S v, std::string&) { return o.signalText = v, true; }},
        {"--wav", "FILE", "stream the audio of a WAV file (PCM, 8 to 32-bit integer or 32/64-bit float)",
         [](O& o, S v, std::string&) { return o.wavPath = v, true; }},
        {"--seconds", "S",
         "how long to stream; decimals allowed (default 10 for the signal, the whole file for --wav; 0: "
         "the signal without end, until Ctrl-C)",
         [](O& o, S v, std::string& e) {
             char* end = nullptr;
             o.seconds = std::strtod(v.c_str(), &end);
             o.secondsGiven = true;
             if (!v.empty() && end == v.c_str() + v.size() && o.seconds >= 0 && o.seconds <= 1e6) return true;
             e = "--seconds must be a number of seconds from 0 to 1000000, not \"" + v + "\"";
             return false;
         }},
        {"--phase", "normal|invert", "the host's phase: invert complements every sample (default normal)",
         [](O& o, S v, std::string& e) {
             if (v == "normal" || v == "invert") return o.phaseInvert = v == "invert", true;
             e = "--phase takes normal or invert, not \"" + v + "\"";
             return false;
         }},
        {nullptr, nullptr, "Plan (how the audio is cut into cycles and packets)", nullptr},
        {"--mode", "MODE",
         "Fix (steady cycle, default), Var (steady packets), FixAuto, VarAuto (the packet count grows "
         "until the cycle holds), Random (cycles drawn between --cycle-min-time and --cycle-time) or "
         "profile (the Target's own profile, from --profile-limit-time)",
         [](O& o, S v, std::string& e) {
             if (SessionSetup::modeOf(v, o.mode)) return true;
             e = "--mode takes Fix, Var, FixAuto, VarAuto, Random or profile, not \"" + v + "\"";
             return false;
         }},
        {"--cycle-time", "US", "the cycle in microseconds (default 1000)",
         [](O& o, S v, std::string& e) { return setWhole(v, "--cycle-time", o.cycleTime, e, 1, 1000000); }},
        {"--cycle-min-time", "US",
         "Random: the shortest cycle in microseconds (default 0, which Random refuses)",
         [](O& o, S v, std::string& e) {
             return setWhole(v, "--cycle-min-time", o.cycleMinTime, e, 0, 1000000);
         }},
        {"--profile-limit-time", "US", "profile: the shortest cycle the plan may take (default 400)",
         [](O& o, S v, std::string& e) {
             return setWhole(v, "--profile-limit-time", o.profileLimitTime, e, 101, 1000000);
         }},
        {"--fragment", "N",
         "Fix, Var, Random: most packets in one cycle (default 1; 0: as many as the Target takes)",
         [](O& o, S v, std::string& e) { return setWhole(v, "--fragment", o.fragment, e, 0, 0xFFFF); }},
        {nullptr, nullptr, "Worker and stream buffer", nullptr},
        {"--thread-mode", "WORD",
         "the worker's mode word, a number (0x.. for hexadecimal) or bit names joined by +: CRITICAL 0x1, "
         "NOSHORTSLEEP 0x2, NOSLEEP4CORE 0x4, SOCKETNOBLOCK 0x8, OCCUPIED 0x10, feedback depth less 1 in "
         "0xE0, NOFASTFEEDBACK 0x100, SLEEP0ONCE 0x200, SLEEP0ALWAYS 0x400, NOSLEEPFORCE 0x800 (default 1)",
         [](O& o, S v, std::string& e) { return threadModeValue(v, o.threadMode, e); }},
        {"--info-cycle", "US", "microseconds between the worker's info requests (default 100000)",
         [](O& o, S v, std::string& e) {
             return setWhole(v, "--info-cycle", o.infoCycle, e, 1000, 10000000);
         }},
        {"--sync-buffer-count", "N", "blocks in the stream buffer's ring, 2 or more (default 6)",
         [](O& o, S v, std::string& e) {
             return setWhole(v, "--sync-buffer-count", o.syncBufferCount, e, 2, 1024);
         }},
        {"--buffer-size", "FRAMES", "frames in one block of the ring, as one host buffer (default 512)",
         [](O& o, S v, std::string& e) { return setWhole(v, "--buffer-size", o.bufferSize, e, 16, 65536); }},
        {nullptr, nullptr, "Output", nullptr},
        {"--quiet", nullptr, "no status line; only errors and the closing line",
         [](O& o, S, std::string&) { return o.quiet = true, true; }},
        {"--log", "LEVEL",
         "the session's log on the terminal: 3 errors, 4 warnings, 6 progress with the Target's own lines, "
         "7 debug",
         [](O& o, S v, std::string& e) {
             uint32_t level = 0;
             if (!setWhole(v, "--log", level, e, 3, 7)) return false;
             o.logLevel = static_cast<int32_t>(level);
             return true;
         }},
        {"--help", nullptr, "this text", [](O& o, S, std::string&) { return o.helpAsked = true, true; }},
    };
    return table;
}

bool SendOptions::parse(const std::vector<std::string>& arguments, std::string& error) {
    for (size_t i = 0; i < arguments.size(); ++i) {
        std::string name = arguments[i];
        if (name.rfind("-", 0) != 0) {
            if (!endpointText.empty()) {
                error = "one Target only: \"" + endpointText + "\" and \"" + name + "\"";
                return false;
            }
            endpointText = name;
            continue;
        }
        if (!applyOption(SendOptionTable::options(), arguments, i, *this, error)) return false;
    }
    return helpAsked || finish(error);
}

bool SendOptions::finish(std::string& error) {
    if (endpointText.empty() || !target.parseWithPort(endpointText) || target.port() == 0 ||
        endpointText.find(',') == std::string::npos) {
        error = endpointText.empty() ? "give the Target as ADDRESS,PORT, e.g. ::1,19650"
                                     : "\"" + endpointText + "\" is not ADDRESS,PORT, e.g. ::1,19650";
        return false;
    }
    if (target.isLinkLocal() && interfaceName.empty()) {
        error = target.toString() + " is link-local: name its interface with --interface";
        return false;
    }
    if (!wavPath.empty()) return true;
    std::string why;
    if (!FormatText::parseConcrete(signalText, signalFormat, why)) {
        error = "bad --signal " + signalText + ": " + why;
        return false;
    }
    return true;
}

std::string SendOptions::help() {
    constexpr size_t kIndent = 30, kWidth = 100;
    std::string text =
        "usage: tessera-send ADDRESS,PORT [options]   (--option VALUE or --option=VALUE)\n"
        "\n"
        "Streams the test signal, or a WAV file, to a Target's Output at ADDRESS,PORT, as the driver does:\n"
        "it negotiates, plans the cycles and packets, streams, and closes the stream at the end or on\n"
        "Ctrl-C. A status line shows the progress on a terminal (a plain line each second otherwise).\n"
        "\n"
        "  ADDRESS,PORT                the Output's control endpoint, e.g. ::1,19650 or "
        "fe80::1:2:3:4,19650\n";
    text += optionsHelp(SendOptionTable::options(), kIndent, kWidth);
    text +=
        "\n"
        "Examples:\n"
        "  tessera-send ::1,19650                          10 s of 44,100 Hz 16-bit stereo\n"
        "  tessera-send ::1,19650 --signal 192000:24:2 --seconds 30\n"
        "  tessera-send ::1,19650 --signal dsd:64:little:2 --mode Var --cycle-time 2000 --fragment 0\n"
        "  tessera-send ::1,19650 --wav music.wav --thread-mode CRITICAL+NOSHORTSLEEP\n"
        "  tessera-send fe80::1234:5678:9abc:def0,19650 --interface eth0 --seconds 0   until Ctrl-C\n"
        "\n"
        "Ctrl-C (or SIGTERM) ends the stream cleanly: what is buffered goes out, the last packet is marked\n"
        "and the stream is closed with the Target. A second Ctrl-C ends the program at once.\n"
        "\n"
        "Exit status:\n"
        "  0  the stream ran to its end, or Ctrl-C ended it, and was closed with the Target\n"
        "  1  a failure on this machine: sockets, the WAV file, or no plan fits the settings\n"
        "  2  bad arguments\n"
        "  3  the Target is silent: no answer to the negotiation\n"
        "  4  the Target refused the format or the stream\n"
        "  5  the stream ended early: the Target fell silent or closed it\n";
    return text;
}

} // namespace TESSERA
