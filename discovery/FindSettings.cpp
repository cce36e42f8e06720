// A Target's settings list and its plain text requests, on the request exchange.
#include "discovery/Find.h"
#include "transport/wire/DiscoveryMessages.h"
#include "transport/wire/SettingMessages.h"

namespace TESSERA {

namespace {

namespace DM = DiscoveryMessages;
namespace SM = SettingMessages;
using BRINA::IPAddress;

// A raw 16-bit field as a value: signed for type code 2, unsigned for the others.
int32_t valueOf(uint16_t type, uint16_t field) {
    return type == 2 ? static_cast<int16_t>(field) : static_cast<int32_t>(field);
}

uint32_t kindOf(uint16_t type) {
    switch (type) {
    case 1:
    case 2:
        return TargetSetting::Number;
    case 3:
        return TargetSetting::OnOff;
    case 4:
        return TargetSetting::Text;
    case 5:
        return TargetSetting::Choice;
    case 6:
        return TargetSetting::NamedChoice;
    default:
        return TargetSetting::Unknown;
    }
}

} // namespace

bool Find::pingTarget(const IPAddress& target) {
    std::vector<uint8_t> answer;
    return sendAck(target, DM::findRequest(false), FIND_ANS, answer) == SendResult::answered;
}

bool Find::askText(const IPAddress& target, const Packet& request, uint16_t expected, std::string& text) {
    text.clear();
    std::vector<uint8_t> answer;
    if (sendAck(target, request, expected, answer) != SendResult::answered) return false;
    return DM::readTextAnswer(BRINA::BufferCS_const(answer), expected, text);
}

bool Find::requestText(const IPAddress& target, std::string& text) {
    return askText(target, SM::textRequest(TEXT_A_REQ), TEXT_A_ANS, text);
}

bool Find::requestTextB(const IPAddress& target, std::string& text) {
    return askText(target, SM::textRequest(TEXT_B_REQ), TEXT_B_ANS, text);
}

bool Find::requestItemText(const IPAddress& target, uint16_t number, std::string& text) {
    return askText(target, SM::itemTextRequest(number), TEXT_C_ANS, text);
}

bool Find::selectItem(const IPAddress& target, bool on, uint16_t number) {
    const uint16_t sent = on ? number : 0;
    std::vector<uint8_t> answer;
    if (sendAck(target, SM::selectRequest(sent), SELECT_ANS, answer) != SendResult::answered) return false;
    uint16_t repeated = 0;
    return SM::readSelectAnswer(BRINA::BufferCS_const(answer), repeated) && repeated == sent;
}

bool Find::askSetting(const IPAddress& target, const Packet& request, uint16_t number, std::string& text,
                      uint16_t& value, uint16_t& current) {
    std::vector<uint8_t> answer;
    if (sendAck(target, request, SETTING_ANS, answer) != SendResult::answered) return false;
    SM::SettingAnswer reading;
    if (!SM::readSettingAnswer(BRINA::BufferCS_const(answer), reading) || reading.number != number)
        return false;
    text = reading.text;
    value = reading.value;
    current = reading.current;
    return true;
}

bool Find::getSettings(const IPAddress& target, std::list<TargetSetting>& out, bool second) {
    out.clear();
    std::vector<uint8_t> answer;
    SM::SettingListAnswer entry;
    if (sendAck(target, SM::settingListRequest(0), SETTING_LIST_ANS, answer) != SendResult::answered ||
        !SM::readSettingListAnswer(BRINA::BufferCS_const(answer), entry))
        return false;
    const uint16_t count = entry.number;
    for (uint16_t n = 1; n <= count && n != 0; ++n) {
        if (sendAck(target, SM::settingListRequest(n), SETTING_LIST_ANS, answer) != SendResult::answered ||
            !SM::readSettingListAnswer(BRINA::BufferCS_const(answer), entry) || entry.number != n)
            return false;
        TargetSetting setting;
        setting.name = entry.name;
        setting.kind = kindOf(entry.type);
        if (entry.type == 3) {
            setting.lowest = 0;
            setting.highest = 1;
        } else if (setting.kind == TargetSetting::Number || setting.kind == TargetSetting::Choice ||
                   setting.kind == TargetSetting::NamedChoice) {
            setting.lowest = valueOf(entry.type, entry.lowest);
            setting.highest = valueOf(entry.type, entry.highest);
        }
        const uint16_t operation =
            second && setting.kind != TargetSetting::NamedChoice ? SM::kReadSecond : SM::kRead;
        std::string text;
        uint16_t value = 0, current = 0;
        if (!askSetting(target, SM::settingRequest(n, operation, 0), n, text, value, current)) return false;
        if (setting.kind == TargetSetting::Text || setting.kind == TargetSetting::NamedChoice)
            setting.text = text;
        setting.value = valueOf(entry.type, value);
        setting.current = valueOf(entry.type, current);
        if (setting.kind == TargetSetting::OnOff || setting.kind == TargetSetting::Choice ||
            setting.kind == TargetSetting::NamedChoice) {
            for (int32_t v = setting.lowest; v <= setting.highest; ++v) {
                std::string choice;
                if (!askSetting(target, SM::settingRequest(n, SM::kValueText, static_cast<uint16_t>(v)), n,
                                choice, value, current))
                    return false;
                if (setting.kind == TargetSetting::OnOff && choice.empty())
                    choice = v == 0 ? "disable" : "enable";
                setting.choices.push_back(choice);
            }
        }
        if (setting.kind == TargetSetting::NamedChoice && setting.text.empty())
            setting.text =
                setting.current >= 0 && static_cast<size_t>(setting.current) < setting.choices.size()
                    ? setting.choices[static_cast<size_t>(setting.current)]
                    : "unknown";
        out.push_back(std::move(setting));
    }
    return true;
}

bool Find::setSetting(const IPAddress& target, uint16_t number, const std::string& text, uint16_t value) {
    std::vector<uint8_t> answer;
    return sendAck(target, SM::settingRequest(number, SM::kWrite, value, text), SETTING_ANS, answer) ==
           SendResult::answered;
}

bool Find::commitSettings(const IPAddress& target, bool action) {
    std::vector<uint8_t> answer;
    return sendAck(target, SM::settingRequest(0, action ? SM::kWrite : SM::kReadSecond, 0), SETTING_ANS,
                   answer) == SendResult::answered;
}

} // namespace TESSERA
