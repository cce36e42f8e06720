#include "tools/receiver/FloodSender.h"

#include "tools/receiver/TargetStreamMessages.h"

#include <algorithm>

namespace TESSERA {

FloodSender::FloodSender(uint32_t rate) : perSecond(rate) {}

bool FloodSender::open(const BRINA::IPAddress& local) {
    BRINA::IPAddress bound(local.bytes(), 0, local.scope());
    return socket.open(BRINA::Socket::IPv6Datagram) && socket.bind(bound);
}

void FloodSender::send(const BRINA::IPAddress& host, uint64_t elapsedUs) {
    if (!socket.isOpen() || perSecond == 0) return;
    const uint64_t due = elapsedUs * perSecond / 1000000;
    const uint64_t now = std::min<uint64_t>(due - std::min(due, count), kMostPerCall);
    const Packet message = TargetWire::disconnectAnswer();
    for (uint64_t i = 0; i < now; ++i) {
        socket.sendTo(host, message.data(), message.size(), false);
        ++count;
    }
}

} // namespace TESSERA
