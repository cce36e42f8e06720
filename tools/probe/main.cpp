// tessera-probe: asks a Target, real or software, everything the driver asks before a stream, and shows
// what it learnt and the plan it would stream with.
#include "BRINA/ConsoleLog.h"
#include "BRINA/LogSink.h"
#include "BRINA/LogStream.h"
#include "BRINA/Network/IPAddress.h"
#include "tools/common/CommandOptions.h"
#include "tools/common/FormatText.h"
#include "tools/common/OptionValues.h"
#include "transport/SessionSetup.h"
#include "transport/Sync.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

using TESSERA::FormatText;

struct ProbeOptions {
    std::string endpoint, interfaceName, formatText = "44100:16:2";
    uint32_t latency = 0, cycle = 1000;
    bool nopBreak = false, showLog = false, help = false;
};

using S = const std::string&;
using O = ProbeOptions;
const std::vector<TESSERA::CommandOption<ProbeOptions>> kOptions = {
    {"--interface", "NAME", "the interface of a link-local ADDRESS (e.g. eth0)",
     [](O& o, S v, std::string&) { return o.interfaceName = v, true; }},
    {"--latency", "US", "latency to ask for, in microseconds (default 0: take the Target's)",
     [](O& o, S v, std::string& e) { return TESSERA::setWhole(v, "--latency", o.latency, e, 0, 6553500); }},
    {"--nopbreak", nullptr, "send NOPBREAK_REQ first, as the driver's NopBreak setting does",
     [](O& o, S, std::string&) { return o.nopBreak = true, true; }},
    {"--format", "FORMAT",
     "the format to plan, as RATE:SAMPLES:CHANNELS for PCM (default 44100:16:2; samples 8 16 24 32 64 f32 "
     "f64) or dsd:RATE:ORDER:CHANNELS for DSD of bit order LSB (e.g. dsd:64:little:2)",
     [](O& o, S v, std::string&) { return o.formatText = v, true; }},
    {"--cycle", "US", "cycle of the plan in microseconds (default 1000)",
     [](O& o, S v, std::string& e) { return TESSERA::setWhole(v, "--cycle", o.cycle, e, 1, 6553500); }},
    {"--log", nullptr, "show the session's log, with the Target's own lines, on the terminal",
     [](O& o, S, std::string&) { return o.showLog = true, true; }},
    {"--help", nullptr, "this text", [](O& o, S, std::string&) { return o.help = true, true; }},
};

std::string usage() {
    return "usage: tessera-probe ADDRESS,PORT [options]\n"
           "\n"
           "Negotiates with a Target's Output at ADDRESS,PORT as the driver does before a stream: its\n"
           "capabilities, transfer profile, latency and packet size limits. Then it plans a stream of one\n"
           "format and prints the plan. Nothing is streamed.\n"
           "\n"
           "  ADDRESS,PORT           the Output's control endpoint, e.g. ::1,19650 or fe80::1:2:3:4,19650\n" +
           TESSERA::optionsHelp(kOptions, 25, 100) +
           "\nExit status: 0 when the Target answered, 1 when it was silent or incomplete, 2 on bad "
           "arguments.\n";
}

int usageError(const std::string& message) {
    std::fprintf(stderr, "tessera-probe: %s\n", message.c_str());
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    ProbeOptions options;
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    for (size_t i = 0; i < arguments.size(); ++i) {
        std::string error;
        if (arguments[i][0] != '-' && options.endpoint.empty())
            options.endpoint = arguments[i];
        else if (!TESSERA::applyOption(kOptions, arguments, i, options, error))
            return usageError(error + " (see --help)");
    }
    if (options.help) {
        std::fputs(usage().c_str(), stdout);
        return 0;
    }
    BRINA::IPAddress target;
    if (options.endpoint.empty() || !target.parseWithPort(options.endpoint) || target.port() == 0)
        return usageError("give the Target as ADDRESS,PORT, e.g. ::1,19650 (see --help)");
    TESSERA::StreamFormat format;
    std::string error;
    if (!FormatText::parseConcrete(options.formatText, format, error))
        return usageError("bad --format " + options.formatText + ": " + error);
    uint32_t scope = 0;
    if (!options.interfaceName.empty() && (scope = BRINA::scopeOfInterface(options.interfaceName)) == 0)
        return usageError("no interface named " + options.interfaceName + " with an IPv6 address");
    if (target.isLinkLocal() && scope == 0)
        return usageError(target.toString() + " is link-local: name its interface with --interface");

    if (options.showLog) {
        BRINA::ConsoleLog::start(16, 19640);
        BRINA::setLogLevel(6);
    }
    TESSERA::Sync sync;
    if (!sync.open(1, 10000, static_cast<uint16_t>(scope), "tessera-probe", 0)) {
        std::fprintf(stderr, "tessera-probe: cannot open the session's sockets\n");
        return 1;
    }
    std::printf("asking the Target at %s ...\n", target.toStringWithPort().c_str());
    const bool answered = TESSERA::SessionSetup::negotiate(sync, target, options.latency, options.nopBreak);
    if (options.showLog) BRINA::ConsoleLog::drain();
    if (!answered) {
        std::printf("the Target did not answer every question (silent, no capabilities, or no latency): "
                    "is the address and port of an Output right?\n");
        return 1;
    }
    const TESSERA::TransferConfig& config = sync.getConfig();
    std::printf("capabilities   PCM %s, DSD LSB %s, DSD MSB %s\n",
                FormatText::words(sync.getPcmMask()).c_str(), FormatText::words(sync.getDsdLsbMask()).c_str(),
                FormatText::words(sync.getDsdMsbMask()).c_str());
    std::printf("latency        %u us in all (agreed %u us, hardware %u us)\n", sync.getLatency(),
                sync.getAgreedLatency(), sync.getHardwareLatency());
    std::printf("packets        at most %u bytes of audio, %u a cycle\n", sync.getMaxPacketSize(),
                sync.getMaxPacketCount());
    std::printf("profile        min %u us, max %u us, flags 0x%02X\n", config.profileMin * 10u,
                config.profileMax * 10u, config.profileFlags);

    std::printf("format         %s: ", FormatText::describe(format).c_str());
    if (!sync.selectFormat(format.type(), format.rateBits())) {
        std::printf("the Target does not take it\n");
        return 0;
    }
    std::printf("taken as %s\n", FormatText::describe(sync.getSinkFormat()).c_str());
    TESSERA::PlanSettings plan;
    plan.cycle = options.cycle;
    plan.fragment = 0; // as many packets as the Target takes
    if (TESSERA::SessionSetup::plan(sync, plan))
        std::printf("plan           %s\n",
                    TESSERA::SessionSetup::describe(sync.getTransferProfile(0)).c_str());
    else
        std::printf("plan           none fits a cycle of %u us within the packet limits\n", options.cycle);
    if (options.showLog) BRINA::ConsoleLog::drain();
    return 0;
}
