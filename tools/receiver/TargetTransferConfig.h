#pragma once
// The slots that a software Target takes transfers into, and the faults it plays on request.
#include <cstdint>

namespace TESSERA {

struct TargetTransferConfig {
    uint16_t slots = 2;
    uint16_t windowLimit = 0xFFFF; // payload bytes before an acknowledgement; 0xFFFF: no limit
    uint16_t packetSize = 1000;    // largest payload of one TRANSFER_DATA
    uint16_t blockLength = 8;      // packets in a block
    uint16_t blockCount = 16;      // blocks in a slot
    // Faults, each off by default.
    int32_t dropOnce = -1;  // the first arrival of this sequence number is lost
    int32_t spoilOnce = -1; // the first arrival of this sequence number is kept with its first byte inverted
    double lossShare = 0;   // this share of TRANSFER_DATA arrivals is lost, at random from lossSeed
    uint32_t lossSeed = 1;
    uint32_t silentAcks = 0;   // this many windows go unacknowledged before the Target answers
    bool refuse = false;       // acknowledgements come without content
    bool ackFollowing = false; // a complete window is acknowledged with the sequence after its last
    bool wrongSlotAck = false; // acknowledgements name another slot
};

} // namespace TESSERA
