#pragma once
// The Target's reading of the settings and text requests, and its answers.
// Readers return false unless the datagram is a valid message of their command.
#include "BRINA/BufferCS_const.h"
#include "transport/wire/Packet.h"

#include <cstdint>
#include <string>

namespace TESSERA::TargetWire {

// SETTING_LIST_REQ: 0 for the count, n for setting n.
bool readSettingListRequest(BRINA::BufferCS_const message, uint16_t& number);
Packet settingCountAnswer(uint16_t count);
Packet settingListAnswer(uint16_t number, uint16_t type, uint16_t lowest, uint16_t highest,
                         const std::string& name);

// SETTING_REQ: the setting (0 for all), the operation, a value, and a text.
struct SettingRequest {
    uint16_t number = 0;
    uint16_t operation = 0;
    uint16_t value = 0;
    std::string text;
};
bool readSettingRequest(BRINA::BufferCS_const message, SettingRequest& request);
// SETTING_ANS; content false makes a refusal, without HasContent.
Packet settingAnswer(uint16_t number, uint16_t value, uint16_t current, const std::string& text,
                     bool content);

// TEXT_A_REQ, TEXT_B_REQ, TEXT_C_REQ (number in word8), SELECT_REQ (number in word8).
bool readTextRequest(BRINA::BufferCS_const message, uint16_t command, uint16_t& number);
Packet textAnswer(uint16_t command, const std::string& text);
Packet selectAnswer(uint16_t number);

} // namespace TESSERA::TargetWire
