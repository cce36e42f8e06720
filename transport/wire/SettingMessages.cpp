#include "transport/wire/SettingMessages.h"

namespace TESSERA::SettingMessages {

using BRINA::BufferCS_const;

Packet settingListRequest(uint16_t number) {
    return Packet(SETTING_LIST_REQ, number, 0, 0, 0);
}

bool readSettingListAnswer(BufferCS_const message, SettingListAnswer& answer) {
    PacketHeader h;
    if (!Packet::headerOf(message, SETTING_LIST_ANS, h)) return false;
    answer.number = h.word8();
    answer.type = h.word10();
    answer.lowest = h.word12();
    answer.highest = h.word14();
    return Packet::readText(message, answer.name);
}

Packet settingRequest(uint16_t number, uint16_t operation, uint16_t value, const std::string& text) {
    Packet packet(SETTING_REQ, number, operation, value, 0);
    if (!text.empty()) packet.setText(text.substr(0, Packet::kMaxPayload));
    return packet;
}

bool readSettingAnswer(BufferCS_const message, SettingAnswer& answer) {
    PacketHeader h;
    if (!Packet::headerOf(message, SETTING_ANS, h)) return false;
    answer.number = h.word8();
    answer.value = h.word10();
    answer.current = h.word14();
    return Packet::readText(message, answer.text);
}

Packet textRequest(uint16_t command) {
    return Packet(command);
}

Packet itemTextRequest(uint16_t number) {
    return Packet(TEXT_C_REQ, number, 0, 0, 0);
}

Packet selectRequest(uint16_t number) {
    return Packet(SELECT_REQ, number, 0, 0, 0);
}

bool readSelectAnswer(BufferCS_const message, uint16_t& number) {
    PacketHeader h;
    if (!Packet::headerOf(message, SELECT_ANS, h)) return false;
    number = h.word8();
    return true;
}

} // namespace TESSERA::SettingMessages
