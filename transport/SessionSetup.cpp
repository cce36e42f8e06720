#include "transport/SessionSetup.h"

#include "transport/Sync.h"
#include "transport/ThreadMode.h"
#include "transport/TransferProfile.h"

#include <chrono>
#include <cstdio>
#include <thread>

namespace TESSERA {

namespace {

struct ModeName {
    PlanMode mode;
    const char* name;
};

constexpr ModeName kModeNames[] = {{PlanMode::Fix, "Fix"},         {PlanMode::Var, "Var"},
                                   {PlanMode::FixAuto, "FixAuto"}, {PlanMode::VarAuto, "VarAuto"},
                                   {PlanMode::Random, "Random"},   {PlanMode::Profile, "profile"}};

const char* rowModeName(uint32_t mode) {
    return mode == VarMode ? "Var" : mode == FixMode ? "Fix" : "Random";
}

} // namespace

bool SessionSetup::negotiate(Sync& sync, const BRINA::IPAddress& target, uint32_t latencyMicroseconds,
                             bool nopBreak, const Patience& patience) {
    // A question has 10 ms a try: a busy Target, a lossy link or a stalled Target thread earns the whole
    // negotiation again, after a pause that grows so that a longer stall has passed.
    for (uint32_t i = 0; i < patience.tries; ++i) {
        if (i != 0) {
            if (patience.stopped && patience.stopped()) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(uint64_t{patience.pauseMs} * i));
        }
        if (sync.getInfo(target, latencyMicroseconds, nopBreak)) return true;
    }
    return false;
}

bool SessionSetup::plan(Sync& sync, const PlanSettings& s) {
    switch (s.mode) {
    case PlanMode::Fix:
        return sync.configTransferFix(s.cycle, s.fragment);
    case PlanMode::Var:
        return sync.configTransferVar(s.cycle, s.fragment);
    case PlanMode::FixAuto:
        return sync.configTransferFixAuto(s.cycle);
    case PlanMode::VarAuto:
        return sync.configTransferVarAuto(s.cycle);
    case PlanMode::Random:
        return sync.configTransferRandom(s.cycleMin, s.cycle, s.fragment);
    case PlanMode::Profile:
        sync.configTransferAuto(s.profileLimit, 0, s.cycle);
        // A first row of a millisecond or more needs no spinning worker.
        if (sync.getTransferProfile(0).cycle >= 1000)
            sync.setThreadMode(sync.getThreadMode() & ~(NOSLEEP4CORE | NOSLEEPFORCE));
        return true;
    }
    return false;
}

const char* SessionSetup::modeName(PlanMode mode) {
    for (const ModeName& entry : kModeNames)
        if (entry.mode == mode) return entry.name;
    return "?";
}

bool SessionSetup::modeOf(const std::string& name, PlanMode& mode) {
    for (const ModeName& entry : kModeNames)
        if (name == entry.name) return mode = entry.mode, true;
    return false;
}

std::string SessionSetup::describe(const TransferProfile& p) {
    char text[200];
    std::snprintf(text, sizeof text, "%s, a cycle of %u us, %u packet(s) of %.3f frames, at most %u bytes",
                  rowModeName(p.transferMode), p.cycle, static_cast<unsigned>(p.packetCount),
                  p.framesQ14 / 16384.0, p.maxPacketBytes);
    std::string line = text;
    if (p.transferMode == RandomMode) line += ", cycles from " + std::to_string(p.randomLimit) + " us";
    return line;
}

std::string SessionSetup::describe(const Sync& sync) {
    std::string text = describe(sync.getTransferProfile(0));
    for (int32_t i = 1; i < sync.getProfileCount(); ++i)
        text += "; fallback " + describe(sync.getTransferProfile(static_cast<size_t>(i)));
    return text;
}

} // namespace TESSERA
