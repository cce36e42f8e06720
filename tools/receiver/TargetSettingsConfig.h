#pragma once
// The settings list and the texts that a software Target offers a Host outside a stream.
#include <cstdint>
#include <string>
#include <vector>

namespace TESSERA {

struct TargetSettingConfig {
    // Type codes as the list reports them: 1 unsigned number, 2 signed number, 3 on and off, 4 text,
    // 5 choice, 6 named choice; any other is reported as it stands.
    uint16_t type = 1;
    std::string name;
    int32_t lowest = 0, highest = 0;
    int32_t value = 0;
    std::string text;                    // the text value (type 4); sent with every reading when not empty
    std::vector<std::string> valueTexts; // the text of each value from lowest up; missing ones are empty
};

struct TargetTexts {
    std::string first = "Tessera software Target"; // TEXT_A_REQ
    std::string second;                            // TEXT_B_REQ
    std::vector<std::string> items;                // TEXT_C_REQ n answers item n (from 1), empty beyond
};

} // namespace TESSERA
