#pragma once
// The report of one stream explained for someone who sees it for the first time: was it bit-perfect,
// what was lost and repeated, how steady the packets came, how full the Target's buffer was.
#include "tools/receiver/StreamReport.h"

#include <string>

namespace TESSERA {

class ReportWords {
public:
    // Several lines, each ending in a newline.
    static std::string text(const StreamReport& report);
};

} // namespace TESSERA
