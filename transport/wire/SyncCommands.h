#pragma once
// The command codes and flag bits of both protocols, discovery and Sync, with their names for logs and tools.
#include <array>
#include <cstdint>

namespace TESSERA {

// Discovery: what TESSERA::Find says to a Target, and what comes back.
constexpr uint16_t FIND_REQ = 0x0000;
constexpr uint16_t FIND_ANS = 0x0001;
constexpr uint16_t OUTPUT_REQ = 0x0002;
constexpr uint16_t OUTPUT_ANS = 0x0003;
constexpr uint16_t INFO_REQ = 0x0010;
constexpr uint16_t INFO_ANS = 0x0011;
constexpr uint16_t HOST_REQ = 0x0016;
constexpr uint16_t HOST_ANS = 0x0017;
constexpr uint16_t TRANSFER_REQ = 0x001A;
constexpr uint16_t TRANSFER_ANS = 0x001B;
constexpr uint16_t TRANSFER_DATA = 0x001C;
constexpr uint16_t TRANSFER_ACK = 0x001D;
constexpr uint16_t TRANSFER_END_REQ = 0x001E;
constexpr uint16_t TRANSFER_END_ANS = 0x001F;
constexpr uint16_t TEXT_A_REQ = 0x0020;
constexpr uint16_t TEXT_A_ANS = 0x0021;
constexpr uint16_t TEXT_B_REQ = 0x0022;
constexpr uint16_t TEXT_B_ANS = 0x0023;
constexpr uint16_t SELECT_REQ = 0x0024;
constexpr uint16_t SELECT_ANS = 0x0025;
constexpr uint16_t TEXT_C_REQ = 0x002C;
constexpr uint16_t TEXT_C_ANS = 0x002D;
constexpr uint16_t SETTING_LIST_REQ = 0x0030;
constexpr uint16_t SETTING_LIST_ANS = 0x0031;
constexpr uint16_t SETTING_REQ = 0x0032;
constexpr uint16_t SETTING_ANS = 0x0033;
constexpr uint16_t NOTIFY = 0x8001;

// Sync: the session with one Target. NOPBREAK_REQ and NOPBREAK_ANS serve discovery as well.
constexpr uint16_t FORMAT_REQ = 4;
constexpr uint16_t NOPBREAK_ANS = 5;
constexpr uint16_t LATENCY_REQ = 6;
constexpr uint16_t LATENCY_ANS = 7;
constexpr uint16_t CONNECT_REQ = 8;
constexpr uint16_t CONNECT_ANS = 9;
constexpr uint16_t STREAM_DATA = 10;
constexpr uint16_t STREAM_INFO = 11;
constexpr uint16_t DSICONNECT_REQ = 12;
constexpr uint16_t DSICONNECT_ANS = 13;
constexpr uint16_t DATASIZE_REQ = 14;
constexpr uint16_t DATASIZE_ANS = 15;
constexpr uint16_t CONNECTPRE_REQ = 18;
constexpr uint16_t CONNECTPRE_ANS = 19;
constexpr uint16_t PROFILE_REQ = 20;
constexpr uint16_t PROFILE_ANS = 21;
constexpr uint16_t SYNCHOST_REQ = 24;
constexpr uint16_t SYNCHOST_ANS = 25;
constexpr uint16_t TARGETLOG_REQ = 40;
constexpr uint16_t TARGETLOG_ANS = 41;
constexpr uint16_t NOPBREAK_REQ = 42;

// Bits of the header's flags; discovery reads only HasContent.
namespace PacketFlag {
constexpr uint16_t HasContent = 0x0001;    // an answer that carries what was asked; set in SYNCHOST_REQ
constexpr uint16_t ResendRequest = 0x0008; // STREAM_INFO
constexpr uint16_t InfoRequest = 0x0020;   // STREAM_DATA
constexpr uint16_t CycleEnd = 0x0040;      // STREAM_DATA
constexpr uint16_t PhaseNormal = 0x0080;   // CONNECT_ANS, STREAM_INFO
constexpr uint16_t PhaseValid = 0x0100;    // CONNECT_ANS, STREAM_INFO
} // namespace PacketFlag

// Ports that the protocols fix; every other port is learnt from a message.
constexpr uint16_t kDiscoveryPort = 19642;
constexpr uint16_t kNotifyPort = 19643;
constexpr uint16_t kTargetLogPort = 19642;

struct CodeName {
    uint16_t code;
    const char* name;
};

constexpr std::array<CodeName, 48> kCommandNames{{
    {FIND_REQ, "FIND_REQ"},
    {FIND_ANS, "FIND_ANS"},
    {OUTPUT_REQ, "OUTPUT_REQ"},
    {OUTPUT_ANS, "OUTPUT_ANS"},
    {FORMAT_REQ, "FORMAT_REQ"},
    {NOPBREAK_ANS, "NOPBREAK_ANS"},
    {LATENCY_REQ, "LATENCY_REQ"},
    {LATENCY_ANS, "LATENCY_ANS"},
    {CONNECT_REQ, "CONNECT_REQ"},
    {CONNECT_ANS, "CONNECT_ANS"},
    {STREAM_DATA, "STREAM_DATA"},
    {STREAM_INFO, "STREAM_INFO"},
    {DSICONNECT_REQ, "DSICONNECT_REQ"},
    {DSICONNECT_ANS, "DSICONNECT_ANS"},
    {DATASIZE_REQ, "DATASIZE_REQ"},
    {DATASIZE_ANS, "DATASIZE_ANS"},
    {INFO_REQ, "INFO_REQ"},
    {INFO_ANS, "INFO_ANS"},
    {CONNECTPRE_REQ, "CONNECTPRE_REQ"},
    {CONNECTPRE_ANS, "CONNECTPRE_ANS"},
    {PROFILE_REQ, "PROFILE_REQ"},
    {PROFILE_ANS, "PROFILE_ANS"},
    {HOST_REQ, "HOST_REQ"},
    {HOST_ANS, "HOST_ANS"},
    {SYNCHOST_REQ, "SYNCHOST_REQ"},
    {SYNCHOST_ANS, "SYNCHOST_ANS"},
    {TRANSFER_REQ, "TRANSFER_REQ"},
    {TRANSFER_ANS, "TRANSFER_ANS"},
    {TRANSFER_DATA, "TRANSFER_DATA"},
    {TRANSFER_ACK, "TRANSFER_ACK"},
    {TRANSFER_END_REQ, "TRANSFER_END_REQ"},
    {TRANSFER_END_ANS, "TRANSFER_END_ANS"},
    {TEXT_A_REQ, "TEXT_A_REQ"},
    {TEXT_A_ANS, "TEXT_A_ANS"},
    {TEXT_B_REQ, "TEXT_B_REQ"},
    {TEXT_B_ANS, "TEXT_B_ANS"},
    {SELECT_REQ, "SELECT_REQ"},
    {SELECT_ANS, "SELECT_ANS"},
    {TARGETLOG_REQ, "TARGETLOG_REQ"},
    {TARGETLOG_ANS, "TARGETLOG_ANS"},
    {NOPBREAK_REQ, "NOPBREAK_REQ"},
    {TEXT_C_REQ, "TEXT_C_REQ"},
    {TEXT_C_ANS, "TEXT_C_ANS"},
    {SETTING_LIST_REQ, "SETTING_LIST_REQ"},
    {SETTING_LIST_ANS, "SETTING_LIST_ANS"},
    {SETTING_REQ, "SETTING_REQ"},
    {SETTING_ANS, "SETTING_ANS"},
    {NOTIFY, "NOTIFY"},
}};

constexpr std::array<CodeName, 6> kFlagNames{{
    {PacketFlag::HasContent, "HasContent"},
    {PacketFlag::ResendRequest, "ResendRequest"},
    {PacketFlag::InfoRequest, "InfoRequest"},
    {PacketFlag::CycleEnd, "CycleEnd"},
    {PacketFlag::PhaseNormal, "PhaseNormal"},
    {PacketFlag::PhaseValid, "PhaseValid"},
}};

// The name of a command code, or null for a code that neither protocol knows.
constexpr const char* commandName(uint16_t code) {
    for (const auto& entry : kCommandNames)
        if (entry.code == code) return entry.name;
    return nullptr;
}

// The name of one flag bit, or null.
constexpr const char* flagName(uint16_t bit) {
    for (const auto& entry : kFlagNames)
        if (entry.code == bit) return entry.name;
    return nullptr;
}

namespace detail {
constexpr bool codesUnique() {
    for (size_t i = 0; i < kCommandNames.size(); ++i)
        for (size_t j = i + 1; j < kCommandNames.size(); ++j)
            if (kCommandNames[i].code == kCommandNames[j].code) return false;
    return true;
}
} // namespace detail
// One name per code, or a log would print the wrong command.
static_assert(detail::codesUnique(), "two commands share a code");

} // namespace TESSERA
