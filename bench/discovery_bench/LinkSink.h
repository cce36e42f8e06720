#pragma once
// A datagram sink on a private link: a thread in a network namespace of its own, joined to the link's bridge
// by a veth pair, that counts what arrives on one port. The link's raw rate is what it counts per second.
#include "BRINA/Network/IPAddress.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <thread>

namespace TESSERA {

class LinkSink {
public:
    static constexpr uint16_t kPort = 19700;

    explicit LinkSink(std::string bridge);
    ~LinkSink();
    LinkSink(const LinkSink&) = delete;
    LinkSink& operator=(const LinkSink&) = delete;

    // Builds the namespace and the pair and starts counting; false with the reason in error.
    bool start(std::string& error);
    // The sink's address as the Host reaches it (the bridge's scope), port kPort.
    BRINA::IPAddress address(uint32_t scope) const;
    // Datagrams and bytes counted, and the microseconds between the first and the last arrival.
    void read(uint64_t& datagrams, uint64_t& bytes, uint32_t& span) const;
    void reset();

private:
    void run();

    std::string bridge;
    std::thread thread;
    std::mutex mutex;
    std::condition_variable changed;
    int phase = 0;                         // under mutex: 1 unshared, 2 linked, 3 counting, -1 failed
    pid_t tid = 0;                         // under mutex: the sink thread's id, for moving the far end in
    std::string failure;                   // under mutex
    BRINA::IPAddress linkLocal;            // written by the sink thread before counting, read after
    std::atomic<bool> stopping{false};     // written by the owner, read by the sink thread
    std::atomic<uint64_t> datagrams{0};    // written by the sink thread, read and reset by the owner
    std::atomic<uint64_t> bytes{0};        // as datagrams
    std::atomic<uint32_t> firstArrival{0}; // as datagrams; 0: none yet
    std::atomic<uint32_t> lastArrival{0};  // as datagrams
};

} // namespace TESSERA
