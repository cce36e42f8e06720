// A transfer into a Target's slot: the negotiation and the end here, the windows in TransferRun.
#include "BRINA/LogStream.h"
#include "discovery/Find.h"
#include "discovery/TransferRun.h"
#include "transport/wire/Crc16.h"
#include "transport/wire/TransferMessages.h"

namespace TESSERA {

namespace {
namespace TM = TransferMessages;
}

bool Find::Transfer(const BRINA::IPAddress& target, int slot, BRINA::BufferCS_const data, unsigned limit) {
    return Transfer(target, slot, data, limit, [](uint16_t block, uint16_t blockCount) {
        BRINA::LogStream(7, "Transfer ") << block << "/" << blockCount;
    });
}

bool Find::Transfer(const BRINA::IPAddress& target, int slot, BRINA::BufferCS_const data, unsigned limit,
                    const std::function<void(uint16_t, uint16_t)>& progress) {
    transferEnd = TransferEnd::notReached;
    std::vector<uint8_t> answer;
    TM::TransferAnswer slots, shape;
    if (sendAck(target, TM::slotsRequest(), TRANSFER_ANS, answer) != SendResult::answered ||
        !TM::readTransferAnswer(BRINA::BufferCS_const(answer), slots) || slots.word8 == 0 || slot < 0 ||
        slots.word8 <= slot)
        return false;
    TransferRun::Shape run;
    run.slot = static_cast<uint16_t>(slot);
    run.windowLimit = slots.word10;
    if (limit != 0 && limit < run.windowLimit) run.windowLimit = limit;
    if (sendAck(target, TM::slotRequest(run.slot), TRANSFER_ANS, answer) != SendResult::answered ||
        !TM::readTransferAnswer(BRINA::BufferCS_const(answer), shape) ||
        shape.word8 != static_cast<uint16_t>(slot + 1))
        return false;
    run.packetSize = shape.word10 + 1u;
    run.blockLength = shape.word12 + 1u;
    run.blockCount = shape.word14 + 1u;
    if (static_cast<uint32_t>(run.packetSize * run.blockLength * run.blockCount) < data.size) return false;
    BRINA::LogStream(6, "start Transfer ") << data.size << " " << run.windowLimit;
    if (data.size != 0) {
        TransferRun windows(discoverySocket, target, run);
        if (!windows.send(data, progress)) return false;
    }
    const uint16_t crc = crc16Usb(data);
    uint16_t slotMark = 0, crcBack = 0, value = 0;
    if (sendAck(target, TM::endRequest(run.slot, crc, TM::kComplete), TRANSFER_END_ANS, answer) !=
            SendResult::answered ||
        !TM::readEndAnswer(BRINA::BufferCS_const(answer), slotMark, crcBack, value) ||
        slotMark != static_cast<uint16_t>(slot + 1) || crcBack != crc) {
        BRINA::LogStream(3, "TransferFinish error ");
        return false;
    }
    transferEnd = value == TM::kComplete ? TransferEnd::matched : TransferEnd::mismatched;
    if (value != TM::kComplete) {
        BRINA::LogStream(3, "TransferStrp error ");
        return false;
    }
    BRINA::LogStream(6, "compleat Transfer ");
    return true;
}

bool Find::transferQuery(const BRINA::IPAddress& target, int slot, uint16_t& crc, uint16_t& value) {
    std::vector<uint8_t> answer;
    uint16_t slotMark = 0, crcBack = 0, valueBack = 0;
    const uint16_t mark = static_cast<uint16_t>(slot + 1);
    if (sendAck(target, TM::endRequest(static_cast<uint16_t>(slot), crc, value), TRANSFER_END_ANS, answer) !=
            SendResult::answered ||
        !TM::readEndAnswer(BRINA::BufferCS_const(answer), slotMark, crcBack, valueBack) || slotMark != mark ||
        crcBack != crc)
        return false;
    value = valueBack;
    return true;
}

} // namespace TESSERA
