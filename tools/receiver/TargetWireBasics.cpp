#include "tools/receiver/TargetWireBasics.h"

#include "tools/receiver/TargetCommands.h"

namespace TESSERA::TargetWire {

bool readHeader(BRINA::BufferCS_const message, uint16_t command, PacketHeader& header) {
    if (!Packet::isValid(message)) return false;
    header = PacketHeader(message.data);
    return header.command() == command;
}

std::string payloadText(BRINA::BufferCS_const message) {
    std::string text;
    Packet::readText(message, text);
    return text;
}

Packet answer(uint16_t command, uint16_t word8, uint16_t word10, uint16_t word12, uint16_t word14) {
    Packet packet(command, word8, word10, word12, word14);
    packet.header().setFlags(Flag::HasContent);
    return packet;
}

Packet answerValue(uint16_t command, uint64_t value) {
    Packet packet(command, value);
    packet.header().setFlags(Flag::HasContent);
    return packet;
}

Packet withText(Packet packet, const std::string& text) {
    packet.setText(cutText(text));
    return packet;
}

std::string cutText(const std::string& text) {
    if (text.size() <= kLongestText) return text;
    size_t end = kLongestText;
    // A cut before a continuation byte (10xxxxxx) would leave half a character: move it to the lead byte,
    // which is at most three bytes back in a valid text.
    while (end > kLongestText - 3 && (static_cast<uint8_t>(text[end]) & 0xC0) == 0x80)
        --end;
    return text.substr(0, end);
}

} // namespace TESSERA::TargetWire
