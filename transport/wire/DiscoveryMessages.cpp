#include "transport/wire/DiscoveryMessages.h"

namespace TESSERA::DiscoveryMessages {

namespace {

using BRINA::BufferCS_const;

std::string textOf(BufferCS_const message) {
    std::string text;
    Packet::readText(message, text);
    return text;
}

} // namespace

bool hasContent(BufferCS_const message) {
    return Packet::isValid(message) && (PacketHeader(message.data).flags() & PacketFlag::HasContent) != 0;
}

bool commandOf(BufferCS_const message, uint16_t& command) {
    if (!Packet::isValid(message)) return false;
    command = PacketHeader(message.data).command();
    return true;
}

Packet findRequest(bool watch) {
    return Packet(FIND_REQ, watch ? 1 : 0, 0, 0, 0);
}

bool readFindAnswer(BufferCS_const message, uint64_t& productId, std::string& name) {
    PacketHeader h;
    if (!Packet::headerOf(message, FIND_ANS, h)) return false;
    productId = h.value64();
    name = textOf(message);
    return true;
}

Packet outputRequest(uint16_t index) {
    return Packet(OUTPUT_REQ, index, 0, 0, 1);
}

bool readOutputAnswer(BufferCS_const message, OutputAnswer& answer) {
    PacketHeader h;
    if (!Packet::headerOf(message, OUTPUT_ANS, h)) return false;
    answer.count = h.word8();
    answer.port = h.word12();
    answer.version = h.word14();
    answer.name = textOf(message);
    return true;
}

Packet infoRequest() {
    return Packet(INFO_REQ);
}

bool readTextAnswer(BufferCS_const message, uint16_t command, std::string& text) {
    PacketHeader h;
    if (!Packet::headerOf(message, command, h)) return false;
    text = textOf(message);
    return true;
}

Packet hostRequest(uint64_t ownProduct, const std::string& hostName) {
    Packet packet(HOST_REQ, ownProduct);
    packet.header().setFlags(1);
    // A name beyond the largest payload is cut, so that the greeting still goes out.
    packet.setText(hostName.substr(0, Packet::kMaxPayload));
    return packet;
}

bool readNotify(BufferCS_const message, uint16_t& counter) {
    PacketHeader h;
    if (!Packet::headerOf(message, NOTIFY, h)) return false;
    counter = h.word8();
    return true;
}

} // namespace TESSERA::DiscoveryMessages
