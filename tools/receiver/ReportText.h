#pragma once
// The report of one stream in plain words, as the program prints it when the stream ends.
#include "tools/receiver/StreamReport.h"

#include <string>

namespace TESSERA {

class ReportText {
public:
    // Several lines, each ending in a newline.
    static std::string text(const std::string& outputName, const StreamReport& report);
};

} // namespace TESSERA
