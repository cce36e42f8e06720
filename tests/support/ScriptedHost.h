#pragma once
// A Host made of one socket on ::1, for tests that talk to a Target datagram by datagram.
#include "BRINA/Network/IPAddress.h"
#include "BRINA/Network/Socket.h"
#include "transport/wire/Packet.h"

#include <cstdint>
#include <vector>

namespace TESTING {

using Bytes = std::vector<uint8_t>;

BRINA::IPAddress loopbackAddress(uint16_t port = 0);
Bytes bytesOf(const TESSERA::Packet& packet);

class ScriptedHost {
public:
    // Far longer than any answer takes, even on a busy machine; the tests wait that long only on failure.
    static constexpr uint32_t kPatienceMicroseconds = 5'000'000;

    ScriptedHost();
    bool ready() const { return isReady; }
    const BRINA::IPAddress& address() const { return local; }

    bool send(uint16_t port, const Bytes& datagram);
    bool send(uint16_t port, const TESSERA::Packet& packet) { return send(port, bytesOf(packet)); }
    // The next datagram, or an empty one when none came; from gets its sender.
    Bytes receive(BRINA::IPAddress* from = nullptr);
    // One request to [::1]:port and the first datagram that comes back.
    Bytes ask(uint16_t port, const TESSERA::Packet& packet, BRINA::IPAddress* from = nullptr);
    // True when a request was dropped: the Target, which answers in order, answers a NOPBREAK_REQ sent
    // after it with nothing before its NOPBREAK_ANS.
    bool droppedBefore(uint16_t port);

private:
    BRINA::Socket socket;
    BRINA::IPAddress local;
    bool isReady = false;
};

} // namespace TESTING
