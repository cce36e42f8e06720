#include "tools/receiver/OutputControl.h"

#include "tools/common/FormatText.h"
#include "tools/receiver/TargetCommands.h"
#include "tools/receiver/TargetControlMessages.h"
#include "tools/receiver/TargetDiscoveryMessages.h"

#include <utility>

namespace TESSERA {

namespace {

using BRINA::BufferCS_const;
using BRINA::IPAddress;
using namespace TargetWire;

constexpr uint32_t kWaitMicroseconds = 50'000; // how long stop() may wait for the thread
constexpr uint32_t kLargestDatagram = 65536;   // a DATASIZE probe may be as large as UDP allows

std::string hex64(uint64_t value) {
    return FormatText::words(StreamFormat::fromU64(value));
}

} // namespace

OutputControl::OutputControl(const OutputConfig& config, TargetLog& targetLog, HostRecord& hostRecord)
    : cfg(config), caps(config.pcmMask, config.dsdLsbMask, config.dsdMsbMask), log(targetLog),
      host(hostRecord), stream(std::make_unique<StreamReceiver>(config, targetLog.function())) {}

OutputControl::~OutputControl() {
    stop();
}

bool OutputControl::start(const IPAddress& address, std::string& error) {
    stop();
    local = address;
    local.setPort(cfg.controlPort);
    socket.receiveSize = kLargestDatagram;
    if (!socket.open(BRINA::Socket::IPv6Datagram) || !socket.bind(local)) {
        error = "can't bind the control port " + local.toStringWithPort() + " of \"" + cfg.name + "\"";
        socket.close();
        return false;
    }
    boundPort = local.port();
    local.setPort(0);
    agreedLatency = cfg.latency;
    stream->onFinished = [this](const StreamReport& report) {
        if (onStreamFinished) onStreamFinished(report);
    };
    running = true;
    thread = std::thread([this] { run(); });
    return true;
}

void OutputControl::stop() {
    running = false;
    if (thread.joinable()) thread.join();
    stream->close();
    socket.close();
}

void OutputControl::run() {
    std::vector<uint8_t> datagram;
    while (running) {
        const int waited = socket.wait(kWaitMicroseconds);
        if (waited == BRINA::Socket::WaitError) {
            log.line("control socket of \"" + cfg.name + "\" failed while waiting; the Output ends");
            return;
        }
        if (waited == BRINA::Socket::WaitTimeout) continue;
        IPAddress from;
        if (!socket.receive(datagram, from)) {
            log.line("control socket of \"" + cfg.name + "\" failed while reading; the Output ends");
            return;
        }
        if (!datagram.empty()) handle(datagram, from);
    }
}

void OutputControl::handle(const std::vector<uint8_t>& datagram, const IPAddress& from) {
    const BufferCS_const message(datagram);
    if (!Packet::isValid(message)) return;
    const PacketHeader request(message.data);
    const std::string asker = " from " + from.toStringWithPort();
    switch (request.command()) {
    case FORMAT_REQ: {
        uint64_t selector = 0;
        readFormatRequest(message, selector);
        const StreamFormat mask = caps.answer(selector);
        log.line("FORMAT_REQ " + hex64(selector) + asker + ": " + FormatText::words(mask));
        send(formatAnswer(mask), from);
        return;
    }
    case LATENCY_REQ:
        handleLatency(message, from);
        return;
    case DATASIZE_REQ:
        handleDataSize(message, from);
        return;
    case PROFILE_REQ: {
        StreamFormat format;
        readProfileRequest(message, format);
        log.line("PROFILE_REQ " + hex64(format.toU64()) + asker +
                 (cfg.answerProfile ? "" : ": not answered"));
        if (cfg.answerProfile) send(profileAnswer(cfg.profileMin, cfg.profileMax, cfg.profileFlags), from);
        return;
    }
    case CONNECTPRE_REQ: {
        Preparation preparation;
        readConnectPrepareRequest(message, preparation);
        log.line("CONNECTPRE_REQ" + asker + ": latency " + std::to_string(preparation.latency * 100u) +
                 " us");
        send(connectPrepareAnswer(agreedLatency), from);
        return;
    }
    case SYNCHOST_REQ: {
        uint64_t product = 0;
        std::string name;
        readSyncHostRequest(message, product, name);
        host.set(name, product);
        log.line("SYNCHOST_REQ" + asker + ": " + name);
        send(syncHostAnswer(), from);
        return;
    }
    case NOPBREAK_REQ:
        log.line("NOPBREAK_REQ" + asker);
        send(nopBreakAnswer(), from);
        return;
    case CONNECT_REQ:
        handleConnect(message, from);
        return;
    default:
        return; // the stream's own messages go to the stream port; anything else is dropped
    }
}

void OutputControl::handleLatency(BufferCS_const message, const IPAddress& from) {
    uint16_t requested = 0;
    readLatencyRequest(message, requested);
    // A latency of our own configuration is fixed; otherwise the Host's request is agreed as it stands.
    if (requested != 0 && cfg.latency == 0) agreedLatency = requested;
    log.line("LATENCY_REQ " + std::to_string(requested * 100u) + " us from " + from.toStringWithPort() +
             ": agreed " + std::to_string(agreedLatency * 100u) + " us, hardware " +
             std::to_string(cfg.hardwareLatency * 100u) + " us");
    send(latencyAnswer(agreedLatency, cfg.hardwareLatency), from);
}

void OutputControl::handleDataSize(BufferCS_const message, const IPAddress& from) {
    if (!cfg.answerDataSize) {
        log.line("DATASIZE_REQ from " + from.toStringWithPort() + ": not answered");
        return;
    }
    DataSizeRequest request;
    readDataSizeRequest(message, request);
    if (!request.probe) {
        log.line("DATASIZE_REQ from " + from.toStringWithPort() + ": mtu " + std::to_string(cfg.mtu) + ", " +
                 std::to_string(cfg.bytesPerCycle) + " bytes per cycle");
        send(dataSizeAnswer(cfg.mtu, cfg.bytesPerCycle), from);
        return;
    }
    log.line("DATASIZE_REQ probe of " + std::to_string(request.received) + " bytes from " +
             from.toStringWithPort());
    send(dataSizeProbeAnswer(request.received, request.sum), from);
}

void OutputControl::handleConnect(BufferCS_const message, const IPAddress& from) {
    StreamFormat format;
    readConnectRequest(message, format);
    const std::string what =
        "CONNECT_REQ " + FormatText::describe(format) + " from " + from.toStringWithPort();
    if (cfg.refuseConnect == OutputConfig::Refusal::Silent) {
        log.line(what + ": not answered");
        return;
    }
    if (cfg.refuseConnect == OutputConfig::Refusal::Echo) {
        log.line(what + ": refused by echo");
        socket.sendTo(from, message.data, message.size, true);
        return;
    }
    const Packet refusal = connectRefusal();
    if (cfg.refuseConnect == OutputConfig::Refusal::NoContent) {
        log.line(what + ": refused without content");
        send(refusal, from);
        return;
    }
    if (!caps.accepts(format)) {
        log.line(what + ": refused, not in the capabilities");
        send(refusal, from);
        return;
    }
    uint16_t streamPort = 0;
    if (!stream->open(local, from, format, streamPort)) {
        log.line(what + ": refused, the stream socket can't be opened");
        send(refusal, from);
        return;
    }
    log.line(what + ": stream port " + std::to_string(streamPort));
    send(connectAnswer(streamPort, cfg.invertAtStart), from);
}

void OutputControl::send(const Packet& packet, const IPAddress& to) {
    socket.sendTo(to, packet.data(), packet.size(), true);
}

} // namespace TESSERA
