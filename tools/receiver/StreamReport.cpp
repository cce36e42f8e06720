#include "tools/receiver/StreamReport.h"

#include <cstdio>

namespace TESSERA {

namespace {

// One "name": value pair at a time, commas between them.
class JsonObject {
public:
    void number(const char* name, uint64_t v) { field(name, std::to_string(v)); }
    void real(const char* name, double v) {
        char text[64];
        std::snprintf(text, sizeof text, "%.3f", v);
        field(name, text);
    }
    void flag(const char* name, bool v) { field(name, v ? "true" : "false"); }
    void object(const char* name, const std::string& inner) { field(name, inner); }
    // Plain words without quotes or backslashes, which need no escapes.
    void words(const char* name, const std::string& v) { field(name, "\"" + v + "\""); }
    std::string close() { return text + "}"; }

private:
    void field(const char* name, const std::string& value) {
        text += text.size() > 1 ? ", \"" : "\"";
        text += name;
        text += "\": ";
        text += value;
    }
    std::string text = "{";
};

std::string verifierJson(const VerifierResult& v) {
    JsonObject o;
    o.flag("started", v.started);
    o.number("leadingSilence", v.leadingSilence);
    o.number("matched", v.matched);
    o.number("inverted", v.inverted);
    o.number("differed", v.differed);
    o.number("missing", v.missing);
    o.number("silenceInside", v.silenceInside);
    o.number("firstDifference", v.firstDifference);
    o.number("firstInverted", v.firstInverted);
    o.number("invertedSilence", v.invertedSilence);
    o.flag("askedInverted", v.askedInverted);
    o.number("askedAtFrame", v.askedAtFrame);
    o.flag("switched", v.switched);
    o.number("switchFrame", v.switchFrame);
    o.number("invertedUnasked", v.invertedUnasked);
    o.number("normalAfterSwitch", v.normalAfterSwitch);
    o.number("firstWrongPhase", v.firstWrongPhase);
    o.words("phase", v.phaseText());
    o.flag("bitPerfect", v.bitPerfect());
    return o.close();
}

} // namespace

std::string StreamReport::toJson() const {
    JsonObject o;
    o.number("sinkType", sinkType);
    o.number("sinkRate", sinkRate);
    o.number("frames", frames);
    o.number("packets", packets);
    o.number("repeats", repeats);
    o.number("resendRequests", resendRequests);
    o.number("gapsNeverFilled", gapsNeverFilled);
    o.number("foreignDatagrams", foreignDatagrams);
    o.number("underruns", underruns);
    o.real("bufferMinMs", bufferMinMs);
    o.real("bufferMeanMs", bufferMeanMs);
    o.real("bufferMaxMs", bufferMaxMs);
    o.real("arrivalP50Us", arrivalP50Us);
    o.real("arrivalP99Us", arrivalP99Us);
    o.real("arrivalP999Us", arrivalP999Us);
    o.real("arrivalMaxUs", arrivalMaxUs);
    o.real("durationSeconds", durationSeconds);
    o.flag("finalSeen", finalSeen);
    o.flag("closedByHost", closedByHost);
    o.flag("closedByTarget", closedByTarget);
    o.flag("hostSilent", hostSilent);
    o.number("droppedByFaults", droppedByFaults);
    o.object("verifier", verifierJson(verifier));
    o.flag("bitPerfect", bitPerfect());
    return o.close();
}

} // namespace TESSERA
