#include "DiscoveryResponder.h"

#include "SyncCommands.h"
#include "SyncMessages.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <utility>

namespace TESSERA {

namespace {

using BRINA::IPAddress;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kWaitMicroseconds = 50'000; // how long stop() may wait for the thread
constexpr auto kNotifyPeriod = std::chrono::seconds(1);

// Answers of discovery carry HasContent: a Host takes an answer without it for none.
Packet withContent(Packet packet) {
    packet.header().setFlags(PacketFlag::HasContent);
    return packet;
}

Packet answer(uint16_t command, uint16_t w8, uint16_t w10, uint16_t w12, uint16_t w14) {
    return withContent(Packet(command, w8, w10, w12, w14));
}

// The header is complete before the text: setText lays it into storage.
Packet withText(Packet packet, const std::string& text) {
    packet.setText(text.substr(0, Packet::kMaxPayload));
    return packet;
}

// The interfaces that NOTIFY leaves by: each one with a link-local address.
std::set<uint32_t> notifyInterfaces() {
    std::set<uint32_t> scopes;
    BRINA::LocalAddressMap addresses;
    if (!BRINA::getMyLocalAddresV6(addresses, false)) return scopes;
    for (const auto& entry : addresses)
        if (entry.first.isLinkLocal() && entry.first.scope() != 0) scopes.insert(entry.first.scope());
    return scopes;
}

} // namespace

DiscoveryResponder::DiscoveryResponder(TargetLog& targetLog, HostRecord& hostRecord)
    : log(targetLog), host(hostRecord) {}

DiscoveryResponder::~DiscoveryResponder() {
    stop();
}

bool DiscoveryResponder::start(const IPAddress& address, Identity identity, uint32_t notifyCount,
                               std::string& error) {
    stop();
    id = std::move(identity);
    IPAddress local = address;
    socket.receiveSize = 4096;
    if (!socket.open(BRINA::Socket::IPv6Datagram) || !socket.bind(local)) {
        error = "can't bind the discovery port " + local.toStringWithPort();
        socket.close();
        return false;
    }
    boundPort = local.port();
    notifyLeft = notifyCount;
    notifyCounter = 0;
    notifyFailed.clear();
    running = true;
    thread = std::thread([this] { run(); });
    return true;
}

void DiscoveryResponder::stop() {
    running = false;
    if (thread.joinable()) thread.join();
    std::lock_guard<std::mutex> lock(sendMutex);
    logWanted = false;
    socket.close();
}

void DiscoveryResponder::run() {
    auto nextNotify = Clock::now();
    std::vector<uint8_t> datagram;
    while (running) {
        if (notifyLeft > 0 && Clock::now() >= nextNotify) {
            sendNotify();
            nextNotify += kNotifyPeriod;
        }
        const int waited = socket.wait(kWaitMicroseconds);
        if (waited == BRINA::Socket::WaitError) {
            log.line("discovery socket failed while waiting; discovery ends");
            return;
        }
        if (waited == BRINA::Socket::WaitTimeout) continue;
        IPAddress from;
        if (!socket.receive(datagram, from)) {
            log.line("discovery socket failed while reading; discovery ends");
            return;
        }
        if (!datagram.empty()) handle(datagram, from);
    }
}

void DiscoveryResponder::handle(const std::vector<uint8_t>& datagram, const IPAddress& from) {
    const BRINA::BufferCS_const message(datagram);
    if (!Packet::isValid(message)) return;
    const PacketHeader request(message.data);
    const std::string asker = from.toStringWithPort();
    switch (request.command()) {
    case FIND_REQ:
        log.line("FIND_REQ from " + asker);
        send(withText(withContent(Packet(FIND_ANS, id.productId)), id.name), from);
        return;
    case OUTPUT_REQ:
        answerOutput(request.word8(), from);
        return;
    case INFO_REQ:
        log.line("INFO_REQ from " + asker);
        send(withText(answer(INFO_ANS, 0, 0, 0, 0), id.infoText), from);
        return;
    case HOST_REQ: {
        std::string name;
        Packet::readText(message, name);
        host.set(name, request.value64());
        log.line("HOST_REQ from " + asker + ": " + name);
        send(answer(HOST_ANS, 0, 0, 0, 0), from);
        return;
    }
    case NOPBREAK_REQ:
        send(SyncMessages::nopBreakAnswer(), from);
        return;
    case TARGETLOG_REQ:
        handleLogRequest(request.word8() != 0, from);
        return;
    default:
        return; // commands that this Target doesn't offer are dropped, as a Host expects
    }
}

void DiscoveryResponder::answerOutput(uint16_t index, const IPAddress& from) {
    const std::string asker = from.toStringWithPort();
    if (index == 0) {
        log.line("OUTPUT_REQ count from " + asker);
        send(answer(OUTPUT_ANS, static_cast<uint16_t>(id.outputs.size()), 0, 0, 0), from);
        return;
    }
    if (index > id.outputs.size()) {
        log.line("OUTPUT_REQ " + std::to_string(index) + " from " + asker + ": no such Output");
        send(answer(OUTPUT_ANS, 0, 0, 0, 0), from);
        return;
    }
    const Output& output = id.outputs[index - 1];
    log.line("OUTPUT_REQ " + std::to_string(index) + " from " + asker);
    send(withText(answer(OUTPUT_ANS, 0, 0, output.controlPort, output.protocolVersion), output.name), from);
}

void DiscoveryResponder::handleLogRequest(bool on, const IPAddress& from) {
    // The acknowledgement goes first: a log line ahead of it would be taken for the answer and lost.
    {
        std::lock_guard<std::mutex> lock(sendMutex);
        const Packet ack = SyncMessages::targetLogAnswer();
        socket.sendTo(from, ack.data(), ack.size(), true);
        logWanted = on;
        logHost = from;
    }
    log.line(on ? "TARGETLOG_REQ from " + from.toStringWithPort() + ": log lines go there"
                : "TARGETLOG_REQ from " + from.toStringWithPort() + ": log lines stop");
}

void DiscoveryResponder::sendLogLine(const std::string& text) {
    std::lock_guard<std::mutex> lock(sendMutex);
    if (!logWanted || !socket.isOpen()) return;
    const Packet line = SyncMessages::targetLogLine(text);
    // A failed line is not logged: that would only make another line.
    socket.sendTo(logHost, line.data(), line.size(), true);
}

void DiscoveryResponder::sendNotify() {
    const Packet notify(NOTIFY, notifyCounter, 0, 0, 0);
    // 0 only after a start, so that a Host asks the Target anew; afterwards 1 to 65,535 in turn.
    notifyCounter = static_cast<uint16_t>(notifyCounter == 0xFFFF ? 1 : notifyCounter + 1);
    --notifyLeft;
    const uint8_t allNodes[16] = {0xFF, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    for (uint32_t scope : notifyInterfaces()) {
        if (send(notify, IPAddress(allNodes, kNotifyPort, scope))) continue;
        if (std::find(notifyFailed.begin(), notifyFailed.end(), scope) != notifyFailed.end()) continue;
        notifyFailed.push_back(scope);
        log.line("NOTIFY to interface " + std::to_string(scope) + " failed");
    }
    if (notifyLeft == 0) log.line("NOTIFY ends after its limit");
}

bool DiscoveryResponder::send(const Packet& packet, const IPAddress& to) {
    std::lock_guard<std::mutex> lock(sendMutex);
    return socket.sendTo(to, packet.data(), packet.size(), true);
}

} // namespace TESSERA
