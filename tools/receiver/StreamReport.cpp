#include "tools/receiver/StreamReport.h"

#include "tools/common/JsonWriter.h"

namespace TESSERA {

namespace {

void verifierJson(JsonWriter& o, const VerifierResult& v) {
    o.open("verifier");
    o.flag("started", v.started);
    o.count("leadingSilence", v.leadingSilence);
    o.count("matched", v.matched);
    o.count("inverted", v.inverted);
    o.count("differed", v.differed);
    o.count("missing", v.missing);
    o.count("silenceInside", v.silenceInside);
    o.count("firstDifference", v.firstDifference);
    o.count("firstInverted", v.firstInverted);
    o.count("invertedSilence", v.invertedSilence);
    o.flag("askedInverted", v.askedInverted);
    o.count("askedAtFrame", v.askedAtFrame);
    o.flag("switched", v.switched);
    o.count("switchFrame", v.switchFrame);
    o.count("invertedUnasked", v.invertedUnasked);
    o.count("normalAfterSwitch", v.normalAfterSwitch);
    o.count("firstWrongPhase", v.firstWrongPhase);
    o.text("phase", v.phaseText());
    o.flag("bitPerfect", v.bitPerfect());
    o.close();
}

} // namespace

std::string StreamReport::toJson() const {
    JsonWriter o(false); // the report file holds each report on one line
    o.open();
    o.count("sinkType", sinkType);
    o.count("sinkRate", sinkRate);
    o.count("frames", frames);
    o.count("packets", packets);
    o.count("repeats", repeats);
    o.count("resendRequests", resendRequests);
    o.count("gapsNeverFilled", gapsNeverFilled);
    o.count("foreignDatagrams", foreignDatagrams);
    o.count("underruns", underruns);
    o.fixed("bufferMinMs", bufferMinMs, 3);
    o.fixed("bufferMeanMs", bufferMeanMs, 3);
    o.fixed("bufferMaxMs", bufferMaxMs, 3);
    o.fixed("arrivalP50Us", arrivalP50Us, 3);
    o.fixed("arrivalP99Us", arrivalP99Us, 3);
    o.fixed("arrivalP999Us", arrivalP999Us, 3);
    o.fixed("arrivalMaxUs", arrivalMaxUs, 3);
    o.fixed("durationSeconds", durationSeconds, 3);
    o.flag("finalSeen", finalSeen);
    o.flag("closedByHost", closedByHost);
    o.flag("closedByTarget", closedByTarget);
    o.flag("hostSilent", hostSilent);
    o.count("droppedByFaults", droppedByFaults);
    verifierJson(o, verifier);
    o.flag("bitPerfect", bitPerfect());
    o.close();
    return o.str();
}

} // namespace TESSERA
