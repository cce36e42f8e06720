#pragma once
// A Target's setting in words for tessera-find, and a user's VALUE read into what setSetting sends.
#include "discovery/TargetSetting.h"

#include <cstdint>
#include <string>

namespace TESSERA {

class SettingText {
public:
    // "NAME = VALUE (KIND ...)", e.g. "Volume = -20 (number -60..0)" or "Mode = mono (choice stereo|mono)".
    static std::string describe(const TargetSetting& setting);
    // The value shown: the text, the choice's text, or the number.
    static std::string value(const TargetSetting& setting);
    // VALUE for this setting: a number within its range, or a choice's text, or any text for a text.
    static bool read(const TargetSetting& setting, const std::string& text, uint16_t& value,
                     std::string& error);
};

} // namespace TESSERA
