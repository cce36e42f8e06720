#pragma once
// One datagram of either protocol: the local header, and storage once the message has a payload.
#include "BRINA/BufferCS_const.h"
#include "transport/wire/PacketHeader.h"

#include <cstdint>
#include <string>
#include <vector>

namespace TESSERA {

class Packet {
public:
    static constexpr uint32_t kMaxLength = 65528;
    static constexpr uint32_t kMaxPayload = kMaxLength - PacketHeader::kSize;

    // Header-only packets: magic 100, sizeField 16, flags 0, the words as given and the rest 0.
    explicit Packet(uint16_t command);
    Packet(uint16_t command, uint16_t word8, uint16_t word10, uint16_t word12, uint16_t word14);
    Packet(uint16_t command, uint32_t low, uint32_t high);
    Packet(uint16_t command, uint64_t value);

    PacketHeader& header() { return head; }
    const PacketHeader& header() const { return head; }

    // The message to send: the header itself when there is no storage, else the start of storage.
    const uint8_t* data() const { return storage.empty() ? head.data() : storage.data(); }
    // 16, or the length that sizeField gives.
    uint32_t size() const { return storage.empty() ? PacketHeader::kSize : (head.sizeField() & 0xFFF8u); }
    // The whole datagram as stored, with the spare bytes of setPayloadPadded; longer than size() then.
    BRINA::BufferCS_const datagram() const;
    // Where the payload goes; null while the packet is header-only.
    uint8_t* payload() { return storage.empty() ? nullptr : storage.data() + PacketHeader::kSize; }
    uint16_t payloadLength() const { return length; }
    uint32_t storageSize() const { return static_cast<uint32_t>(storage.size()); }

    // Makes room for a payload of length bytes, zero padded; false beyond the largest message.
    bool setPayloadSize(uint32_t length);
    // As setPayloadSize, but storage spans capacity; bytes already stored stay, so a packet repeats in place.
    bool setPayloadPadded(uint32_t length, uint32_t capacity);
    // Copies the local header to the start of storage: the last step of building a packet.
    void writeHeader();
    // A payload of raw text bytes, no terminator; false (and nothing changed) beyond the largest payload.
    bool setText(const std::string& text);

    // sizeField for a payload of length bytes: the padded length in bits 3-15, the pad in bits 0-2.
    static uint16_t sizeFieldFor(uint32_t length);
    // The payload length that a sizeField states.
    static uint16_t payloadSize(uint16_t sizeField);
    // At least 16 bytes, magic 100, and no longer by its sizeField than it is.
    static bool isValid(BRINA::BufferCS_const datagram);
    // The header of a received datagram, when it is a valid message of the given command.
    static bool headerOf(BRINA::BufferCS_const datagram, uint16_t command, PacketHeader& header);
    // The payload length of a received datagram; 0 when it isn't a valid message.
    static uint16_t payloadSize(BRINA::BufferCS_const datagram);
    // The payload of a valid message as text; false for an invalid datagram.
    static bool readText(BRINA::BufferCS_const datagram, std::string& text);

private:
    PacketHeader head;
    std::vector<uint8_t> storage;
    uint16_t length = 0;
};

} // namespace TESSERA
