#pragma once
// The one way a Sync request goes out: send, wait for the expected answer, try three times.
#include "BRINA/Network/IPAddress.h"
#include "BRINA/Network/Socket.h"
#include "transport/wire/Packet.h"

#include <cstdint>
#include <vector>

namespace TESSERA {

// Time-outs of the Sync exchanges, in microseconds per try.
constexpr uint32_t kConnectTimeout = 10'000'000;        // CONNECT_REQ
constexpr uint32_t kConnectPrepareTimeout = 10'000'000; // CONNECTPRE_REQ
constexpr uint32_t kAckTimeout = 10'000;                // every other exchange through sendAck
constexpr uint32_t kDisconnectTimeout = 500'000;        // DSICONNECT_REQ, sent by the worker itself
constexpr uint32_t kDisconnectTries = 4;
constexpr uint32_t kAckTries = 3;

// Whether the caller still wants the exchange; asked with the context it gave.
using StillWanted = bool (*)(const void* context);
// The longest that an exchange with a StillWanted waits without asking it again, in microseconds.
constexpr uint32_t kAckSlice = 50'000;

// Sends packet to destination and waits up to timeout microseconds per try for a valid message from
// destination with the command expected. True with the datagram in answer when it came with HasContent;
// true with answer empty after three silent tries, an echo of the request, or an answer without content.
// False only when the socket fails.
bool sendAck(BRINA::Socket& socket, const BRINA::IPAddress& destination, const Packet& packet,
             uint16_t expected, std::vector<uint8_t>& answer, uint32_t timeout);
// The same, but it waits in slices of at most kAckSlice and gives up, true with answer empty, as soon as
// stillWanted(context) is false: a long exchange then ends soon after its caller lets it go.
bool sendAck(BRINA::Socket& socket, const BRINA::IPAddress& destination, const Packet& packet,
             uint16_t expected, std::vector<uint8_t>& answer, uint32_t timeout, StillWanted stillWanted,
             const void* context);

} // namespace TESSERA
