#include "tools/common/OptionValues.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace TESSERA {

bool readWhole(const std::string& text, uint64_t least, uint64_t most, uint64_t& value) {
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const char* first = text.data() + (hex ? 2 : 0);
    const char* last = text.data() + text.size();
    const auto result = std::from_chars(first, last, value, hex ? 16 : 10);
    return first != last && result.ec == std::errc() && result.ptr == last && value >= least && value <= most;
}

std::string wholeError(const char* what, uint64_t least, uint64_t most, const std::string& text) {
    return std::string(what) + " must be a whole number from " + std::to_string(least) + " to " +
           std::to_string(most) + ", not \"" + text + "\"";
}

bool setWhole(const std::string& text, const char* what, uint32_t& field, std::string& error, uint64_t least,
              uint64_t most) {
    uint64_t value = 0;
    if (readWhole(text, least, most, value)) {
        field = static_cast<uint32_t>(value);
        return true;
    }
    error = wholeError(what, least, most, text);
    return false;
}

bool readReal(const std::string& text, double least, double most, double& value) {
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return !text.empty() && end == text.c_str() + text.size() && std::isfinite(value) && value >= least &&
           value <= most;
}

bool setReal(const std::string& text, const char* what, double& field, std::string& error, double least,
             double most) {
    double value = 0;
    if (readReal(text, least, most, value)) {
        field = value;
        return true;
    }
    char bounds[64];
    std::snprintf(bounds, sizeof bounds, " must be a number from %g to %g, not \"", least, most);
    error = std::string(what) + bounds + text + "\"";
    return false;
}

} // namespace TESSERA
