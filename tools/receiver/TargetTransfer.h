#pragma once
// The software Target's slots: transfers taken in window by window, acknowledged, and checked by CRC at the
// end.
#include "BRINA/BufferCS_const.h"
#include "tools/receiver/TargetTransferConfig.h"
#include "tools/receiver/TargetTransferMessages.h"
#include "transport/wire/Packet.h"

#include <cstdint>
#include <mutex>
#include <random>
#include <vector>

namespace TESSERA {

class TargetTransfer {
public:
    explicit TargetTransfer(const TargetTransferConfig& config);

    // True when message belongs to a transfer; replies then holds the answers (none for a lost packet, an
    // unacknowledged window or a slot that doesn't exist).
    bool handle(BRINA::BufferCS_const message, std::vector<Packet>& replies);

    // The bytes of the last complete transfer into a slot; empty when there was none.
    std::vector<uint8_t> slot(size_t index) const;
    // Every TRANSFER_DATA as it arrived, the first 4,096 of them.
    std::vector<std::vector<uint8_t>> arrivals() const;

private:
    struct Receiving {
        bool active = false;
        uint16_t next = 0; // the sequence number expected next
        std::vector<uint8_t> bytes;
    };
    void takeData(const TargetWire::TransferData& data, BRINA::BufferCS_const message,
                  std::vector<Packet>& replies);
    void endOrQuery(uint16_t slotMark, uint16_t crc, uint16_t value, std::vector<Packet>& replies);

    const TargetTransferConfig cfg;
    mutable std::mutex mutex;               // the discovery thread writes, a test reads
    std::vector<Receiving> receiving;       // under mutex, one per slot
    std::vector<std::vector<uint8_t>> done; // under mutex, one per slot
    std::vector<std::vector<uint8_t>> seen; // under mutex
    uint32_t silentLeft = 0;                // under mutex
    bool dropped = false;                   // under mutex
    bool spoiled = false;                   // under mutex
    std::mt19937 lossRandom;                // under mutex
};

} // namespace TESSERA
