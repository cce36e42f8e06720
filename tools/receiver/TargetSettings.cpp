#include "tools/receiver/TargetSettings.h"

#include "tools/receiver/TargetCommands.h"
#include "tools/receiver/TargetSettingMessages.h"

#include <utility>

namespace TESSERA {

namespace {

namespace TW = TargetWire;

constexpr uint16_t kRead = 0, kWrite = 1, kReadKept = 2, kValueText = 3;

// A 16-bit field as a value of the setting: signed for type 2, unsigned for the others.
int32_t valueOf(const TargetSettingConfig& s, uint16_t field) {
    return s.type == 2 ? static_cast<int16_t>(field) : static_cast<int32_t>(field);
}

Packet reading(uint16_t number, const TargetSettingConfig& s) {
    return TW::settingAnswer(number, static_cast<uint16_t>(s.value),
                             static_cast<uint16_t>(s.value - s.lowest), s.text, true);
}

} // namespace

TargetSettings::TargetSettings(std::vector<TargetSettingConfig> settings, TargetTexts targetTexts)
    : now(settings), kept(std::move(settings)), texts(std::move(targetTexts)) {}

bool TargetSettings::handle(BRINA::BufferCS_const message, std::vector<Packet>& replies) {
    uint16_t number = 0;
    TW::SettingRequest request;
    std::lock_guard<std::mutex> lock(mutex);
    if (TW::readSettingListRequest(message, number)) {
        if (number == 0) {
            replies.push_back(TW::settingCountAnswer(static_cast<uint16_t>(now.size())));
        } else if (number <= now.size()) {
            const TargetSettingConfig& s = now[number - 1];
            replies.push_back(TW::settingListAnswer(number, s.type, static_cast<uint16_t>(s.lowest),
                                                    static_cast<uint16_t>(s.highest), s.name));
        }
    } else if (TW::readSettingRequest(message, request)) {
        answerSetting(request.number, request.operation, request.value, request.text, replies);
    } else if (TW::readTextRequest(message, TW::TEXT_A_REQ, number)) {
        replies.push_back(TW::textAnswer(TW::TEXT_A_ANS, texts.first));
    } else if (TW::readTextRequest(message, TW::TEXT_B_REQ, number)) {
        replies.push_back(TW::textAnswer(TW::TEXT_B_ANS, texts.second));
    } else if (TW::readTextRequest(message, TW::TEXT_C_REQ, number)) {
        replies.push_back(TW::textAnswer(TW::TEXT_C_ANS, number >= 1 && number <= texts.items.size()
                                                             ? texts.items[number - 1]
                                                             : std::string()));
    } else if (TW::readTextRequest(message, TW::SELECT_REQ, number)) {
        selectedNumber = number;
        replies.push_back(TW::selectAnswer(number));
    } else {
        return false;
    }
    return true;
}

void TargetSettings::answerSetting(uint16_t number, uint16_t operation, uint16_t value,
                                   const std::string& text, std::vector<Packet>& replies) {
    if (number == 0) {
        // The two actions on all settings: keep the values as they stand, or go back to the kept ones.
        if (operation == kWrite)
            kept = now;
        else if (operation == kReadKept)
            now = kept;
        else
            return;
        replies.push_back(TW::settingAnswer(0, 0, 0, "", true));
        return;
    }
    if (number > now.size()) return;
    TargetSettingConfig& s = now[number - 1];
    const int32_t wanted = valueOf(s, value);
    switch (operation) {
    case kRead:
        replies.push_back(reading(number, s));
        break;
    case kReadKept:
        replies.push_back(reading(number, kept[number - 1]));
        break;
    case kWrite:
        if (s.type == 4) {
            s.text = text;
        } else if (wanted < s.lowest || wanted > s.highest) {
            // Out of range: the answer comes without content, which a Host takes as a refusal.
            replies.push_back(TW::settingAnswer(number, value, 0, "", false));
            return;
        } else {
            s.value = wanted;
        }
        replies.push_back(reading(number, s));
        break;
    case kValueText: {
        const int64_t at = static_cast<int64_t>(wanted) - s.lowest;
        const bool known = at >= 0 && at < static_cast<int64_t>(s.valueTexts.size());
        replies.push_back(
            TW::settingAnswer(number, value, 0, known ? s.valueTexts[at] : std::string(), true));
        break;
    }
    default:
        break;
    }
}

TargetSettingConfig TargetSettings::setting(size_t index) const {
    std::lock_guard<std::mutex> lock(mutex);
    return now.at(index);
}

uint16_t TargetSettings::selected() const {
    std::lock_guard<std::mutex> lock(mutex);
    return selectedNumber;
}

} // namespace TESSERA
