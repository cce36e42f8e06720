// The request and answer exchange under nearly every message of TESSERA::Find.
#include "BRINA/LogStream.h"
#include "BRINA/Time.h"
#include "discovery/Find.h"
#include "transport/wire/SyncCommands.h"

#include <utility>

namespace TESSERA {

SendResult Find::sendAck(const BRINA::IPAddress& target, const Packet& request, uint16_t expected,
                         std::vector<uint8_t>& answer) {
    answer.clear();
    if (!discoverySocket.sendTo(target, request.data(), request.size(), true)) return SendResult::error;
    const uint16_t command = request.header().command();
    const uint32_t start = BRINA::nowMicroseconds();
    uint32_t remaining = kAnswerTime;
    for (;;) {
        const int waited = discoverySocket.wait(remaining);
        if (waited == BRINA::Socket::WaitError) return SendResult::error;
        if (waited == BRINA::Socket::WaitTimeout) return SendResult::timeout;
        // Measured from the send, so that a stream of strangers can't stretch the limit.
        const uint32_t spent = BRINA::nowMicroseconds() - start;
        remaining = spent >= kAnswerTime ? 0 : kAnswerTime - spent;
        std::vector<uint8_t> datagram;
        BRINA::IPAddress from;
        if (!discoverySocket.receive(datagram, from)) return SendResult::error;
        const BRINA::BufferCS_const message(datagram);
        if (!Packet::isValid(message)) continue;
        BRINA::LogStream(7, "sendAck[") << discoverySocket.boundScope() << "," << target.scope() << ","
                                        << from.scope() << "]RCV:" << command;
        const PacketHeader header(message.data);
        if (header.command() == command) return SendResult::echoed;
        if (header.command() != expected) continue;
        if (!(header.flags() & PacketFlag::HasContent)) {
            answer = std::move(datagram);
            return SendResult::noContent;
        }
        if (from != target) continue;
        answer = std::move(datagram);
        return SendResult::answered;
    }
}

} // namespace TESSERA
