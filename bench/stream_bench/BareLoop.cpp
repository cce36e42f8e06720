#include "bench/stream_bench/BareLoop.h"

#include "BRINA/Thread.h"
#include "BRINA/Time.h"
#include "bench/stream_bench/ThreadCpu.h"
#include "transport/ThreadMode.h"

#include <algorithm>

namespace TESSERA {

BareLoop::~BareLoop() {
    stop();
}

bool BareLoop::start(const Plan& p, size_t bursts) {
    stop();
    plan = p;
    BRINA::IPAddress local, sinkAddress;
    if (!local.parse("::1") || !sinkAddress.parse("::1")) return false;
    if (!sink.open(BRINA::Socket::IPv6Datagram) || !sink.bind(sinkAddress)) return false;
    if (!socket.open(BRINA::Socket::IPv6Datagram) || !socket.bind(local)) return false;
    socket.setPeer(sinkAddress);
    datagram.assign(plan.datagramBytes, 0);
    log.clear();
    log.reserve(bursts);
    stopping.store(false);
    thread = std::thread([this] { run(); });
    reader = std::thread([this] { drain(); });
    return true;
}

void BareLoop::stop() {
    stopping.store(true);
    if (thread.joinable()) thread.join();
    if (reader.joinable()) reader.join();
    socket.close();
    sink.close();
}

bool BareLoop::cpuClock(clockid_t& clock) {
    return thread.joinable() && ThreadCpu::clockOf(thread.native_handle(), clock);
}

void BareLoop::drain() {
    std::vector<uint8_t> buffer;
    BRINA::IPAddress from;
    sink.receiveSize = 65536;
    sink.setBlocking(false);
    const uint32_t start = BRINA::nowMicroseconds();
    const uint64_t longest = uint64_t{plan.longestSeconds} * 1000000;
    // The Target's longest wait in its socket; the loop ends with the bare loop or its time.
    while (!stopping.load(std::memory_order_relaxed) && BRINA::nowMicroseconds() - start < longest) {
        if (sink.wait(2000) != BRINA::Socket::WaitReadable) continue;
        do {
            if (!sink.receive(buffer, from)) return;
        } while (!buffer.empty());
    }
}

void BareLoop::run() {
    // The worker's set-up: its priority, and its sleeping rules as reduced on a machine of two cores.
    uint32_t mode = plan.threadMode;
    if (!(mode & NOSLEEPFORCE) && BRINA::physicalCoreCount() <= 2) mode &= ~NOSLEEP4CORE;
    const bool spins = (mode & (NOSHORTSLEEP | NOSLEEP4CORE | NOSLEEPFORCE)) != 0;
    if (BRINA::processPriority() != 0) BRINA::setThreadPriority((mode & CRITICAL) ? 0 : 1, spins);

    const uint32_t start = BRINA::nowMicroseconds();
    const uint64_t longest = uint64_t{plan.longestSeconds} * 1000000;
    uint32_t next = start - plan.cycle / 2;
    while (!stopping.load(std::memory_order_relaxed)) {
        uint32_t now = BRINA::nowMicroseconds();
        if (now - start >= longest) return;
        if (BRINA::timeAfter(next, now)) {
            if (mode & (NOSLEEP4CORE | NOSLEEPFORCE)) continue;
            const uint32_t wait = next - now;
            if ((mode & NOSHORTSLEEP) && wait <= 100) continue;
            if (socket.wait(wait) == BRINA::Socket::WaitError) return;
            now = BRINA::nowMicroseconds();
            if (BRINA::timeAfter(next, now)) continue;
        }
        const uint32_t due = next;
        next += plan.cycle;
        if (!BRINA::timeAfter(next, now)) next = now + plan.cycle; // late: the schedule restarts from now
        const bool toggle = !(mode & SOCKETNOBLOCK) && plan.packets > 1;
        if (toggle) socket.setBlocking(false);
        for (uint32_t i = 1; i <= plan.packets; ++i) {
            if (toggle && i == plan.packets) socket.setBlocking(true);
            socket.send(datagram.data(), static_cast<uint32_t>(datagram.size()), true);
        }
        if (log.size() < log.capacity()) log.push_back({due, now, plan.packets, 0});
        if (socket.wait(0) == BRINA::Socket::WaitError) return;
    }
}

} // namespace TESSERA
