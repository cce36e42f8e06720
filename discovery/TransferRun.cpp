#include "discovery/TransferRun.h"

#include "BRINA/LogStream.h"
#include "BRINA/Time.h"
#include "transport/wire/SyncCommands.h"
#include "transport/wire/TransferMessages.h"

#include <algorithm>
#include <cstring>

namespace TESSERA {

namespace {

namespace TM = TransferMessages;

// True when sequence a lies before b, counting across the 16-bit wrap.
bool before(uint16_t a, uint16_t b) {
    return static_cast<int16_t>(a - b) < 0;
}

} // namespace

// Any source will do for the length of the padding behind a resent packet: MT19937 from the random device.
TransferRun::TransferRun(BRINA::Socket& s, const BRINA::IPAddress& to, const Shape& sh)
    : socket(s), target(to), shape(sh), random(std::random_device{}()) {}

bool TransferRun::send(BRINA::BufferCS_const data, const Progress& progress) {
    uint32_t offset = 0;
    for (uint32_t block = 0; offset < data.size; ++block) {
        progress(static_cast<uint16_t>(block), static_cast<uint16_t>(shape.blockCount));
        inBlock = 0;
        const uint32_t remaining = data.size - offset;
        uint32_t packetsLeft =
            std::min(shape.blockLength, (remaining + shape.packetSize - 1) / shape.packetSize);
        while (packetsLeft != 0) {
            const uint32_t count = buildWindow(data, offset, packetsLeft, static_cast<uint16_t>(block));
            const uint16_t last = static_cast<uint16_t>(sequence - 1);
            resends = 0;
            if (!sendWindow(count)) return false;
            for (;;) {
                const Outcome outcome = waitForAck(last);
                if (outcome == Outcome::Done) break;
                if (outcome == Outcome::Failed || !resend(count)) return false;
            }
        }
    }
    return true;
}

uint32_t TransferRun::buildWindow(BRINA::BufferCS_const data, uint32_t& offset, uint32_t& packetsLeft,
                                  uint16_t block) {
    uint32_t count = 0, bytes = 0;
    for (bool last = false; !last; ++count) {
        const uint32_t n = std::min(shape.packetSize, data.size - offset);
        Packet& packet = window[count] ? *window[count] : window[count].emplace(TRANSFER_DATA);
        packet.setPayloadSize(n);
        std::memcpy(packet.payload(), data.data + offset, n);
        offset += n;
        --packetsLeft;
        bytes += n;
        // No limit ends a window only at its block's end or when the array is full.
        last = (shape.windowLimit != kUnlimited && bytes >= shape.windowLimit) || offset == data.size ||
               packetsLeft == 0 || count + 1 == kWindowPackets;
        TM::setDataHeader(packet.header(), shape.slot, last, sequence, inBlock, block);
        packet.writeHeader();
        ++sequence;
        ++inBlock;
    }
    return count;
}

bool TransferRun::sendWindow(uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
        const Packet& packet = *window[i];
        if (!socket.sendTo(target, packet.data(), packet.size(), false)) {
            BRINA::LogStream(3, "UDP stream send error ") << 1001 << ":" << socket.lastError.load();
            return false;
        }
    }
    return true;
}

TransferRun::Outcome TransferRun::waitForAck(uint16_t last) {
    const uint32_t start = BRINA::nowMicroseconds();
    uint32_t remaining = kAckTime;
    for (;;) {
        const int waited = socket.wait(remaining);
        if (waited == BRINA::Socket::WaitError) {
            BRINA::LogStream(6, "Retry Detect Error ");
            return Outcome::Failed;
        }
        if (waited == BRINA::Socket::WaitTimeout) return drain();
        const uint32_t spent = BRINA::nowMicroseconds() - start;
        remaining = spent >= kAckTime ? 0 : kAckTime - spent;
        std::vector<uint8_t> datagram;
        BRINA::IPAddress from;
        if (!socket.receive(datagram, from)) {
            BRINA::LogStream(3, "UDP stream send error ") << 1048 << ":" << socket.lastError.load();
            return Outcome::Failed;
        }
        bool accepted = false;
        uint16_t slotMark = 0, reached = 0;
        if (!TM::readTransferAck(BRINA::BufferCS_const(datagram), accepted, slotMark, reached)) continue;
        if (!accepted) {
            BRINA::LogStream(3, "Transfer NAK error ");
            return Outcome::Failed;
        }
        if (slotMark != static_cast<uint16_t>(shape.slot + 1)) {
            BRINA::LogStream(3, "Transfer NO error ");
            return Outcome::Failed;
        }
        lastAck = reached;
        if (lastAck == last) return Outcome::Done;
        if (lastAck == static_cast<uint16_t>(last + 1)) {
            BRINA::LogStream(6, "Retry Redy Pass ") << last << " " << lastAck;
            return Outcome::Done;
        }
        BRINA::LogStream(6, "Retry Detect err ") << last << " " << lastAck;
        return drain();
    }
}

TransferRun::Outcome TransferRun::drain() {
    for (;;) {
        const int waited = socket.wait(kQuietTime);
        if (waited == BRINA::Socket::WaitError) {
            BRINA::LogStream(6, "Retry Clear Error ");
            return Outcome::Failed;
        }
        if (waited == BRINA::Socket::WaitTimeout) break;
        std::vector<uint8_t> late;
        BRINA::IPAddress from;
        if (!socket.receive(late, from)) {
            BRINA::LogStream(3, "UDP stream send error ") << 1090 << ":" << socket.lastError.load();
            return Outcome::Failed;
        }
    }
    if (shape.windowLimit > kShrinkStep)
        shape.windowLimit -= kShrinkStep;
    else if (shape.windowLimit > 1)
        shape.windowLimit -= 1;
    return Outcome::Resend;
}

bool TransferRun::resend(uint32_t count) {
    ++resends;
    BRINA::LogStream(6, "resend ") << count;
    if (resends > kResends) {
        BRINA::LogStream(3, "Transfer error ") << resends;
        return false;
    }
    for (uint32_t i = 0; i < count; ++i) {
        Packet& packet = *window[i];
        const PacketHeader& header = packet.header();
        // The packets before the acknowledged sequence arrived; the last one always goes again.
        if (i + 1 != count && before(header.word10(), lastAck)) continue;
        // A few zero bytes of random length behind the message, which the header doesn't count.
        packet.setPayloadPadded(packet.payloadLength(), packet.payloadLength() + random() % 4);
        BRINA::LogStream(6, "resend ")
            << header.word14() << " " << header.word12() << " " << header.word10()
            << " data=" << packet.payloadLength() << " packet=" << packet.storageSize();
        const BRINA::BufferCS_const datagram = packet.datagram();
        if (!socket.sendTo(target, datagram.data, datagram.size, false)) {
            BRINA::LogStream(3, "UDP stream send error ") << 1021 << ":" << socket.lastError.load();
            return false;
        }
    }
    return true;
}

} // namespace TESSERA
