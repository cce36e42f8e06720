#include "tools/send/SendPlan.h"

#include "transport/ThreadMode.h"

#include <cstdio>

namespace TESSERA {

namespace {

const char* modeWord(uint32_t mode) {
    return mode == VarMode ? "Var" : mode == FixMode ? "Fix" : "Random";
}

std::string row(const TransferProfile& p) {
    char text[200];
    std::snprintf(text, sizeof text, "%s, a cycle of %u us, %u packet(s) of %.3f frames, at most %u bytes",
                  modeWord(p.transferMode), p.cycle, static_cast<unsigned>(p.packetCount),
                  p.framesQ14 / 16384.0, p.maxPacketBytes);
    std::string line = text;
    if (p.transferMode == RandomMode) line += ", cycles from " + std::to_string(p.randomLimit) + " us";
    return line;
}

} // namespace

bool SendPlan::apply(Sync& sync, const SendOptions& o) {
    using M = SendOptions::Mode;
    if (o.mode == M::Profile) {
        sync.configTransferAuto(o.profileLimitTime, 0, o.cycleTime);
        // As the driver: a first row of a millisecond or more needs no spinning worker.
        if (sync.profiles[0].cycle >= 1000) sync.setThreadMode(o.threadMode & ~(NOSLEEP4CORE | NOSLEEPFORCE));
        return true;
    }
    if (o.mode == M::FixAuto) return sync.configTransferFixAuto(o.cycleTime);
    if (o.mode == M::VarAuto) return sync.configTransferVarAuto(o.cycleTime);
    if (o.mode == M::Random) return sync.configTransferRandom(o.cycleMinTime, o.cycleTime, o.fragment);
    sync.prepareConfig(400);
    const bool planned = o.mode == M::Fix ? sync.config.configTransferFix(o.cycleTime, o.fragment)
                                          : sync.config.configTransferVar(o.cycleTime, o.fragment);
    if (planned) sync.setTransferProfile(sync.config.result());
    return planned;
}

std::string SendPlan::describe(const Sync& sync) {
    std::string text = row(sync.profiles[0]);
    for (int32_t i = 1; i < sync.profileCount; ++i)
        text += "; fallback " + row(sync.profiles[static_cast<size_t>(i)]);
    return text;
}

} // namespace TESSERA
