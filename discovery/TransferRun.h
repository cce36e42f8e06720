#pragma once
// The data part of one transfer into a Target's slot: windows of TRANSFER_DATA, each acknowledged, resent
// after a silence or a wrong acknowledgement, with a window limit that shrinks after each silence.
#include "BRINA/BufferCS_const.h"
#include "BRINA/Network/IPAddress.h"
#include "BRINA/Network/Socket.h"
#include "transport/wire/Packet.h"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <random>

namespace TESSERA {

class TransferRun {
public:
    static constexpr uint32_t kWindowPackets = 1024; // packets a window holds at most
    static constexpr uint32_t kAckTime = 100'000;    // microseconds for each TRANSFER_ACK
    static constexpr uint32_t kQuietTime = 10'000;   // silence that ends a drain
    static constexpr uint32_t kResends = 10;         // resends of one window; one more ends the transfer
    static constexpr uint32_t kShrinkStep = 1000;    // bytes the window limit loses after a silence
    static constexpr uint16_t kUnlimited = 0xFFFF;   // a window limit of no limit

    struct Shape {
        uint16_t slot = 0;
        uint32_t packetSize = 1;  // payload bytes of one TRANSFER_DATA
        uint32_t blockLength = 1; // packets in one block
        uint32_t blockCount = 1;
        uint32_t windowLimit = kUnlimited; // payload bytes before an acknowledgement
    };
    using Progress = std::function<void(uint16_t block, uint16_t blockCount)>;

    TransferRun(BRINA::Socket& socket, const BRINA::IPAddress& target, const Shape& shape);

    // Sends every byte of data, block by block; false at the first failure, its message logged.
    bool send(BRINA::BufferCS_const data, const Progress& progress);
    uint32_t windowLimit() const { return shape.windowLimit; }

private:
    enum class Outcome { Done, Resend, Failed };
    // Builds the next window from data at offset; returns the number of packets in it.
    uint32_t buildWindow(BRINA::BufferCS_const data, uint32_t& offset, uint32_t& packetsLeft, uint16_t block);
    bool sendWindow(uint32_t count);
    Outcome waitForAck(uint16_t last);
    Outcome drain();
    bool resend(uint32_t count);

    BRINA::Socket& socket;
    BRINA::IPAddress target;
    Shape shape;
    uint16_t sequence = 0; // of the next new packet, over the whole transfer
    uint16_t inBlock = 0;  // of the next new packet, within its block
    uint16_t lastAck = 0;
    uint32_t resends = 0;
    std::mt19937 random;
    // The packets of the window; each keeps its storage from window to window.
    std::array<std::optional<Packet>, kWindowPackets> window;
};

} // namespace TESSERA
