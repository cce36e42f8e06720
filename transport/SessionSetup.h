#pragma once
// What every Host does before a stream, in one place: the negotiation, asked again when a try found the
// Target busy, and the transfer plan from the settings of the driver's start (mode, cycle, limits).
#include "BRINA/Network/IPAddress.h"

#include <cstdint>
#include <functional>
#include <string>

namespace TESSERA {

class Sync;
struct TransferProfile;

// The transfer modes of the driver's start, by the names of its log lines.
enum class PlanMode { Fix, Var, FixAuto, VarAuto, Random, Profile };

struct PlanSettings {
    PlanMode mode = PlanMode::Fix;
    uint32_t cycle = 1000;       // CycleTime, microseconds
    uint32_t cycleMin = 0;       // CycleMinTime: Random's shortest cycle, microseconds
    uint32_t profileLimit = 400; // TargetProfileLimitTime: the profile mode's shortest cycle
    uint32_t fragment = 1;       // Fragment: most packets in a cycle; 0: as many as the Target takes
};

// How long to keep asking: tries, and a pause that grows by pauseMs after each failed one.
struct Patience {
    uint32_t tries = 3;
    uint32_t pauseMs = 200;
    std::function<bool()> stopped; // asked before each new try; none: never stopped
};

class SessionSetup {
public:
    // getInfo until one try answers in full, within patience; false when none did or stopped said so.
    static bool negotiate(Sync& sync, const BRINA::IPAddress& target, uint32_t latencyMicroseconds,
                          bool nopBreak, const Patience& patience = {});
    // After selectFormat: the session's profiles for the mode; false when no plan fits. The profile
    // mode's first row of a millisecond or more takes the spinning bits off the worker's mode word.
    static bool plan(Sync& sync, const PlanSettings& settings);

    static const char* modeName(PlanMode mode);
    // Reads a mode by its name; false for any other word.
    static bool modeOf(const std::string& name, PlanMode& mode);
    // One row in words, e.g. "Fix, a cycle of 1000 us, 1 packet(s) of 44.100 frames, at most 184 bytes".
    static std::string describe(const TransferProfile& row);
    // The rows in use: the first, then "; fallback " and each other.
    static std::string describe(const Sync& sync);
};

} // namespace TESSERA
