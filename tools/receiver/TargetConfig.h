#pragma once
// Everything that shapes the software Target: its identity, its Outputs, and the faults it plays.
#include "BRINA/Network/IPAddress.h"
#include "format/StreamFormat.h"
#include "tools/receiver/TargetCommands.h"
#include "tools/receiver/TargetSettingsConfig.h"
#include "tools/receiver/TargetTransferConfig.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace TESSERA {

// Faults of one stream, each off by default and drawn from one seeded generator.
struct StreamFaults {
    uint32_t seed = 1;
    double lossRate = 0;            // share of STREAM_DATA datagrams dropped on arrival, 0 to 1
    uint32_t burstEvery = 0;        // every this many packets, drop a burst (0: never)
    uint32_t burstLength = 0;       // packets in one burst
    uint32_t lossEndsAtMs = 0;      // loss and bursts stop this long after the first packet (0: never)
    double reorderRate = 0;         // share of datagrams held back and handed over after the next one
    double duplicateRate = 0;       // share of datagrams handled twice
    uint32_t delayMicroseconds = 0; // every datagram is handed over this much later
    double driftPpm = 0;            // the play-out clock runs at nominal rate x (1 + drift)
    uint32_t silentAfterMs = 0;     // stop answering (feedback, resends, disconnect) after this (0: never)
    uint32_t closeAfterMs = 0;      // close the stream unasked with DSICONNECT_ANS after this (0: never)
    bool ignoreDisconnect = false;  // leave DSICONNECT_REQ unanswered and keep the stream open
    uint32_t resendBeyondAtMs =
        0;                       // at this time ask for a packet further back than the Host keeps (0: never)
    uint32_t floodPerSecond = 0; // foreign datagrams per second sent at the Host's stream socket
};

// One Output of the receiver: its own control port, name, capabilities and stream behaviour.
struct OutputConfig {
    std::string name = "Output 1";
    uint16_t controlPort = 0; // 0: the system picks one
    uint16_t protocolVersion = 1;
    // false: discovery reports this Output with port 0, as one that the receiver doesn't offer now.
    bool offered = true;
    StreamFormat pcmMask; // capability masks, as FORMAT_REQ reports them
    StreamFormat dsdLsbMask;
    StreamFormat dsdMsbMask;
    uint16_t hardwareLatency = 10; // 100 us units
    uint16_t latency = 0;          // agreed latency in 100 us units; 0 takes the Host's request
    bool answerDataSize = true;
    uint16_t mtu = 1500;
    uint16_t bytesPerCycle = 15000;
    bool answerProfile = true;
    uint16_t profileMin = 0, profileMax = 0, profileFlags = 0; // 10 us units
    // CONNECT_REQ: answered, refused by an echo or by an answer without content, or left unanswered.
    enum class Refusal { None, Echo, NoContent, Silent } refuseConnect = Refusal::None;
    bool invertAtStart = false;   // CONNECT_ANS asks for inverted phase
    uint32_t invertAtMs = 0;      // ask for inverted phase from this time into the stream (0: never)
    uint8_t feedbackKind = 3;     // 3: buffer level against target level; 1 and 2 the other forms; 0 none
    uint32_t bufferTargetMs = 50; // the play-out level the feedback steers towards
    uint32_t startLevelMs = 50;   // play-out starts when this much audio is buffered
    std::string outputPath;       // received audio to this file (WAV, or raw + JSON for DSD); empty: none
    std::string reportPath;       // JSON report of each stream to this file; empty: none
    StreamFaults faults;
    // Called on the receiver's thread at the first arrival of each packet that ends a cycle, with the
    // microsecond clock carried into 64 bits: a tool in the same process measures the cadence itself.
    std::function<void(uint64_t)> onCycleArrival;
};

struct TargetConfig {
    std::string name = "Tessera Target";
    uint64_t productId = 0; // 0: made from "QUINTARA"
    std::string infoText = "Tessera software Target at [myaddress]";
    BRINA::IPAddress bindAddress; // where all sockets bind; the unspecified address binds everywhere
    uint16_t discoveryPort = TargetWire::kDiscoveryPort; // 0: the system picks one (tests)
    bool notify = false;         // NOTIFY to ff02::1 port 19643 every second (inside a test namespace only)
    uint32_t notifyLimit = 3600; // NOTIFY stops by itself after this many (an hour at one a second)
    std::vector<OutputConfig> outputs{OutputConfig{}};
    std::vector<TargetSettingConfig> settings; // the settings list a Host reads and writes
    TargetTexts texts;                         // the answers to the plain text requests
    TargetTransferConfig transfer;             // the slots that transfers go into
};

// The product id of a text of eight ASCII characters, the first in the lowest byte; all ones otherwise.
uint64_t productIdOf(const std::string& text);

// path with suffix put before its extension ("rec.wav", "-2" -> "rec-2.wav"); an empty path stays empty.
std::string pathWithSuffix(const std::string& path, const std::string& suffix);

// The system's own product text, which a productId of 0 stands for.
constexpr char kOwnProductText[] = "QUINTARA";

} // namespace TESSERA
