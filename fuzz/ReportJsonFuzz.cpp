// The stream report reader on any text: it never crashes, a refusal always says why, and what it accepts
// writes back to JSON that reads again to the same report.
#include "tools/receiver/ReportJson.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    TESSERA::StreamReport report;
    std::string error;
    if (!TESSERA::ReportJson::parse(text, report, error)) {
        if (error.empty()) std::abort();
        return 0;
    }
    TESSERA::StreamReport again;
    if (!TESSERA::ReportJson::parse(report.toJson(), again, error) || again.toJson() != report.toJson())
        std::abort();
    return 0;
}
