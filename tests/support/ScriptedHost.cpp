#include "tests/support/ScriptedHost.h"

#include "transport/wire/PacketHeader.h"
#include "transport/wire/SyncCommands.h"

namespace TESTING {

BRINA::IPAddress loopbackAddress(uint16_t port) {
    const uint8_t bytes[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    return BRINA::IPAddress(bytes, port, 0);
}

Bytes bytesOf(const TESSERA::Packet& packet) {
    return Bytes(packet.data(), packet.data() + packet.size());
}

ScriptedHost::ScriptedHost() : local(loopbackAddress()) {
    socket.receiveSize = 65536;
    isReady = socket.open(BRINA::Socket::IPv6Datagram) && socket.bind(local);
}

bool ScriptedHost::send(uint16_t port, const Bytes& datagram) {
    return socket.sendTo(loopbackAddress(port), datagram.data(), static_cast<uint32_t>(datagram.size()),
                         true);
}

Bytes ScriptedHost::receive(BRINA::IPAddress* from) {
    Bytes datagram;
    BRINA::IPAddress sender;
    if (socket.wait(kPatienceMicroseconds) != BRINA::Socket::WaitReadable ||
        !socket.receive(datagram, sender))
        datagram.clear();
    if (from) *from = sender;
    return datagram;
}

Bytes ScriptedHost::ask(uint16_t port, const TESSERA::Packet& packet, BRINA::IPAddress* from) {
    if (!send(port, packet)) return {};
    return receive(from);
}

bool ScriptedHost::droppedBefore(uint16_t port) {
    const Bytes answer = ask(port, TESSERA::Packet(TESSERA::NOPBREAK_REQ));
    return answer.size() >= TESSERA::PacketHeader::kSize &&
           TESSERA::PacketHeader(answer.data()).command() == TESSERA::NOPBREAK_ANS;
}

} // namespace TESTING
