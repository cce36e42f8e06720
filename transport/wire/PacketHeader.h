#pragma once
// The 16 bytes that open every datagram of both protocols, kept as wire bytes and read field by field.
#include "BRINA/LittleEndian.h"

#include <array>
#include <cstdint>

namespace TESSERA {

class PacketHeader {
public:
    static constexpr uint32_t kSize = 16;
    static constexpr uint16_t kMagic = 100;

    // All sixteen bytes zero.
    PacketHeader() = default;
    // A copy of the first 16 bytes at wire; the caller has made sure that they are there.
    explicit PacketHeader(const uint8_t* wire);

    uint16_t magic() const { return field(0); }
    uint16_t sizeField() const { return field(2); }
    uint16_t command() const { return field(4); }
    uint16_t flags() const { return field(6); }
    uint16_t word8() const { return field(8); }
    uint16_t word10() const { return field(10); }
    uint16_t word12() const { return field(12); }
    uint16_t word14() const { return field(14); }
    // Bytes 8 to 15 as one value: word8 is its lowest part, word14 its highest.
    uint64_t value64() const { return BRINA::readLE64(bytes.data() + 8); }
    uint32_t low32() const { return BRINA::readLE32(bytes.data() + 8); }
    uint32_t high32() const { return BRINA::readLE32(bytes.data() + 12); }

    void setMagic(uint16_t v) { setField(0, v); }
    void setSizeField(uint16_t v) { setField(2, v); }
    void setCommand(uint16_t v) { setField(4, v); }
    void setFlags(uint16_t v) { setField(6, v); }
    void setWord8(uint16_t v) { setField(8, v); }
    void setWord10(uint16_t v) { setField(10, v); }
    void setWord12(uint16_t v) { setField(12, v); }
    void setWord14(uint16_t v) { setField(14, v); }
    void setWords(uint16_t w8, uint16_t w10, uint16_t w12, uint16_t w14);
    void setValue64(uint64_t v) { BRINA::writeLE64(bytes.data() + 8, v); }
    void setPair(uint32_t low, uint32_t high);

    // The header as it goes on the wire.
    const uint8_t* data() const { return bytes.data(); }
    void copyTo(uint8_t* out) const;

private:
    uint16_t field(uint32_t offset) const { return BRINA::readLE16(bytes.data() + offset); }
    void setField(uint32_t offset, uint16_t v) { BRINA::writeLE16(bytes.data() + offset, v); }

    std::array<uint8_t, kSize> bytes{};
};

} // namespace TESSERA
