#include "tools/find/SettingText.h"

#include "tools/common/OptionValues.h"

namespace TESSERA {

namespace {

const char* kindName(uint32_t kind) {
    switch (kind) {
    case TargetSetting::Text:
        return "text";
    case TargetSetting::Number:
        return "number";
    case TargetSetting::OnOff:
        return "on/off";
    case TargetSetting::Choice:
    case TargetSetting::NamedChoice:
        return "choice";
    default:
        return "unknown kind";
    }
}

} // namespace

std::string SettingText::value(const TargetSetting& s) {
    if (s.kind == TargetSetting::Text || s.kind == TargetSetting::NamedChoice) return s.text;
    if (!s.choices.empty() && s.current >= 0 && static_cast<size_t>(s.current) < s.choices.size())
        return s.choices[static_cast<size_t>(s.current)];
    return std::to_string(s.value);
}

std::string SettingText::describe(const TargetSetting& s) {
    std::string line = s.name + " = " + value(s) + " (" + kindName(s.kind);
    if (s.kind == TargetSetting::Number)
        line += " " + std::to_string(s.lowest) + ".." + std::to_string(s.highest);
    for (size_t i = 0; i < s.choices.size(); ++i)
        line += (i == 0 ? " " : "|") + s.choices[i];
    return line + ")";
}

bool SettingText::read(const TargetSetting& s, const std::string& text, uint16_t& value, std::string& error) {
    value = 0;
    if (s.kind == TargetSetting::Text) return true;
    for (size_t i = 0; i < s.choices.size(); ++i)
        if (s.choices[i] == text) {
            value = static_cast<uint16_t>(s.lowest + static_cast<int32_t>(i));
            return true;
        }
    double number = 0;
    if (readReal(text, s.lowest, s.highest, number) && number == static_cast<int32_t>(number)) {
        value = static_cast<uint16_t>(static_cast<int32_t>(number));
        return true;
    }
    error = s.name + " takes " +
            (s.choices.empty()
                 ? "a whole number from " + std::to_string(s.lowest) + " to " + std::to_string(s.highest)
                 : "one of " + describe(s).substr(describe(s).rfind('(')));
    error += ", not \"" + text + "\"";
    return false;
}

} // namespace TESSERA
