#include "tools/receiver/TargetOptions.h"

#include "tools/common/CommandOptions.h"

#include "tools/common/FormatText.h"
#include "tools/common/OptionValues.h"
#include "tools/receiver/Capabilities.h"

#include <algorithm>
#include <cstdlib>

namespace TESSERA {

namespace {

constexpr uint16_t kFirstControlPort = 19650;
constexpr uint32_t kMostOutputs = 64;

// Microseconds into the 100 us units of the wire, rounded down.
bool setLatency(const std::string& text, const char* what, uint16_t& field, std::string& error) {
    uint32_t microseconds = 0;
    if (!setUnsigned(text, what, microseconds, error, 6'553'500)) return false;
    field = static_cast<uint16_t>(microseconds / 100);
    return true;
}

bool setShare(const std::string& text, const char* what, double& field, std::string& error) {
    if (readReal(text, 0, 1, field)) return true;
    error = std::string(what) + " must be a share from 0 to 1, not \"" + text + "\"";
    return false;
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> items;
    size_t start = 0;
    for (size_t end; (end = text.find(separator, start)) != std::string::npos; start = end + 1)
        items.push_back(text.substr(start, end - start));
    items.push_back(text.substr(start));
    return items;
}

std::vector<std::string> commaList(const std::string& text) {
    return split(text, ',');
}

// "rec.wav" for the first Output, "rec-2.wav" for the second, so that Outputs don't share a file.
std::string pathFor(const std::string& path, uint32_t index) {
    return index == 0 ? path : pathWithSuffix(path, "-" + std::to_string(index + 1));
}

} // namespace

struct OptionTable {
    using Option = CommandOption<TargetOptions>;
    static const std::vector<Option>& options();
};

const std::vector<OptionTable::Option>& OptionTable::options() {
    using O = TargetOptions;
    using S = const std::string&;
    static const std::vector<Option> table = {
        {nullptr, nullptr, "Identity", nullptr},
        {"--name", "TEXT", "receiver name in FIND_ANS (default \"Tessera Target\")",
         [](O& o, S v, std::string&) { return o.config.name = v, true; }},
        {"--product", "TEXT",
         "product id as 8 ASCII characters (default QUINTARA); a shorter text gives all ones, no product",
         [](O& o, S v, std::string&) { return o.config.productId = productIdOf(v), true; }},
        {"--info", "TEXT", "information text of INFO_ANS; the Host replaces \"[myaddress]\"",
         [](O& o, S v, std::string&) { return o.config.infoText = v, true; }},
        {nullptr, nullptr, "Network", nullptr},
        {"--bind", "ADDR", "address every socket binds to (default ::1; :: for every interface)",
         [](O& o, S v, std::string& e) {
             if (o.config.bindAddress.parse(v)) return true;
             e = "\"" + v + "\" is not an IPv6 address";
             return false;
         }},
        {"--discovery-port", "N", "discovery port (default 19642; 0: the system picks)",
         [](O& o, S v, std::string& e) {
             return setUnsigned(v, "--discovery-port", o.config.discoveryPort, e);
         }},
        {"--notify", nullptr,
         "send NOTIFY to ff02::1 port 19643 every second; refused outside a network namespace of its own",
         [](O& o, S, std::string&) { return o.config.notify = true, true; }},
        {"--notify-count", "N", "NOTIFY stops by itself after N (default 3600)",
         [](O& o, S v, std::string& e) { return setUnsigned(v, "--notify-count", o.config.notifyLimit, e); }},
        {nullptr, nullptr, "Outputs (the settings below apply to every Output)", nullptr},
        {"--outputs", "N", "number of Outputs (default 1)",
         [](O& o, S v, std::string& e) {
             if (!setUnsigned(v, "--outputs", o.outputCount, e, kMostOutputs)) return false;
             if (o.outputCount != 0) return true;
             e = "--outputs must be at least 1";
             return false;
         }},
        {"--output-name", "NAME[,NAME...]", "names of the Outputs in order (default \"Output 1\", ...)",
         [](O& o, S v, std::string&) { return o.names = commaList(v), true; }},
        {"--control-port", "N[,N...]",
         "control port of each Output; one N gives N, N+1, ... (default 19650; 0: the system picks)",
         [](O& o, S v, std::string& e) {
             o.ports.clear();
             for (const std::string& item : commaList(v)) {
                 uint16_t port = 0;
                 if (!setUnsigned(item, "--control-port", port, e)) return false;
                 o.ports.push_back(port);
             }
             return true;
         }},
        {"--protocol-version", "N", "protocol version in OUTPUT_ANS (default 1)",
         [](O& o, S v, std::string& e) {
             return setUnsigned(v, "--protocol-version", o.base.protocolVersion, e);
         }},
        {nullptr, nullptr,
         "Capabilities (a mask is an OR per field: every listed rate, kind and count combines)", nullptr},
        {"--pcm", "RATES:SAMPLES:CHANNELS",
         "PCM mask, e.g. 44100,48000,96000:16,24,32,f32:2 or none; samples 8 16 24 32 64 f32 f64, channels "
         "1 2 4 6 8 16 (default: 44100 to 768000 Hz in both families, 16 24 32 f32, 1 2 8 channels)",
         [](O& o, S v, std::string& e) { return FormatText::parsePcm(v, o.base.pcmMask, e); }},
        {"--pcm-mask", "TYPE,RATE", "PCM mask as two hexadecimal words, e.g. 0x2E13,0xFE",
         [](O& o, S v, std::string& e) { return FormatText::parseWords(v, o.base.pcmMask, e); }},
        {"--dsd-lsb", "RATES:ORDERS:CHANNELS",
         "DSD mask of bit order LSB, e.g. 64,128:little,big:2 or none; rates as DSD multiples or in Hz "
         "(default: DSD64 to DSD512 in both families, both byte orders, 1 2 6 8 channels)",
         [](O& o, S v, std::string& e) { return FormatText::parseDsd(v, true, o.base.dsdLsbMask, e); }},
        {"--dsd-lsb-mask", "TYPE,RATE", "DSD LSB mask as two hexadecimal words",
         [](O& o, S v, std::string& e) { return FormatText::parseWords(v, o.base.dsdLsbMask, e); }},
        {"--dsd-msb", "RATES:ORDERS:CHANNELS", "DSD mask of bit order MSB, as --dsd-lsb",
         [](O& o, S v, std::string& e) { return FormatText::parseDsd(v, false, o.base.dsdMsbMask, e); }},
        {"--dsd-msb-mask", "TYPE,RATE", "DSD MSB mask as two hexadecimal words",
         [](O& o, S v, std::string& e) { return FormatText::parseWords(v, o.base.dsdMsbMask, e); }},
        {nullptr, nullptr, "Negotiation", nullptr},
        {"--latency", "US", "fixed agreed latency in microseconds (default: the Host's request is agreed)",
         [](O& o, S v, std::string& e) { return setLatency(v, "--latency", o.base.latency, e); }},
        {"--hw-latency", "US", "hardware latency in microseconds (default 1000)",
         [](O& o, S v, std::string& e) { return setLatency(v, "--hw-latency", o.base.hardwareLatency, e); }},
        {"--mtu", "N", "MTU in DATASIZE_ANS (default 1500)",
         [](O& o, S v, std::string& e) { return setUnsigned(v, "--mtu", o.base.mtu, e); }},
        {"--bytes-per-cycle", "N", "most bytes per cycle in DATASIZE_ANS (default 15000)",
         [](O& o, S v, std::string& e) {
             return setUnsigned(v, "--bytes-per-cycle", o.base.bytesPerCycle, e);
         }},
        {"--no-datasize", nullptr, "leave DATASIZE_REQ unanswered",
         [](O& o, S, std::string&) { return o.base.answerDataSize = false, true; }},
        {"--profile", "MIN,MAX,FLAGS",
         "PROFILE_ANS: cycle limits in 10 us units and the flags (default 0,0,0)",
         [](O& o, S v, std::string& e) {
             const std::vector<std::string> items = commaList(v);
             if (items.size() == 3)
                 return setUnsigned(items[0], "profile min", o.base.profileMin, e) &&
                        setUnsigned(items[1], "profile max", o.base.profileMax, e) &&
                        setUnsigned(items[2], "profile flags", o.base.profileFlags, e);
             e = "--profile takes MIN,MAX,FLAGS";
             return false;
         }},
        {"--no-profile", nullptr, "leave PROFILE_REQ unanswered",
         [](O& o, S, std::string&) { return o.base.answerProfile = false, true; }},
        {"--refuse", "echo|nocontent", "refuse CONNECT_REQ by echoing it, or by CONNECT_ANS without content",
         [](O& o, S v, std::string& e) {
             if (v == "echo") return o.base.refuseConnect = OutputConfig::Refusal::Echo, true;
             if (v == "nocontent") return o.base.refuseConnect = OutputConfig::Refusal::NoContent, true;
             e = "--refuse takes echo or nocontent, not \"" + v + "\"";
             return false;
         }},
        {nullptr, nullptr, "Stream", nullptr},
        {"--invert", nullptr, "CONNECT_ANS asks for inverted phase",
         [](O& o, S, std::string&) { return o.base.invertAtStart = true, true; }},
        {"--invert-at", "MS", "ask for inverted phase from this time into the stream",
         [](O& o, S v, std::string& e) { return setUnsigned(v, "--invert-at", o.base.invertAtMs, e); }},
        {"--feedback", "KIND",
         "feedback form: 3 buffer level against target (default), 1 or 2 the others, 0 none",
         [](O& o, S v, std::string& e) { return setUnsigned(v, "--feedback", o.base.feedbackKind, e, 3); }},
        {"--buffer-target", "MS", "play-out level that the feedback steers towards (default 50)",
         [](O& o, S v, std::string& e) {
             return setUnsigned(v, "--buffer-target", o.base.bufferTargetMs, e);
         }},
        {"--start-level", "MS", "play-out starts with this much audio buffered (default 50)",
         [](O& o, S v, std::string& e) { return setUnsigned(v, "--start-level", o.base.startLevelMs, e); }},
        {"--output", "FILE",
         "received audio to FILE (WAV; raw with a JSON description for DSD); "
         "Output n > 1 writes FILE-n, its stream k > 1 FILE-streamk",
         [](O& o, S v, std::string&) { return o.base.outputPath = v, true; }},
        {"--report", "FILE",
         "JSON report of each stream to FILE; Output n > 1 writes FILE-n, its stream k > 1 FILE-streamk",
         [](O& o, S v, std::string&) { return o.base.reportPath = v, true; }},
        {nullptr, nullptr, "Faults (all off by default, drawn from one seeded generator)", nullptr},
        {"--seed", "N", "seed of the fault generator (default 1)",
         [](O& o, S v, std::string& e) { return setUnsigned(v, "--seed", o.base.faults.seed, e); }},
        {"--loss", "SHARE", "share of STREAM_DATA dropped on arrival, 0 to 1",
         [](O& o, S v, std::string& e) { return setShare(v, "--loss", o.base.faults.lossRate, e); }},
        {"--burst", "EVERY,LENGTH", "every EVERY packets drop a burst of LENGTH",
         [](O& o, S v, std::string& e) {
             const std::vector<std::string> items = commaList(v);
             if (items.size() == 2)
                 return setUnsigned(items[0], "burst every", o.base.faults.burstEvery, e) &&
                        setUnsigned(items[1], "burst length", o.base.faults.burstLength, e);
             e = "--burst takes EVERY,LENGTH";
             return false;
         }},
        {"--loss-ends", "MS", "loss and bursts stop MS after the stream's first packet (default: never)",
         [](O& o, S v, std::string& e) {
             return setUnsigned(v, "--loss-ends", o.base.faults.lossEndsAtMs, e);
         }},
        {"--reorder", "SHARE", "share of datagrams handed over after the next one",
         [](O& o, S v, std::string& e) { return setShare(v, "--reorder", o.base.faults.reorderRate, e); }},
        {"--duplicate", "SHARE", "share of datagrams handled twice",
         [](O& o, S v, std::string& e) {
             return setShare(v, "--duplicate", o.base.faults.duplicateRate, e);
         }},
        {"--delay", "US", "hand every datagram over this much later",
         [](O& o, S v, std::string& e) {
             return setUnsigned(v, "--delay", o.base.faults.delayMicroseconds, e);
         }},
        {"--drift", "PPM", "the play-out clock runs at the nominal rate x (1 + PPM / 1e6)",
         [](O& o, S v, std::string& e) {
             if (readReal(v, -100'000, 100'000, o.base.faults.driftPpm)) return true;
             e = "--drift must be a number of ppm from -100000 to 100000, not \"" + v + "\"";
             return false;
         }},
        {"--silent-after", "MS", "stop answering in the stream after this time",
         [](O& o, S v, std::string& e) {
             return setUnsigned(v, "--silent-after", o.base.faults.silentAfterMs, e);
         }},
        {"--close-after", "MS", "close the stream unasked with DSICONNECT_ANS after this time",
         [](O& o, S v, std::string& e) {
             return setUnsigned(v, "--close-after", o.base.faults.closeAfterMs, e);
         }},
        {"--ignore-disconnect", nullptr,
         "leave DSICONNECT_REQ unanswered; the stream ends when the Host falls silent",
         [](O& o, S, std::string&) { return o.base.faults.ignoreDisconnect = true, true; }},
        {"--resend-beyond-at", "MS", "at this time ask for a packet further back than the Host keeps",
         [](O& o, S v, std::string& e) {
             return setUnsigned(v, "--resend-beyond-at", o.base.faults.resendBeyondAtMs, e);
         }},
        {"--flood", "N", "send N foreign datagrams a second at the Host's stream socket",
         [](O& o, S v, std::string& e) {
             return setUnsigned(v, "--flood", o.base.faults.floodPerSecond, e);
         }},
        {nullptr, nullptr, "Run", nullptr},
        {"--duration", "S", "run S seconds, then exit (default: until Ctrl-C)",
         [](O& o, S v, std::string& e) { return setUnsigned(v, "--duration", o.durationSeconds, e); }},
        {"--streams", "N", "exit after N streams have ended",
         [](O& o, S v, std::string& e) { return setUnsigned(v, "--streams", o.streamLimit, e); }},
        {"--verbose", nullptr, "the Target's log to stderr",
         [](O& o, S, std::string&) { return o.verbose = true, true; }},
        {"--help", nullptr, "this text", [](O& o, S, std::string&) { return o.helpAsked = true, true; }},
    };
    return table;
}

TargetOptions::TargetOptions() {
    // The program's defaults: safe on loopback, and capabilities that a Host can stream to at once.
    config.bindAddress.parse("::1");
    base.pcmMask = Capabilities::defaultPcm();
    base.dsdLsbMask = Capabilities::defaultDsd(true);
    base.dsdMsbMask = Capabilities::defaultDsd(false);
    ports = {kFirstControlPort};
}

bool TargetOptions::parse(const std::vector<std::string>& arguments, std::string& error) {
    for (size_t i = 0; i < arguments.size(); ++i) {
        if (!applyOption(OptionTable::options(), arguments, i, *this, error)) return false;
    }
    return finish(error);
}

bool TargetOptions::finish(std::string& error) {
    if (ports.size() != 1 && ports.size() != outputCount) {
        error = "--control-port names " + std::to_string(ports.size()) + " ports for " +
                std::to_string(outputCount) + " Outputs";
        return false;
    }
    config.outputs.clear();
    for (uint32_t i = 0; i < outputCount; ++i) {
        OutputConfig output = base;
        output.name = i < names.size() ? names[i] : "Output " + std::to_string(i + 1);
        const uint32_t port = ports.size() == 1 ? (ports[0] == 0 ? 0u : ports[0] + i) : ports[i];
        if (port > 0xFFFF) {
            error = "control port " + std::to_string(port) + " is beyond 65535";
            return false;
        }
        output.controlPort = static_cast<uint16_t>(port);
        output.outputPath = pathFor(base.outputPath, i);
        output.reportPath = pathFor(base.reportPath, i);
        config.outputs.push_back(output);
    }
    return true;
}

std::string TargetOptions::help() {
    constexpr size_t kIndent = 32, kWidth = 100;
    std::string text = "tessera-target: a software Target that answers a Host and receives its streams.\n"
                       "Usage: tessera-target [options]   (--option VALUE or --option=VALUE)\n";
    text += optionsHelp(OptionTable::options(), kIndent, kWidth);
    text +=
        "\nA status line shows on a terminal; each stream ends with its report. Ctrl-C ends the Target.\n"
        "Exit status: 0 normally, 1 when a port can't be bound or NOTIFY is refused, 2 for bad options.\n";
    return text;
}

} // namespace TESSERA
