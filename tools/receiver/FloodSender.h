#pragma once
// Foreign datagrams at the Host's stream socket, from a second socket of the Target: the same address,
// another port. Each is a DSICONNECT_ANS, which would end the Host's stream if it took it for ours.
#include "BRINA/Network/Socket.h"

#include <cstdint>

namespace TESSERA {

class FloodSender {
public:
    // At most this many per call of send, so that a late loop doesn't burst.
    static constexpr uint32_t kMostPerCall = 64;

    explicit FloodSender(uint32_t perSecond);
    // Opens the second socket on local (port 0).
    bool open(const BRINA::IPAddress& local);
    // Sends what is due by elapsedUs into the stream, at the given rate, to host.
    void send(const BRINA::IPAddress& host, uint64_t elapsedUs);
    uint64_t sent() const { return count; }

private:
    uint32_t perSecond;
    BRINA::Socket socket;
    uint64_t count = 0;
};

} // namespace TESSERA
