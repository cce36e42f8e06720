#include "transport/wire/SendAck.h"

#include "BRINA/LogStream.h"
#include "transport/wire/SyncCommands.h"

#include <utility>

namespace TESSERA {

bool sendAck(BRINA::Socket& socket, const BRINA::IPAddress& destination, const Packet& packet,
             uint16_t expected, std::vector<uint8_t>& answer, uint32_t timeout) {
    answer.clear();
    const uint16_t request = packet.header().command();
    for (uint32_t tries = 0; tries < kAckTries; ++tries) {
        if (!socket.sendTo(destination, packet.data(), packet.size(), true)) return false;
        // Every dropped datagram starts the wait anew, so a stream of strangers can hold this longer.
        for (;;) {
            const int waited = socket.wait(timeout);
            if (waited == BRINA::Socket::WaitError) return false;
            if (waited == BRINA::Socket::WaitTimeout) break;
            std::vector<uint8_t> datagram;
            BRINA::IPAddress from;
            if (!socket.receive(datagram, from)) return false;
            const BRINA::BufferCS_const message(datagram);
            if (!Packet::isValid(message)) {
                BRINA::LogStream(7, "sendAck RCV errpacket:") << message.size;
                continue;
            }
            if (from != destination) continue;
            BRINA::LogStream(7, "sendAck[") << socket.boundScope() << "," << destination.scope() << ","
                                            << from.scope() << "]RCV:" << request;
            const PacketHeader header(message.data);
            if (header.command() == request) return true; // the Target echoed the request: refused
            if (header.command() != expected) continue;
            if (header.flags() & PacketFlag::HasContent) answer = std::move(datagram);
            return true;
        }
    }
    return true;
}

} // namespace TESSERA
