#pragma once
// One software Target in a network namespace of its own: a thread that unshares its namespace, holds the far
// end of a veth pair, and runs the Target there, so that the Target's sockets and threads all live inside.
#include "BRINA/Network/IPAddress.h"
#include "tools/receiver/SoftwareTarget.h"
#include "tools/receiver/TargetConfig.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <thread>

namespace TESTING {

class TargetNest {
public:
    // hostEnd: the veth end that stays with the Host, enslaved to bridge; farEnd the one moved in.
    TargetNest(std::string hostEnd, std::string farEnd, std::string bridge);
    ~TargetNest();
    TargetNest(const TargetNest&) = delete;
    TargetNest& operator=(const TargetNest&) = delete;

    // Builds the namespace and the pair, and starts the Target unless answering is false.
    bool start(TESSERA::TargetConfig config, bool answering, std::string& error);
    // Stops the Target and ends the thread; the namespace goes, and the pair with it.
    void stop();

    BRINA::IPAddress address() const { return linkLocal; }
    TESSERA::SoftwareTarget& target() { return *software; }

private:
    enum class Phase { Starting, Unshared, Linked, Running, Failed, Stopping };
    void run(TESSERA::TargetConfig config, bool answering);
    void moveTo(Phase next);
    bool waitFor(Phase wanted);

    std::string hostEnd, farEnd, bridge;
    std::thread thread;
    std::mutex mutex;
    std::condition_variable changed;
    Phase phase = Phase::Starting; // under mutex: written by both threads, each waits on the other's step
    pid_t tid = 0;                 // under mutex: the nest thread's id, for moving the far end in
    std::string failure;           // under mutex: the nest thread's reason for Failed
    BRINA::IPAddress linkLocal;    // written by the nest thread before Running, read after
    std::unique_ptr<TESSERA::SoftwareTarget> software; // the nest thread's; read by the test once Running
};

} // namespace TESTING
