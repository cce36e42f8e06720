#pragma once
// A Host made of one socket on ::1, for tests that talk to a Target datagram by datagram.
#include "BRINA/Network/IPAddress.h"
#include "BRINA/Network/Socket.h"
#include "transport/wire/Packet.h"
#include "transport/wire/PacketHeader.h"
#include "transport/wire/SyncCommands.h"

#include <cstdint>
#include <vector>

namespace TESTING {

using Bytes = std::vector<uint8_t>;

inline BRINA::IPAddress loopbackAddress(uint16_t port = 0) {
    const uint8_t bytes[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    return BRINA::IPAddress(bytes, port, 0);
}

inline Bytes bytesOf(const TESSERA::Packet& packet) {
    return Bytes(packet.data(), packet.data() + packet.size());
}

class ScriptedHost {
public:
    // Far longer than any answer takes, even on a busy machine; the tests wait that long only on failure.
    static constexpr uint32_t kPatienceMicroseconds = 5'000'000;

    ScriptedHost() : local(loopbackAddress()) {
        socket.receiveSize = 65536;
        isReady = socket.open(BRINA::Socket::IPv6Datagram) && socket.bind(local);
    }
    bool ready() const { return isReady; }
    const BRINA::IPAddress& address() const { return local; }

    bool send(uint16_t port, const Bytes& datagram) {
        return socket.sendTo(loopbackAddress(port), datagram.data(), static_cast<uint32_t>(datagram.size()),
                             true);
    }
    bool send(uint16_t port, const TESSERA::Packet& packet) { return send(port, bytesOf(packet)); }
    // The next datagram, or an empty one when none came; from gets its sender.
    Bytes receive(BRINA::IPAddress* from = nullptr) {
        Bytes datagram;
        BRINA::IPAddress sender;
        if (socket.wait(kPatienceMicroseconds) != BRINA::Socket::WaitReadable ||
            !socket.receive(datagram, sender))
            datagram.clear();
        if (from) *from = sender;
        return datagram;
    }
    // One request to [::1]:port and the first datagram that comes back.
    Bytes ask(uint16_t port, const TESSERA::Packet& packet, BRINA::IPAddress* from = nullptr) {
        return send(port, packet) ? receive(from) : Bytes{};
    }
    // True when a request was dropped: the Target, which answers in order, answers a NOPBREAK_REQ sent
    // after it with nothing before its NOPBREAK_ANS.
    bool droppedBefore(uint16_t port) {
        const Bytes answer = ask(port, TESSERA::Packet(TESSERA::NOPBREAK_REQ));
        return answer.size() >= TESSERA::PacketHeader::kSize &&
               TESSERA::PacketHeader(answer.data()).command() == TESSERA::NOPBREAK_ANS;
    }

private:
    BRINA::Socket socket;
    BRINA::IPAddress local;
    bool isReady = false;
};

} // namespace TESTING
