#include "tools/receiver/DiscoveryResponder.h"

#include "tools/receiver/TargetCommands.h"
#include "tools/receiver/TargetControlMessages.h"
#include "tools/receiver/TargetDiscoveryMessages.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <utility>

namespace TESSERA {

namespace {

using BRINA::IPAddress;
using Clock = std::chrono::steady_clock;
namespace TW = TargetWire;

constexpr uint32_t kWaitMicroseconds = 50'000; // how long stop() may wait for the thread
constexpr auto kNotifyPeriod = std::chrono::seconds(1);

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
    const std::string asker = from.toStringWithPort();
    uint16_t index = 0;
    uint64_t product = 0;
    std::string name;
    bool on = false;
    if (TW::readFindRequest(message, index)) {
        log.line("FIND_REQ from " + asker);
        send(TW::findAnswer(id.productId, id.name), from);
    } else if (TW::readOutputRequest(message, index)) {
        answerOutput(index, from);
    } else if (TW::readInfoRequest(message)) {
        log.line("INFO_REQ from " + asker);
        send(TW::infoAnswer(id.infoText), from);
    } else if (TW::readHostRequest(message, product, name)) {
        host.set(name, product);
        log.line("HOST_REQ from " + asker + ": " + name);
        send(TW::hostAnswer(), from);
    } else if (TW::readNopBreakRequest(message)) {
        send(TW::nopBreakAnswer(), from);
    } else if (TW::readTargetLogRequest(message, on)) {
        handleLogRequest(on, from);
    } else if (extra) {
        std::vector<Packet> replies;
        if (extra(message, from, replies))
            for (const Packet& reply : replies)
                send(reply, from);
    }
    // Commands that this Target doesn't offer are dropped, as a Host expects.
}

void DiscoveryResponder::answerOutput(uint16_t index, const IPAddress& from) {
    const std::string asker = from.toStringWithPort();
    if (index == 0) {
        log.line("OUTPUT_REQ count from " + asker);
        send(TW::outputCountAnswer(static_cast<uint16_t>(id.outputs.size())), from);
        return;
    }
    if (index > id.outputs.size()) {
        log.line("OUTPUT_REQ " + std::to_string(index) + " from " + asker + ": no such Output");
        send(TW::outputAnswer(0, 0, ""), from);
        return;
    }
    const Output& output = id.outputs[index - 1];
    log.line("OUTPUT_REQ " + std::to_string(index) + " from " + asker);
    send(TW::outputAnswer(output.controlPort, output.protocolVersion, output.name), from);
}

void DiscoveryResponder::handleLogRequest(bool on, const IPAddress& from) {
    // The acknowledgement goes first: a log line ahead of it would be taken for the answer and lost.
    {
        std::lock_guard<std::mutex> lock(sendMutex);
        const Packet ack = TW::targetLogAnswer();
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
    const Packet line = TW::targetLogLine(text);
    // A failed line is not logged: that would only make another line.
    socket.sendTo(logHost, line.data(), line.size(), true);
}

void DiscoveryResponder::sendNotify() {
    const Packet notify = TW::notify(notifyCounter);
    // 0 only after a start, so that a Host asks the Target anew; afterwards 1 to 65,535 in turn.
    notifyCounter = static_cast<uint16_t>(notifyCounter == 0xFFFF ? 1 : notifyCounter + 1);
    --notifyLeft;
    const uint8_t allNodes[16] = {0xFF, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    for (uint32_t scope : notifyInterfaces()) {
        if (send(notify, IPAddress(allNodes, TW::kNotifyPort, scope))) continue;
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
