#include "tools/receiver/TargetTransfer.h"

#include "tools/receiver/TargetTransferMessages.h"

#include <algorithm>
#include <cstring>
#include <random>

namespace TESSERA {

namespace {

namespace TW = TargetWire;

constexpr uint32_t kArrivalsKept = 4096;
constexpr uint16_t kComplete = 0xFFFF;

} // namespace

TargetTransfer::TargetTransfer(const TargetTransferConfig& config)
    : cfg(config), receiving(config.slots), done(config.slots), silentLeft(config.silentAcks),
      lossRandom(config.lossSeed) {}

bool TargetTransfer::handle(BRINA::BufferCS_const message, std::vector<Packet>& replies) {
    uint16_t mark = 0, crc = 0, value = 0;
    TW::TransferData data;
    std::lock_guard<std::mutex> lock(mutex);
    if (TW::readTransferRequest(message, mark)) {
        if (mark == 0) {
            replies.push_back(TW::transferAnswer(cfg.slots, cfg.windowLimit, 0, 0));
        } else if (mark <= cfg.slots) {
            // Asking for a slot's shape starts a transfer into it afresh.
            receiving[mark - 1] = Receiving{true, 0, {}};
            replies.push_back(TW::transferAnswer(mark, static_cast<uint16_t>(cfg.packetSize - 1),
                                                 static_cast<uint16_t>(cfg.blockLength - 1),
                                                 static_cast<uint16_t>(cfg.blockCount - 1)));
        }
    } else if (TW::readTransferEnd(message, mark, crc, value)) {
        endOrQuery(mark, crc, value, replies);
    } else if (TW::readTransferData(message, data)) {
        takeData(data, message, replies);
    } else {
        return false;
    }
    return true;
}

void TargetTransfer::takeData(const TargetWire::TransferData& data, BRINA::BufferCS_const message,
                              std::vector<Packet>& replies) {
    if (data.slotMark == 0 || data.slotMark > cfg.slots) return;
    if (seen.size() < kArrivalsKept) seen.emplace_back(message.data, message.data + message.size);
    if (cfg.dropOnce >= 0 && data.sequence == cfg.dropOnce && !dropped) {
        dropped = true;
        return;
    }
    if (cfg.lossShare > 0 && std::uniform_real_distribution<double>(0, 1)(lossRandom) < cfg.lossShare) return;
    Receiving& slot = receiving[data.slotMark - 1];
    if (!slot.active) return;
    // Bytes that would lie outside the slot are not taken, so the slot never grows beyond its shape.
    const bool fits =
        data.block < cfg.blockCount && data.inBlock < cfg.blockLength && data.bytes.size <= cfg.packetSize;
    if (fits && data.sequence == slot.next) {
        const size_t offset =
            (static_cast<size_t>(data.block) * cfg.blockLength + data.inBlock) * cfg.packetSize;
        if (slot.bytes.size() < offset + data.bytes.size) slot.bytes.resize(offset + data.bytes.size);
        std::memcpy(slot.bytes.data() + offset, data.bytes.data, data.bytes.size);
        if (cfg.spoilOnce >= 0 && data.sequence == cfg.spoilOnce && !spoiled && data.bytes.size > 0) {
            spoiled = true;
            slot.bytes[offset] = static_cast<uint8_t>(~slot.bytes[offset]);
        }
        ++slot.next;
    }
    if (!data.lastOfWindow) return;
    if (silentLeft > 0) {
        --silentLeft;
        return;
    }
    // A whole window is acknowledged with its last sequence; a gap with the first sequence missing.
    const bool whole = static_cast<uint16_t>(data.sequence + 1) == slot.next;
    const uint16_t reached = whole && !cfg.ackFollowing ? static_cast<uint16_t>(slot.next - 1) : slot.next;
    const uint16_t mark = cfg.wrongSlotAck ? static_cast<uint16_t>(data.slotMark + 1) : data.slotMark;
    replies.push_back(TW::transferAck(mark, reached, !cfg.refuse));
}

void TargetTransfer::endOrQuery(uint16_t mark, uint16_t crc, uint16_t value, std::vector<Packet>& replies) {
    if (mark == 0 || mark > cfg.slots) return;
    Receiving& slot = receiving[mark - 1];
    if (value == kComplete) {
        const bool whole = slot.active && TW::crc16(slot.bytes.data(), slot.bytes.size()) == crc;
        if (whole) done[mark - 1] = slot.bytes;
        slot = Receiving{};
        replies.push_back(TW::transferEndAnswer(mark, crc, whole ? kComplete : 0));
        return;
    }
    // A query: the length of what the slot holds (at most 65,534) when its CRC is the one asked about.
    const std::vector<uint8_t>& held = done[mark - 1];
    const bool same = !held.empty() && TW::crc16(held.data(), held.size()) == crc;
    replies.push_back(TW::transferEndAnswer(
        mark, crc, same ? static_cast<uint16_t>(std::min<size_t>(held.size(), 0xFFFE)) : 0));
}

std::vector<uint8_t> TargetTransfer::slot(size_t index) const {
    std::lock_guard<std::mutex> lock(mutex);
    return done.at(index);
}

std::vector<std::vector<uint8_t>> TargetTransfer::arrivals() const {
    std::lock_guard<std::mutex> lock(mutex);
    return seen;
}

} // namespace TESSERA
