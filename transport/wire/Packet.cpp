#include "transport/wire/Packet.h"

#include <algorithm>
#include <cstring>

namespace TESSERA {

Packet::Packet(uint16_t command) {
    head.setMagic(PacketHeader::kMagic);
    head.setSizeField(PacketHeader::kSize);
    head.setCommand(command);
}

Packet::Packet(uint16_t command, uint16_t word8, uint16_t word10, uint16_t word12, uint16_t word14)
    : Packet(command) {
    head.setWords(word8, word10, word12, word14);
}

Packet::Packet(uint16_t command, uint32_t low, uint32_t high) : Packet(command) {
    head.setPair(low, high);
}

Packet::Packet(uint16_t command, uint64_t value) : Packet(command) {
    head.setValue64(value);
}

BRINA::BufferCS_const Packet::datagram() const {
    if (storage.empty()) return BRINA::BufferCS_const(head.data(), PacketHeader::kSize);
    return BRINA::BufferCS_const(storage);
}

uint16_t Packet::sizeFieldFor(uint32_t length) {
    const uint32_t pad = (0u - length) & 7u;
    const uint32_t total = (length + 23u) & 0xFFF8u;
    return static_cast<uint16_t>(total | pad);
}

bool Packet::setPayloadSize(uint32_t newLength) {
    if (newLength > kMaxPayload) return false;
    const uint16_t sizeField = sizeFieldFor(newLength);
    const uint32_t total = sizeField & 0xFFF8u;
    head.setSizeField(sizeField);
    storage.resize(total);
    // The pad lies in the last 8 bytes; clear them before the payload is copied in.
    if ((sizeField & 7u) != 0) std::fill(storage.end() - 8, storage.end(), uint8_t{0});
    length = static_cast<uint16_t>(newLength);
    return true;
}

bool Packet::setPayloadPadded(uint32_t newLength, uint32_t capacity) {
    if (newLength > kMaxPayload || capacity > kMaxPayload) return false;
    const uint16_t sizeField = sizeFieldFor(newLength);
    head.setSizeField(sizeField);
    // Storage never ends before the message, even when capacity is below the payload.
    const uint32_t spanned = std::max<uint32_t>(sizeField & 0xFFF8u, (capacity + 23u) & 0xFFF8u);
    storage.resize(spanned);
    length = static_cast<uint16_t>(newLength);
    return true;
}

void Packet::writeHeader() {
    if (!storage.empty()) head.copyTo(storage.data());
}

bool Packet::setText(const std::string& text) {
    if (text.size() > kMaxPayload) return false;
    setPayloadSize(static_cast<uint32_t>(text.size()));
    if (!text.empty()) std::memcpy(payload(), text.data(), text.size());
    writeHeader();
    return true;
}

uint16_t Packet::payloadSize(uint16_t sizeField) {
    const uint32_t total = sizeField & 0xFFF8u;
    const uint32_t pad = sizeField & 7u;
    // A sizeField shorter than the header and its pad states no payload at all.
    if (total < PacketHeader::kSize + pad) return 0;
    return static_cast<uint16_t>(total - pad - PacketHeader::kSize);
}

bool Packet::headerOf(BRINA::BufferCS_const datagram, uint16_t command, PacketHeader& header) {
    if (!isValid(datagram)) return false;
    header = PacketHeader(datagram.data);
    return header.command() == command;
}

bool Packet::isValid(BRINA::BufferCS_const datagram) {
    if (datagram.data == nullptr || datagram.size < PacketHeader::kSize) return false;
    const PacketHeader header(datagram.data);
    // The length is compared as a 16-bit value; a longer buffer counts as 65,535 bytes.
    const uint16_t length = static_cast<uint16_t>(std::min<uint32_t>(datagram.size, 0xFFFFu));
    return header.magic() == PacketHeader::kMagic && (header.sizeField() & 0xFFF8u) <= length;
}

uint16_t Packet::payloadSize(BRINA::BufferCS_const datagram) {
    if (!isValid(datagram)) return 0;
    return payloadSize(PacketHeader(datagram.data).sizeField());
}

bool Packet::readText(BRINA::BufferCS_const datagram, std::string& text) {
    if (!isValid(datagram)) return false;
    const char* first = reinterpret_cast<const char*>(datagram.data + PacketHeader::kSize);
    text.assign(first, payloadSize(datagram));
    return true;
}

} // namespace TESSERA
