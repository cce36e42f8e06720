#include "tests/support/TargetNest.h"

#include <sched.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <utility>

namespace TESTING {

namespace {

using Clock = std::chrono::steady_clock;

bool shell(const std::string& command) {
    return std::system(command.c_str()) == 0;
}

} // namespace

TargetNest::TargetNest(std::string host, std::string far, std::string bridgeName)
    : hostEnd(std::move(host)), farEnd(std::move(far)), bridge(std::move(bridgeName)) {}

TargetNest::~TargetNest() {
    stop();
}

void TargetNest::moveTo(Phase next) {
    std::lock_guard<std::mutex> lock(mutex);
    // A failure stays: the other side must see it whatever it asks for next.
    if (phase != Phase::Failed) phase = next;
    changed.notify_all();
}

bool TargetNest::waitFor(Phase wanted) {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait_for(lock, std::chrono::seconds(15),
                     [&] { return phase == wanted || phase == Phase::Failed || phase == Phase::Stopping; });
    return phase == wanted;
}

bool TargetNest::start(TESSERA::TargetConfig config, bool answering, std::string& error) {
    thread = std::thread([this, config = std::move(config), answering] { run(config, answering); });
    if (!waitFor(Phase::Unshared)) {
        std::lock_guard<std::mutex> lock(mutex);
        error = failure.empty() ? "the nest didn't make its namespace" : failure;
        return false;
    }
    pid_t nestTid = 0;
    {
        std::lock_guard<std::mutex> lock(mutex);
        nestTid = tid;
    }
    // The far end goes straight into the nest; the Host's end carries no address of its own, as a bridge
    // port.
    if (!shell("ip link add " + hostEnd + " type veth peer name " + farEnd + " netns " +
               std::to_string(nestTid) + " && sysctl -qw net.ipv6.conf." + hostEnd +
               ".disable_ipv6=1 && ip link set " + hostEnd + " master " + bridge + " && ip link set " +
               hostEnd + " up")) {
        error = "can't make the veth pair " + hostEnd;
        moveTo(Phase::Stopping);
        return false;
    }
    moveTo(Phase::Linked);
    if (!waitFor(Phase::Running)) {
        std::lock_guard<std::mutex> lock(mutex);
        error = failure.empty() ? "the nest didn't start its Target" : failure;
        return false;
    }
    return true;
}

void TargetNest::stop() {
    moveTo(Phase::Stopping);
    if (thread.joinable()) thread.join();
}

void TargetNest::run(TESSERA::TargetConfig config, bool answering) {
    const auto fail = [this](const std::string& why) {
        std::lock_guard<std::mutex> lock(mutex);
        failure = why;
        phase = Phase::Failed;
        changed.notify_all();
    };
    // Only this thread moves; the Target's threads, started from here, are born inside.
    if (unshare(CLONE_NEWNET) != 0) return fail("can't unshare a network namespace");
    if (!shell("ip link set lo up && sysctl -qw net.ipv6.conf.default.accept_dad=0"))
        return fail("can't set up the nest's namespace");
    {
        std::lock_guard<std::mutex> lock(mutex);
        tid = gettid();
    }
    moveTo(Phase::Unshared);
    if (!waitFor(Phase::Linked)) return;
    if (!shell("sysctl -qw net.ipv6.conf." + farEnd + ".accept_dad=0 && ip link set " + farEnd + " up"))
        return fail("can't bring " + farEnd + " up");
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    BRINA::LocalAddressMap addresses;
    while ((!BRINA::getMyLocalAddresV6(addresses, false) || addresses.empty()) && Clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    if (addresses.empty()) return fail(farEnd + " got no link-local address");
    linkLocal = addresses.begin()->first;
    linkLocal.setPort(config.discoveryPort);
    if (answering) {
        software = std::make_unique<TESSERA::SoftwareTarget>(config);
        std::string error;
        if (!software->start(error)) return fail("the Target didn't start: " + error);
    }
    moveTo(Phase::Running);
    // The Target lives until stop, however long its user takes (a benchmark runs for minutes).
    {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [this] { return phase == Phase::Stopping; });
    }
    if (software) software->stop();
    software.reset();
}

} // namespace TESTING
