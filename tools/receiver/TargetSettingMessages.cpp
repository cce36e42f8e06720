#include "tools/receiver/TargetSettingMessages.h"

#include "tools/receiver/TargetCommands.h"
#include "tools/receiver/TargetWireBasics.h"

namespace TESSERA::TargetWire {

bool readSettingListRequest(BRINA::BufferCS_const message, uint16_t& number) {
    PacketHeader header;
    if (!readHeader(message, SETTING_LIST_REQ, header)) return false;
    number = header.word8();
    return true;
}

Packet settingCountAnswer(uint16_t count) {
    return answer(SETTING_LIST_ANS, count);
}

Packet settingListAnswer(uint16_t number, uint16_t type, uint16_t lowest, uint16_t highest,
                         const std::string& name) {
    return withText(answer(SETTING_LIST_ANS, number, type, lowest, highest), name);
}

bool readSettingRequest(BRINA::BufferCS_const message, SettingRequest& request) {
    PacketHeader header;
    if (!readHeader(message, SETTING_REQ, header)) return false;
    request.number = header.word8();
    request.operation = header.word10();
    request.value = header.word12();
    request.text = payloadText(message);
    return true;
}

Packet settingAnswer(uint16_t number, uint16_t value, uint16_t current, const std::string& text,
                     bool content) {
    Packet packet = answer(SETTING_ANS, number, value, 0, current);
    if (!content) packet.header().setFlags(0);
    return text.empty() ? packet : withText(packet, text);
}

bool readTextRequest(BRINA::BufferCS_const message, uint16_t command, uint16_t& number) {
    PacketHeader header;
    if (!readHeader(message, command, header)) return false;
    number = header.word8();
    return true;
}

Packet textAnswer(uint16_t command, const std::string& text) {
    return withText(answer(command), text);
}

Packet selectAnswer(uint16_t number) {
    return answer(SELECT_ANS, number);
}

} // namespace TESSERA::TargetWire
