#pragma once
// The Host's side of a Target's settings list and of the plain text requests: questions built, answers read.
// Readers return false unless the datagram is a valid message of their command.
#include "BRINA/BufferCS_const.h"
#include "transport/wire/Packet.h"
#include "transport/wire/SyncCommands.h"

#include <cstdint>
#include <string>

namespace TESSERA::SettingMessages {

// word10 of SETTING_REQ.
constexpr uint16_t kRead = 0;
constexpr uint16_t kWrite = 1;      // with setting 0: the first action on all settings
constexpr uint16_t kReadSecond = 2; // with setting 0: the other action on all settings
constexpr uint16_t kValueText = 3;  // the text of value word12

// SETTING_LIST_REQ: 0 asks for the count, n from 1 for setting n.
Packet settingListRequest(uint16_t number);
struct SettingListAnswer {
    uint16_t number = 0;  // word8: the count, or n
    uint16_t type = 0;    // word10: the type code
    uint16_t lowest = 0;  // word12, raw; signed for type 2
    uint16_t highest = 0; // word14, raw
    std::string name;
};
bool readSettingListAnswer(BRINA::BufferCS_const message, SettingListAnswer& answer);

// SETTING_REQ: setting number (0 for all), the operation, a value, and a text when one is written.
Packet settingRequest(uint16_t number, uint16_t operation, uint16_t value, const std::string& text = "");
struct SettingAnswer {
    uint16_t number = 0;  // word8
    uint16_t value = 0;   // word10, raw
    uint16_t current = 0; // word14, raw
    std::string text;
};
bool readSettingAnswer(BRINA::BufferCS_const message, SettingAnswer& answer);

// TEXT_A_REQ, TEXT_B_REQ: all words 0. TEXT_C_REQ: the number in word8. The answers carry only text.
Packet textRequest(uint16_t command);
Packet itemTextRequest(uint16_t number);

// SELECT_REQ and its answer: the number in word8, 0 for none.
Packet selectRequest(uint16_t number);
bool readSelectAnswer(BRINA::BufferCS_const message, uint16_t& number);

} // namespace TESSERA::SettingMessages
