#include "tools/common/JsonWriter.h"

#include <cmath>
#include <cstdio>

namespace TESSERA {

void JsonWriter::key(const std::string& name) {
    if (!first) out += indented ? "," : ", ";
    if (depth > 0 && indented) out += "\n" + std::string(static_cast<size_t>(depth) * 2, ' ');
    first = false;
    if (!name.empty()) out += quoted(name) + ": ";
}

std::string JsonWriter::quoted(const std::string& value) {
    std::string q = "\"";
    for (const char c : value) {
        if (c == '"' || c == '\\') {
            q += '\\';
            q += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
            q += escape;
        } else {
            q += c;
        }
    }
    return q + "\"";
}

void JsonWriter::begin(const std::string& name, char bracket) {
    key(name);
    out += bracket;
    ++depth;
    first = true;
}

void JsonWriter::end(char bracket) {
    --depth;
    if (indented) out += "\n" + std::string(static_cast<size_t>(depth) * 2, ' ');
    out += bracket;
    first = false;
}

void JsonWriter::open(const std::string& name) {
    begin(name, '{');
}

void JsonWriter::close() {
    end('}');
}

void JsonWriter::openArray(const std::string& name) {
    begin(name, '[');
}

void JsonWriter::closeArray() {
    end(']');
}

void JsonWriter::number(const std::string& name, double value) {
    key(name);
    if (!std::isfinite(value)) {
        out += "null"; // JSON has no NaN or infinity
        return;
    }
    char text[64];
    std::snprintf(text, sizeof text, "%.4g", value);
    if (std::fabs(value) >= 1e4 && std::fabs(value) < 1e15) std::snprintf(text, sizeof text, "%.1f", value);
    out += text;
}

void JsonWriter::integer(const std::string& name, int64_t value) {
    key(name);
    out += std::to_string(value);
}

void JsonWriter::count(const std::string& name, uint64_t value) {
    key(name);
    out += std::to_string(value);
}

void JsonWriter::fixed(const std::string& name, double value, int digits) {
    key(name);
    if (!std::isfinite(value)) {
        out += "null";
        return;
    }
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    out += text;
}

void JsonWriter::flag(const std::string& name, bool value) {
    key(name);
    out += value ? "true" : "false";
}

void JsonWriter::text(const std::string& name, const std::string& value) {
    key(name);
    out += quoted(value);
}

void JsonWriter::raw(const std::string& name, const std::string& json) {
    key(name);
    out += json;
}

} // namespace TESSERA
