#include "tools/receiver/ReportJson.h"

#include <cctype>
#include <cstdlib>
#include <map>

namespace TESSERA {

namespace {

// The values of an object and its inner objects, by their dotted names ("verifier.matched"), as text.
class FlatJson {
public:
    explicit FlatJson(const std::string& t) : text(t) {}

    bool read(std::string& error) {
        if (!object("") || (skipBlanks(), at != text.size())) {
            error = "not a report: broken JSON near byte " + std::to_string(at);
            return false;
        }
        return true;
    }
    std::map<std::string, std::string> values;

private:
    void skipBlanks() {
        while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at])))
            ++at;
    }
    bool take(char c) {
        skipBlanks();
        if (at >= text.size() || text[at] != c) return false;
        ++at;
        return true;
    }
    // A string without escapes: the report's keys are plain names.
    bool string(std::string& out) {
        if (!take('"')) return false;
        const size_t end = text.find('"', at);
        if (end == std::string::npos || text.find('\\', at) < end) return false;
        out = text.substr(at, end - at);
        at = end + 1;
        return true;
    }
    bool object(const std::string& prefix) {
        if (!take('{')) return false;
        if (take('}')) return true;
        do {
            std::string key;
            if (!string(key) || !take(':') || !value(prefix + key)) return false;
        } while (take(','));
        return take('}');
    }
    bool value(const std::string& name) {
        skipBlanks();
        if (at < text.size() && text[at] == '{') return object(name + ".");
        if (at < text.size() && text[at] == '"') {
            std::string ignored;
            return string(ignored);
        }
        const size_t start = at;
        while (at < text.size() && (std::isalnum(static_cast<unsigned char>(text[at])) || text[at] == '.' ||
                                    text[at] == '-' || text[at] == '+'))
            ++at;
        if (at == start) return false;
        values[name] = text.substr(start, at - start);
        return true;
    }

    const std::string& text;
    size_t at = 0;
};

class Fields {
public:
    Fields(const std::map<std::string, std::string>& v, std::string& e) : values(v), error(e) {}

    bool number(const char* name, uint64_t& out) {
        const std::string* text = find(name);
        if (!text) return false;
        char* end = nullptr;
        out = std::strtoull(text->c_str(), &end, 10);
        return check(!text->empty() && text->front() != '-' && *end == '\0', name, "a whole number");
    }
    bool number(const char* name, uint32_t& out) {
        uint64_t wide = 0;
        if (!number(name, wide)) return false;
        out = static_cast<uint32_t>(wide);
        return check(wide <= UINT32_MAX, name, "a 32-bit number");
    }
    bool real(const char* name, double& out) {
        const std::string* text = find(name);
        if (!text) return false;
        char* end = nullptr;
        out = std::strtod(text->c_str(), &end);
        return check(!text->empty() && *end == '\0', name, "a number");
    }
    bool flag(const char* name, bool& out) {
        const std::string* text = find(name);
        if (!text) return false;
        out = *text == "true";
        return check(out || *text == "false", name, "true or false");
    }

private:
    const std::string* find(const char* name) {
        const auto found = values.find(name);
        if (found != values.end()) return &found->second;
        error = std::string("not a report: no \"") + name + "\"";
        return nullptr;
    }
    bool check(bool ok, const char* name, const char* kind) {
        if (!ok) error = std::string("not a report: \"") + name + "\" is not " + kind;
        return ok;
    }
    const std::map<std::string, std::string>& values;
    std::string& error;
};

} // namespace

bool ReportJson::parse(const std::string& text, StreamReport& r, std::string& error) {
    FlatJson json(text);
    if (!json.read(error)) return false;
    Fields f(json.values, error);
    VerifierResult& v = r.verifier;
    return f.number("sinkType", r.sinkType) && f.number("sinkRate", r.sinkRate) &&
           f.number("frames", r.frames) && f.number("packets", r.packets) && f.number("repeats", r.repeats) &&
           f.number("resendRequests", r.resendRequests) && f.number("gapsNeverFilled", r.gapsNeverFilled) &&
           f.number("foreignDatagrams", r.foreignDatagrams) && f.number("underruns", r.underruns) &&
           f.real("bufferMinMs", r.bufferMinMs) && f.real("bufferMeanMs", r.bufferMeanMs) &&
           f.real("bufferMaxMs", r.bufferMaxMs) && f.real("arrivalP50Us", r.arrivalP50Us) &&
           f.real("arrivalP99Us", r.arrivalP99Us) && f.real("arrivalP999Us", r.arrivalP999Us) &&
           f.real("arrivalMaxUs", r.arrivalMaxUs) && f.real("durationSeconds", r.durationSeconds) &&
           f.flag("finalSeen", r.finalSeen) && f.flag("closedByHost", r.closedByHost) &&
           f.flag("closedByTarget", r.closedByTarget) && f.flag("hostSilent", r.hostSilent) &&
           f.number("droppedByFaults", r.droppedByFaults) && f.flag("verifier.started", v.started) &&
           f.number("verifier.leadingSilence", v.leadingSilence) && f.number("verifier.matched", v.matched) &&
           f.number("verifier.inverted", v.inverted) && f.number("verifier.differed", v.differed) &&
           f.number("verifier.missing", v.missing) && f.number("verifier.silenceInside", v.silenceInside) &&
           f.number("verifier.firstDifference", v.firstDifference) &&
           f.number("verifier.firstInverted", v.firstInverted) &&
           f.number("verifier.invertedSilence", v.invertedSilence) &&
           f.flag("verifier.askedInverted", v.askedInverted) &&
           f.number("verifier.askedAtFrame", v.askedAtFrame) && f.flag("verifier.switched", v.switched) &&
           f.number("verifier.switchFrame", v.switchFrame) &&
           f.number("verifier.invertedUnasked", v.invertedUnasked) &&
           f.number("verifier.normalAfterSwitch", v.normalAfterSwitch) &&
           f.number("verifier.firstWrongPhase", v.firstWrongPhase);
}

} // namespace TESSERA
