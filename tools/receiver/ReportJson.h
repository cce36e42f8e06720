#pragma once
// Reads back the JSON report of one stream, as StreamReport::toJson writes it, for tools that explain it.
#include "tools/receiver/StreamReport.h"

#include <string>

namespace TESSERA {

class ReportJson {
public:
    // Fills report from the text; false with the reason in error when the text isn't such a report.
    // Keys it doesn't know are passed over, so a newer report still reads.
    static bool parse(const std::string& text, StreamReport& report, std::string& error);
};

} // namespace TESSERA
