// The Target's JSON stream report read back, and explained in words: every field survives the round
// trip, broken texts are refused with a reason, and the words follow what the report says.
#include "tools/receiver/ReportJson.h"
#include "tools/receiver/ReportWords.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace {

using TESSERA::ReportJson;
using TESSERA::StreamReport;

StreamReport sample() {
    StreamReport r;
    r.sinkType = 0x0402;
    r.sinkRate = 0x0024;
    r.frames = 1'926'000;
    r.packets = 10'031;
    r.repeats = 17;
    r.resendRequests = 19;
    r.gapsNeverFilled = 0;
    r.foreignDatagrams = 3;
    r.underruns = 0;
    r.bufferMinMs = 41.5;
    r.bufferMeanMs = 49.25;
    r.bufferMaxMs = 55.125;
    r.arrivalP50Us = 12;
    r.arrivalP99Us = 310;
    r.arrivalP999Us = 1250;
    r.arrivalMaxUs = 2041;
    r.durationSeconds = 10.031;
    r.finalSeen = r.closedByHost = true;
    r.droppedByFaults = 19;
    r.verifier.started = true;
    r.verifier.leadingSilence = 6000;
    r.verifier.matched = 1'920'000;
    r.verifier.silenceInside = 12;
    return r;
}

TEST(ReportJsonTest, EveryFieldSurvivesTheRoundTrip) {
    StreamReport written = sample();
    written.verifier.inverted = 5;
    written.verifier.firstInverted = 77;
    written.verifier.differed = 2;
    written.verifier.firstDifference = 4'000'000'000ull;
    written.verifier.invertedSilence = 9;
    written.verifier.askedInverted = written.verifier.switched = true;
    written.verifier.askedAtFrame = 13'000;
    written.verifier.switchFrame = 13'230;
    written.verifier.invertedUnasked = 3;
    written.verifier.normalAfterSwitch = 4;
    written.verifier.firstWrongPhase = 6'001;
    written.closedByTarget = written.hostSilent = true;
    StreamReport read;
    std::string error;
    ASSERT_TRUE(ReportJson::parse(written.toJson(), read, error)) << error;
    // The JSON of what was read back is the JSON that was written: no field lost or changed.
    EXPECT_EQ(read.toJson(), written.toJson());
    EXPECT_FALSE(read.bitPerfect());
    // The phase finding in words is in the JSON too, for those who read it without the tool.
    EXPECT_NE(read.toJson().find("\"phase\": \"the Target asked for inverted phase at frame 13000, and the "
                                 "audio turned inverted at frame 13230; 3 frames came inverted before the "
                                 "Target asked; 4 frames turned back to normal after the switch (the first "
                                 "at frame 6001)\""),
              std::string::npos)
        << read.toJson();
}

TEST(ReportJsonTest, BrokenTextsAreRefusedWithTheReason) {
    const std::string good = sample().toJson();
    std::string noFrames = good;
    noFrames.replace(noFrames.find("\"frames\""), 8, "\"framez\"");
    std::string negative = good;
    negative.replace(negative.find("\"packets\": 10031"), 16, "\"packets\": -4");
    std::string badFlag = good;
    badFlag.replace(badFlag.find("\"finalSeen\": true"), 17, "\"finalSeen\": yes");
    // clang-format off
    const struct { std::string text; const char* error; } rows[] = {
        {"", "broken JSON near byte 0"},
        {good.substr(0, good.size() - 1), "broken JSON"},
        {good + "{", "broken JSON"},
        {"[1, 2]", "broken JSON"},
        {noFrames, "no \"frames\""},
        {negative, "\"packets\" is not a whole number"},
        {badFlag, "\"finalSeen\" is not true or false"},
    };
    // clang-format on
    for (const auto& row : rows) {
        StreamReport report;
        std::string error;
        EXPECT_FALSE(ReportJson::parse(row.text, report, error)) << row.text;
        EXPECT_NE(error.find(row.error), std::string::npos) << error;
    }
    // Keys it doesn't know, strings and blanks are passed over.
    std::string newer = good;
    newer.insert(1, " \"output\" : \"Output 1\", \"extra\": {\"a\": 1},\n");
    StreamReport report;
    std::string error;
    EXPECT_TRUE(ReportJson::parse(newer, report, error)) << error;
}

TEST(ReportJsonTest, WordsFollowTheReport) {
    // clang-format off
    const struct { std::function<void(StreamReport&)> change; std::vector<const char*> lines; } rows[] = {
        {[](StreamReport&) {}, {"  Result     BIT-PERFECT: all 1920000 frames of the test signal arrived unchanged\n", "  Audio      PCM 24-bit 192000 Hz 2 ch for 10.0 s: 1926000 frames in 10031 packets\n", "(the first 6000 frames were silence", "  Losses     19 resend requests; 17 packets came a second time; 0 gaps were never filled (the Target dropped 19 packets on purpose", "by 12 us or less for half of them,\n", "310 us or less for 99 in 100, and 2041 us at most\n", "  Buffer     the Target held 41.5 to 55.1 ms of audio waiting to play, 49.2 ms on average\n", "  Underruns  none", "  Foreign    3 datagrams", "  End        the Host marked its last packet"}},
        {[](StreamReport& r) { r.gapsNeverFilled = 2, r.verifier.missing = 88, r.underruns = 4, r.closedByHost = r.finalSeen = false, r.hostSilent = true; }, {"  Result     NOT bit-perfect: 1920000 frames arrived unchanged, 88 went missing in 2 lost packets\n", "2 gaps were never filled", "  Underruns  4: the Target's play-out ran dry", "  End        the Host fell silent"}},
        {[](StreamReport& r) { r.verifier.matched = 600'000, r.verifier.inverted = 1'320'000, r.verifier.askedInverted = r.verifier.switched = true, r.verifier.askedAtFrame = 606'000, r.verifier.switchFrame = 606'441; }, {"  Result     BIT-PERFECT: all 1920000 frames of the test signal arrived intact, 1320000 of them inverted in phase as the Target asked\n", "  Phase      the Target asked for inverted phase at frame 606000, and the audio turned inverted at frame 606441\n"}},
        {[](StreamReport& r) { r.verifier.matched = 0, r.verifier.inverted = 1'920'000, r.verifier.invertedUnasked = 1'926'000; }, {"  Result     NOT bit-perfect: 0 frames arrived unchanged, 1920000 came inverted in phase (from frame 0); the phase was not the one the Target asked for\n", "  Phase      the Target did not ask for inverted phase; 1926000 frames came inverted that the Target never asked for (the first at frame 0)\n"}},
        {[](StreamReport& r) { r.verifier.matched = 0, r.verifier.differed = 95920; }, {"  Result     not checked: the audio was not the test signal"}},
    };
    // clang-format on
    for (const auto& row : rows) {
        StreamReport report = sample();
        row.change(report);
        const std::string text = TESSERA::ReportWords::text(report);
        for (const char* line : row.lines)
            EXPECT_NE(text.find(line), std::string::npos) << line << "\n" << text;
    }
    // A stream in which nobody asked for inversion and none came says nothing of the phase.
    EXPECT_EQ(TESSERA::ReportWords::text(sample()).find("Phase"), std::string::npos);
}

} // namespace
