#include "transport/wire/SendAck.h"

#include "BRINA/LogStream.h"
#include "transport/wire/SyncCommands.h"

#include <algorithm>
#include <utility>

namespace TESSERA {

bool sendAck(BRINA::Socket& socket, const BRINA::IPAddress& destination, const Packet& packet,
             uint16_t expected, std::vector<uint8_t>& answer, uint32_t timeout) {
    return sendAck(socket, destination, packet, expected, answer, timeout, nullptr, nullptr);
}

bool sendAck(BRINA::Socket& socket, const BRINA::IPAddress& destination, const Packet& packet,
             uint16_t expected, std::vector<uint8_t>& answer, uint32_t timeout, StillWanted stillWanted,
             const void* context) {
    answer.clear();
    const uint16_t request = packet.header().command();
    for (uint32_t tries = 0; tries < kAckTries; ++tries) {
        if (stillWanted && !stillWanted(context)) return true;
        if (!socket.sendTo(destination, packet.data(), packet.size(), true)) return false;
        // Every dropped datagram starts the wait anew, so a stream of strangers can hold this longer.
        uint32_t left = timeout;
        for (;;) {
            const uint32_t slice = stillWanted ? std::min(left, kAckSlice) : left;
            const int waited = socket.wait(slice);
            if (waited == BRINA::Socket::WaitError) return false;
            if (waited == BRINA::Socket::WaitTimeout) {
                left -= slice;
                if (left == 0) break;
                if (!stillWanted(context)) return true; // only a sliced wait has time left
                continue;
            }
            std::vector<uint8_t> datagram;
            BRINA::IPAddress from;
            if (!socket.receive(datagram, from)) return false;
            const BRINA::BufferCS_const message(datagram);
            left = timeout;
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
