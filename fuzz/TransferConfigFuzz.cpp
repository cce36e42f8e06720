// Any format, packet size and count, cycle, limit and profile through the planner: every search ends, and
// a plan that comes out has a cycle and at least one packet.
#include "BRINA/LittleEndian.h"
#include "transport/TransferConfig.h"

#include <cstdint>
#include <cstdlib>

namespace {

void check(bool condition) {
    if (!condition) std::abort();
}

// A plan that an operation reports as made: something the worker can run.
void checkPlan(const TESSERA::TransferConfig& c) {
    check(c.cycle != 0 && c.packetCount >= 1);
    if (c.transferMode == TESSERA::VarMode)
        check(c.fixedPacketBytes != 0 && c.fixedPacketBytes <= c.PackDataSize);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 31) return 0;
    TESSERA::TransferConfig c;
    uint32_t rateWord = BRINA::readLE32(data + 4);
    if (data[30] & 1) { // most raw rate words have no rate: often take one of the table instead
        const uint32_t low =
            (data[30] >> 1) % 27 == 0 ? 0x0001u : (8u << ((data[30] >> 1) % 13)) | (data[30] & 2 ? 4u : 2u);
        rateWord = (rateWord & 0xFFFF0000u) | low;
    }
    c.format = TESSERA::StreamFormat(BRINA::readLE32(data), rateWord);
    c.PackDataSize = BRINA::readLE16(data + 8);
    c.PackDataCount = BRINA::readLE16(data + 10);
    const uint32_t cycle = BRINA::readLE32(data + 12);
    c.limitCycle = BRINA::readLE32(data + 16);
    c.profileMin = BRINA::readLE16(data + 20);
    c.profileMax = BRINA::readLE16(data + 22);
    c.profileFlags = BRINA::readLE16(data + 24);
    const uint32_t extra = BRINA::readLE32(data + 26); // a random limit, a byte count, a packet limit

    const TESSERA::TransferConfig input = c;
    if (c.configAuto(cycle)) checkPlan(c);
    check(c.PackDataCount == input.PackDataCount && !c.forceAuto);

    c = input;
    if (c.configTransferFix(cycle, extra & 0xFFFF)) checkPlan(c);
    c = input;
    if (c.configTransferVar(cycle, extra & 0xFFFF)) checkPlan(c);
    c = input;
    if (c.configTransferRandom(extra, cycle, 0)) checkPlan(c);
    c = input;
    if (c.configTransferVarASIO(extra)) checkPlan(c);
    return 0;
}
