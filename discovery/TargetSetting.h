#pragma once
// One entry of a Target's settings list, as getSettings reads it.
#include <cstdint>
#include <string>
#include <vector>

namespace TESSERA {

struct TargetSetting {
    enum Kind : uint32_t { Unknown = 0, Text = 1, Number = 2, OnOff = 3, Choice = 4, NamedChoice = 5 };
    uint32_t kind = Unknown;
    std::string name;
    std::string text;                 // the value as text, for the kinds that have one
    std::vector<std::string> choices; // the texts of the values from lowest to highest
    int32_t value = 0;                // word10 of the reading SETTING_ANS
    int32_t lowest = 0;
    int32_t highest = 0;
    int32_t current = 0; // word14 of the reading SETTING_ANS
};

} // namespace TESSERA
