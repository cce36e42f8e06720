// Any datagram through the software Target's readers of the discovery port: nothing read past its end, a
// reader accepts only a valid message of its own command, and the settings and slots take it without harm.
#include "tools/receiver/TargetCommands.h"
#include "tools/receiver/TargetDiscoveryMessages.h"
#include "tools/receiver/TargetSettingMessages.h"
#include "tools/receiver/TargetSettings.h"
#include "tools/receiver/TargetTransfer.h"
#include "tools/receiver/TargetTransferMessages.h"

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

using BRINA::BufferCS_const;
using TESSERA::Packet;
using TESSERA::PacketHeader;
namespace TW = TESSERA::TargetWire;

void check(bool condition) {
    if (!condition) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const BufferCS_const d(data, static_cast<uint32_t>(size));
    const bool valid = Packet::isValid(d);
    const uint16_t command = valid ? PacketHeader(data).command() : 0xFFFF;
    const auto is = [&](uint16_t c) { return valid && command == c; };
    uint16_t word = 0, crc = 0, value = 0;
    uint64_t product = 0;
    std::string text;
    TW::SettingRequest setting;
    TW::TransferData transfer;
    check(TW::readFindRequest(d, word) == is(TW::FIND_REQ));
    check(TW::readOutputRequest(d, word) == is(TW::OUTPUT_REQ));
    check(TW::readHostRequest(d, product, text) == is(TW::HOST_REQ));
    check(TW::readSettingListRequest(d, word) == is(TW::SETTING_LIST_REQ));
    check(TW::readSettingRequest(d, setting) == is(TW::SETTING_REQ));
    check(TW::readTextRequest(d, TW::TEXT_C_REQ, word) == is(TW::TEXT_C_REQ));
    check(TW::readTransferRequest(d, word) == is(TW::TRANSFER_REQ));
    check(TW::readTransferEnd(d, word, crc, value) == is(TW::TRANSFER_END_REQ));
    check(TW::readTransferData(d, transfer) == is(TW::TRANSFER_DATA));
    if (is(TW::TRANSFER_DATA)) check(transfer.bytes.data + transfer.bytes.size <= data + size);
    // The Target's own state machines take the datagram too, a few slots and settings of each kind.
    static TESSERA::TargetSettings settings(
        {{1, "n", 0, 9, 1, "", {}}, {6, "c", 0, 2, 0, "", {"a", "b", "c"}}}, {});
    TESSERA::TargetTransferConfig slots;
    slots.packetSize = 64;
    slots.blockLength = 4;
    slots.blockCount = 4;
    static TESSERA::TargetTransfer transfers(slots);
    std::vector<Packet> replies;
    settings.handle(d, replies);
    transfers.handle(d, replies);
    for (const Packet& reply : replies)
        check(Packet::isValid(reply.datagram()));
    return 0;
}
