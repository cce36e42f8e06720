#pragma once
// The software Target's settings list and plain texts, as a Host reads and writes them on the discovery port.
#include "BRINA/BufferCS_const.h"
#include "tools/receiver/TargetSettingsConfig.h"
#include "transport/wire/Packet.h"

#include <cstdint>
#include <mutex>
#include <vector>

namespace TESSERA {

class TargetSettings {
public:
    TargetSettings(std::vector<TargetSettingConfig> settings, TargetTexts texts);

    // True when message is a settings or text request; replies then holds the answer, or nothing when the
    // request names no such setting (a Host then hears nothing).
    bool handle(BRINA::BufferCS_const message, std::vector<Packet>& replies);

    // What a Host has made of them; index from 0.
    TargetSettingConfig setting(size_t index) const;
    uint16_t selected() const;

private:
    void answerSetting(uint16_t number, uint16_t operation, uint16_t value, const std::string& text,
                       std::vector<Packet>& replies);

    mutable std::mutex mutex;              // the discovery thread writes, a test or status line reads
    std::vector<TargetSettingConfig> now;  // under mutex: the values as they stand
    std::vector<TargetSettingConfig> kept; // under mutex: the values of the last keep (or the start)
    TargetTexts texts;
    uint16_t selectedNumber = 0; // under mutex
};

} // namespace TESSERA
