#pragma once
// The record of one Output of a receiver, and the maps that searches and requests fill.
#include "BRINA/Network/IPAddress.h"

#include <cstdint>
#include <map>
#include <string>

namespace TESSERA {

struct Target {
    uint64_t productId = 0;
    uint16_t reserved = 0;
    uint16_t outputIndex = 0;       // the Output's number at its receiver, from 1
    uint16_t protocolVersion = 0;   // word14 of OUTPUT_ANS
    std::string targetName;         // the receiver's name, from FIND_ANS
    std::string infoText;           // INFO_ANS with the receiver's address put in; empty in the watch's table
    BRINA::IPAddress parentAddress; // where the receiver was heard, or was asked
    std::string outputName;         // OUTPUT_ANS's payload, possibly empty
};

// Keyed by the Output's own address: the receiver's with the Output's port.
using TargetTable = std::map<BRINA::IPAddress, Target>;

// A receiver that a multicast search heard and the product filter let through.
struct FoundTarget {
    uint64_t productId = 0;
    std::string targetName;
};
using FoundMap = std::map<BRINA::IPAddress, FoundTarget>;

// One Output of one receiver, keyed by the Output's address.
struct OutputInfo {
    std::string outputName;
    uint16_t protocolVersion = 0;
    uint16_t outputIndex = 0;
};
using OutputMap = std::map<BRINA::IPAddress, OutputInfo>;

} // namespace TESSERA
