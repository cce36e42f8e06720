// Any datagram through every reader of the Host's discovery messages: nothing read past its end, and a reader
// accepts only a valid message of its own command.
#include "transport/wire/DiscoveryMessages.h"
#include "transport/wire/Packet.h"
#include "transport/wire/SettingMessages.h"
#include "transport/wire/TransferMessages.h"

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

using BRINA::BufferCS_const;
using TESSERA::Packet;
namespace DM = TESSERA::DiscoveryMessages;
namespace SM = TESSERA::SettingMessages;
namespace TM = TESSERA::TransferMessages;

void check(bool condition) {
    if (!condition) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const BufferCS_const d(data, static_cast<uint32_t>(size));
    const bool valid = Packet::isValid(d);
    uint16_t command = 0xFFFF;
    check(DM::commandOf(d, command) == valid);
    const auto is = [&](uint16_t c) { return valid && command == c; };
    const uint16_t payload = Packet::payloadSize(d);
    uint64_t product = 0;
    uint16_t counter = 0;
    std::string text;
    DM::OutputAnswer output;
    check(DM::readFindAnswer(d, product, text) == is(TESSERA::FIND_ANS));
    if (is(TESSERA::FIND_ANS)) check(text.size() == payload);
    check(DM::readOutputAnswer(d, output) == is(TESSERA::OUTPUT_ANS));
    if (is(TESSERA::OUTPUT_ANS)) check(output.name.size() == payload);
    check(DM::readTextAnswer(d, TESSERA::INFO_ANS, text) == is(TESSERA::INFO_ANS));
    check(DM::readNotify(d, counter) == is(TESSERA::NOTIFY));
    if (DM::hasContent(d)) check(valid);
    SM::SettingListAnswer entry;
    SM::SettingAnswer setting;
    check(SM::readSettingListAnswer(d, entry) == is(TESSERA::SETTING_LIST_ANS));
    if (is(TESSERA::SETTING_LIST_ANS)) check(entry.name.size() == payload);
    check(SM::readSettingAnswer(d, setting) == is(TESSERA::SETTING_ANS));
    if (is(TESSERA::SETTING_ANS)) check(setting.text.size() == payload);
    check(SM::readSelectAnswer(d, counter) == is(TESSERA::SELECT_ANS));
    for (uint16_t c : {TESSERA::TEXT_A_ANS, TESSERA::TEXT_B_ANS, TESSERA::TEXT_C_ANS})
        check(DM::readTextAnswer(d, c, text) == is(c));
    TM::TransferAnswer transfer;
    bool accepted = false;
    uint16_t mark = 0, crc = 0, value = 0;
    check(TM::readTransferAnswer(d, transfer) == is(TESSERA::TRANSFER_ANS));
    check(TM::readTransferAck(d, accepted, mark, counter) == is(TESSERA::TRANSFER_ACK));
    if (is(TESSERA::TRANSFER_ACK)) check(accepted == DM::hasContent(d));
    check(TM::readEndAnswer(d, mark, crc, value) == is(TESSERA::TRANSFER_END_ANS));
    return 0;
}
