#pragma once
// The one-line live status of the Target on a terminal: per Output its state, format and stream numbers.
#include "tools/receiver/TargetStatus.h"

#include <string>

namespace TESSERA {

class StatusLine {
public:
    // The text of the line, without carriage return.
    static std::string text(const TargetStatus& status);
};

} // namespace TESSERA
