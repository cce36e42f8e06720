#include "bench/discovery_bench/LinkSink.h"

#include "BRINA/Network/Socket.h"
#include "BRINA/Time.h"

#include <sched.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <vector>

namespace TESSERA {

namespace {

bool shell(const std::string& command) {
    return std::system(command.c_str()) == 0;
}

} // namespace

LinkSink::LinkSink(std::string bridgeName) : bridge(std::move(bridgeName)) {}

LinkSink::~LinkSink() {
    stopping = true;
    {
        std::lock_guard<std::mutex> lock(mutex);
        changed.notify_all();
    }
    if (thread.joinable()) thread.join();
}

bool LinkSink::start(std::string& error) {
    thread = std::thread([this] { run(); });
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait_for(lock, std::chrono::seconds(15), [this] { return phase != 0; });
    if (phase != 1) {
        error = failure.empty() ? "the sink didn't make its namespace" : failure;
        return false;
    }
    const std::string moved = std::to_string(tid);
    lock.unlock();
    const bool linked =
        shell("ip link add tsinkh type veth peer name tsinkf netns " + moved +
              " && sysctl -qw net.ipv6.conf.tsinkh.disable_ipv6=1 && ip link set tsinkh master " + bridge +
              " && ip link set tsinkh up");
    lock.lock();
    phase = linked ? 2 : -1;
    if (!linked) failure = "can't make the sink's veth pair";
    changed.notify_all();
    changed.wait_for(lock, std::chrono::seconds(15), [this] { return phase != 2; });
    error = failure;
    return phase == 3;
}

void LinkSink::run() {
    std::unique_lock<std::mutex> lock(mutex);
    const auto fail = [&](const char* why) {
        failure = why;
        phase = -1;
        changed.notify_all();
    };
    // Only this thread moves into the namespace; its socket lives there.
    if (unshare(CLONE_NEWNET) != 0 || !shell("ip link set lo up")) return fail("can't unshare the sink");
    tid = gettid();
    phase = 1;
    changed.notify_all();
    changed.wait_for(lock, std::chrono::seconds(15), [this] { return phase != 1; });
    if (phase != 2) return;
    if (!shell("sysctl -qw net.ipv6.conf.tsinkf.accept_dad=0 && ip link set tsinkf up"))
        return fail("can't bring tsinkf up");
    BRINA::LocalAddressMap addresses;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while ((!BRINA::getMyLocalAddresV6(addresses, false) || addresses.empty()) &&
           std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    if (addresses.empty()) return fail("tsinkf got no link-local address");
    BRINA::Socket socket;
    BRINA::IPAddress any;
    any.setPort(kPort);
    socket.receiveSize = 2048;
    if (!socket.open(BRINA::Socket::IPv6Datagram) || !socket.bind(any)) return fail("the sink can't bind");
    linkLocal = addresses.begin()->first;
    phase = 3;
    changed.notify_all();
    lock.unlock();
    std::vector<uint8_t> datagram;
    while (!stopping) {
        if (socket.wait(100'000) != BRINA::Socket::WaitReadable) continue;
        BRINA::IPAddress from;
        if (!socket.receive(datagram, from)) return;
        const uint32_t now = BRINA::nowMicroseconds() | 1; // never 0, which stands for none
        if (firstArrival == 0) firstArrival = now;
        lastArrival = now;
        bytes += datagram.size();
        ++datagrams;
    }
}

BRINA::IPAddress LinkSink::address(uint32_t scope) const {
    BRINA::IPAddress a = linkLocal;
    a.setScope(scope);
    a.setPort(kPort);
    return a;
}

void LinkSink::read(uint64_t& count, uint64_t& total, uint32_t& span) const {
    count = datagrams;
    total = bytes;
    span = firstArrival == 0 ? 0 : lastArrival - firstArrival;
}

void LinkSink::reset() {
    firstArrival = 0;
    datagrams = 0;
    bytes = 0;
}

} // namespace TESSERA
