// tessera-probe: asks a Target, real or software, everything the driver asks before a stream, and shows
// what it learnt and the plan it would stream with.
#include "BRINA/ConsoleLog.h"
#include "BRINA/LogSink.h"
#include "BRINA/LogStream.h"
#include "BRINA/Network/IPAddress.h"
#include "tools/common/FormatText.h"
#include "transport/Sync.h"
#include "transport/TransferProfile.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

const char* kUsage = R"(usage: tessera-probe ADDRESS,PORT [options]

Negotiates with a Target's Output at ADDRESS,PORT as the driver does before a stream: its
capabilities, transfer profile, latency and packet size limits. Then it plans a stream of one
format and prints the plan. Nothing is streamed.

  ADDRESS,PORT           the Output's control endpoint, e.g. ::1,19650 or fe80::1:2:3:4,19650
  --interface NAME       the interface of a link-local ADDRESS (e.g. eth0)
  --latency US           latency to ask for, in microseconds (default 0: take the Target's)
  --nopbreak             send NOPBREAK_REQ first, as the driver's NopBreak setting does
  --format FORMAT        the format to plan, as RATE:SAMPLES:CHANNELS for PCM (default
                         44100:16:2; samples 8 16 24 32 64 f32 f64) or dsd:RATE:ORDER:CHANNELS
                         for DSD of bit order LSB (e.g. dsd:64:little:2)
  --cycle US             cycle of the plan in microseconds (default 1000)
  --log                  show the session's log, with the Target's own lines, on the terminal
  --help                 this text

Exit status: 0 when the Target answered, 1 when it was silent or incomplete, 2 on bad arguments.
)";

bool number(const char* text, unsigned long max, unsigned long& out) {
    char* end = nullptr;
    out = std::strtoul(text, &end, 10);
    return end != text && *end == '\0' && out <= max;
}

bool concreteFormat(const std::string& text, TESSERA::StreamFormat& format, std::string& error) {
    if (text.rfind("dsd:", 0) == 0) return TESSERA::FormatText::parseDsd(text.substr(4), true, format, error);
    return TESSERA::FormatText::parsePcm(text, format, error);
}

const char* modeName(uint32_t mode) {
    return mode == TESSERA::VarMode ? "Var" : mode == TESSERA::FixMode ? "Fix" : "Random";
}

} // namespace

int main(int argc, char** argv) {
    std::string endpoint, interfaceName, formatText = "44100:16:2";
    unsigned long latency = 0, cycle = 1000;
    bool nopBreak = false, showLog = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--help" || arg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (arg == "--nopbreak") {
            nopBreak = true;
        } else if (arg == "--log") {
            showLog = true;
        } else if (arg == "--interface" && hasValue) {
            interfaceName = argv[++i];
        } else if (arg == "--format" && hasValue) {
            formatText = argv[++i];
        } else if ((arg == "--latency" || arg == "--cycle") && hasValue) {
            if (!number(argv[++i], 6553500, arg == "--latency" ? latency : cycle) ||
                (arg == "--cycle" && cycle == 0)) {
                std::fprintf(stderr, "tessera-probe: bad value for %s: %s\n", arg.c_str(), argv[i]);
                return 2;
            }
        } else if (arg[0] != '-' && endpoint.empty()) {
            endpoint = arg;
        } else {
            std::fprintf(stderr, "tessera-probe: unknown option %s (see --help)\n", arg.c_str());
            return 2;
        }
    }
    BRINA::IPAddress target;
    if (endpoint.empty() || !target.parseWithPort(endpoint) || target.port() == 0) {
        std::fprintf(stderr, "tessera-probe: give the Target as ADDRESS,PORT, e.g. ::1,19650 (see --help)\n");
        return 2;
    }
    TESSERA::StreamFormat format;
    std::string error;
    if (!concreteFormat(formatText, format, error)) {
        std::fprintf(stderr, "tessera-probe: bad --format %s: %s\n", formatText.c_str(), error.c_str());
        return 2;
    }
    uint32_t scope = 0;
    if (!interfaceName.empty()) {
        BRINA::LocalAddressMap local;
        BRINA::getMyLocalAddresV6(local);
        for (const auto& [address, names] : local)
            if (names.name == interfaceName) scope = address.scope();
        if (scope == 0) {
            std::fprintf(stderr, "tessera-probe: no interface named %s with an IPv6 address\n",
                         interfaceName.c_str());
            return 2;
        }
    }
    if (target.isLinkLocal() && scope == 0) {
        std::fprintf(stderr, "tessera-probe: %s is link-local: name its interface with --interface\n",
                     target.toString().c_str());
        return 2;
    }

    if (showLog) {
        BRINA::ConsoleLog::start(16, 19640);
        BRINA::setLogLevel(6);
    }
    TESSERA::Sync sync;
    if (!sync.open(1, 10000, static_cast<uint16_t>(scope), "tessera-probe", 0)) {
        std::fprintf(stderr, "tessera-probe: cannot open the session's sockets\n");
        return 1;
    }
    std::printf("asking the Target at %s ...\n", target.toStringWithPort().c_str());
    const bool answered = sync.getInfo(target, static_cast<uint32_t>(latency), nopBreak);
    if (showLog) BRINA::ConsoleLog::drain();
    if (!answered) {
        std::printf("the Target did not answer every question (silent, no capabilities, or no latency): "
                    "is the address and port of an Output right?\n");
        return 1;
    }
    using TESSERA::FormatText;
    std::printf("capabilities   PCM %s, DSD LSB %s, DSD MSB %s\n", FormatText::words(sync.pcmMask).c_str(),
                FormatText::words(sync.dsdLsbMask).c_str(), FormatText::words(sync.dsdMsbMask).c_str());
    std::printf("latency        %u us in all (agreed %u us, hardware %u us)\n", sync.getLatency(),
                sync.latency * 100u, sync.hwLatency * 100u);
    std::printf("packets        at most %u bytes of audio, %u a cycle\n", sync.maxPacketSize,
                sync.maxPacketCount);
    std::printf("profile        min %u us, max %u us, flags 0x%02X\n", sync.config.profileMin * 10u,
                sync.config.profileMax * 10u, sync.config.profileFlags);

    std::printf("format         %s: ", FormatText::describe(format).c_str());
    if (!sync.selectFormat(format.type(), format.rateBits())) {
        std::printf("the Target does not take it\n");
        return 0;
    }
    std::printf("taken as %s\n", FormatText::describe(sync.sinkFormat).c_str());
    sync.prepareConfig(400);
    if (sync.config.configTransferFix(static_cast<uint32_t>(cycle), 0)) {
        const TESSERA::TransferProfile p = sync.config.result();
        std::printf("plan           %s, a cycle of %u us, %u packet(s) of %.3f frames, largest %u bytes\n",
                    modeName(p.transferMode), p.cycle, p.packetCount, p.framesQ14 / 16384.0,
                    p.maxPacketBytes);
    } else {
        std::printf("plan           none fits a cycle of %lu us within the packet limits\n", cycle);
    }
    if (showLog) BRINA::ConsoleLog::drain();
    return 0;
}
