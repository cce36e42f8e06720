#include "BRINA/LogStream.h"
#include "transport/Sync.h"

namespace TESSERA {

void Sync::prepareConfig(uint32_t limitCycle) {
    config.format = sinkFormat;
    config.PackDataSize = maxPacketSize;
    config.PackDataCount = maxPacketCount;
    config.limitCycle = limitCycle;
}

void Sync::setTransferProfile(const TransferProfile& record) {
    profiles[0] = record;
    profileCount = 1;
}

bool Sync::configTransferFix(uint32_t cycle, uint32_t maxCount) {
    prepareConfig(400);
    if (!config.configTransferFix(cycle, maxCount)) return false;
    setTransferProfile(config.result());
    return true;
}

bool Sync::configTransferVar(uint32_t cycle, uint32_t maxCount) {
    prepareConfig(400);
    if (!config.configTransferVar(cycle, maxCount)) return false;
    setTransferProfile(config.result());
    return true;
}

bool Sync::configTransferFixAuto(uint32_t cycle) {
    prepareConfig(400);
    if (!config.configTransferFixAuto(cycle)) return false;
    setTransferProfile(config.result());
    return true;
}

bool Sync::configTransferVarAuto(uint32_t cycle) {
    prepareConfig(400);
    if (!config.configTransferVarAuto(cycle)) return false;
    setTransferProfile(config.result());
    return true;
}

bool Sync::configTransferRandom(uint32_t limit, uint32_t cycle, uint32_t maxCount) {
    prepareConfig(400);
    if (!config.configTransferRandom(limit, cycle, maxCount)) return false;
    setTransferProfile(config.result());
    return true;
}

void Sync::configTransferAuto(uint32_t limit, uint32_t cycle, uint32_t lowLimit) {
    BRINA::LogStream(6, "configTransferAuto ")
        << " limit" << limit << " maxPacketSize" << maxPacketSize << " maxPacketCount" << maxPacketCount;
    prepareConfig(limit);
    config.configAuto(cycle);
    profiles[0] = config.result();
    prepareConfig(lowLimit);
    config.forceAuto = true;
    config.configAuto(0);
    profiles[1] = config.result();
    config.forceAuto = false;
    profileCount = 2;
    BRINA::LogStream(6, "configTransferAuto done");
}

} // namespace TESSERA
