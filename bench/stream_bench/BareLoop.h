#pragma once
// The worker's schedule with no audio work at all: the same socket type, thread priority and sleeping
// rules, the same cycle and burst of datagrams of the same size, sent on ::1 to a socket whose reader waits
// as the Target's does, so that each send pays the same wake-up. Its send times against the schedule
// show what the platform alone costs.
#include "BRINA/Network/Socket.h"
#include "bench/stream_bench/BurstRecorder.h"

#include <atomic>
#include <cstdint>
#include <thread>
#include <time.h>
#include <vector>

namespace TESSERA {

class BareLoop {
public:
    struct Plan {
        uint32_t cycle = 1000;        // microseconds
        uint32_t packets = 1;         // a burst
        uint32_t datagramBytes = 200; // each
        uint32_t threadMode = 1;
        uint32_t longestSeconds = 60; // the loop ends by itself after this, whatever happens
    };

    ~BareLoop();
    // Opens the sockets and starts the loop; false when either fails.
    bool start(const Plan& plan, size_t bursts);
    // Ends the loop and joins it.
    void stop();
    // The loop's CPU clock while it runs.
    bool cpuClock(clockid_t& clock);
    // Read after stop.
    const std::vector<BurstRecord>& bursts() const { return log; }

private:
    void run();
    void drain();

    Plan plan;
    BRINA::Socket socket, sink;
    std::vector<uint8_t> datagram;
    std::vector<BurstRecord> log; // written by the loop alone
    std::atomic<bool> stopping{false};
    std::thread thread;
    std::thread reader; // empties the sink, as the Target's thread empties its stream socket
};

} // namespace TESSERA
