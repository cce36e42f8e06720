// sendAck against a scripted Target on ::1: answers, echoes, strangers, silence and a flood.
#include "transport/wire/SendAck.h"
#include "tests/support/LogCapture.h"
#include "transport/wire/SyncMessages.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

using BRINA::IPAddress;
using BRINA::Socket;
using Bytes = std::vector<uint8_t>;
using Clock = std::chrono::steady_clock;
namespace SM = TESSERA::SyncMessages;

bool openOnLoopback(Socket& socket, IPAddress& bound) {
    const uint8_t loopback[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    bound = IPAddress(loopback, 0, 0);
    return socket.open(Socket::IPv6Datagram) && socket.bind(bound);
}
Bytes bytesOf(const TESSERA::Packet& p) {
    return Bytes(p.data(), p.data() + p.size());
}

// A Target that runs a script on each request, on a thread of its own, for at most 10 s or 10 requests.
struct ScriptedTarget {
    using Script = std::function<void(ScriptedTarget&, const IPAddress& host, int request)>;
    explicit ScriptedTarget(Script s) : script(std::move(s)) {
        IPAddress strangerAddress;
        ready = openOnLoopback(socket, address) && openOnLoopback(stranger, strangerAddress);
        if (ready) worker = std::thread([this] { run(); });
    }
    ~ScriptedTarget() { finish(); }
    // Stops the thread; the number of requests that reached the Target, queued ones included.
    int finish() {
        stop = true;
        if (worker.joinable()) worker.join();
        return requests;
    }
    void reply(const IPAddress& to, const Bytes& d, bool asStranger = false) {
        (asStranger ? stranger : socket).sendTo(to, d.data(), static_cast<uint32_t>(d.size()), true);
    }
    void run() {
        Bytes request;
        IPAddress host;
        for (const auto deadline = Clock::now() + std::chrono::seconds(10);
             Clock::now() < deadline && requests < 10;) {
            const int waited = socket.wait(stop ? 0 : 20'000);
            if (waited == Socket::WaitError || (waited == Socket::WaitTimeout && stop)) return;
            if (waited == Socket::WaitTimeout || !socket.receive(request, host) || request.empty()) continue;
            if (const int n = ++requests; !stop) script(*this, host, n);
        }
    }
    Script script;
    Socket socket, stranger;
    IPAddress address;
    bool ready = false;
    std::atomic<int> requests{0};
    std::atomic<bool> stop{false};
    std::thread worker;
};

const Bytes kAnswer = bytesOf(SM::profileAnswer(50, 2000, 3));
using T = ScriptedTarget;
using A = const IPAddress&;

TEST(SendAckTest, AnswersEchoesStrangersSilenceAndAFlood) {
    const std::string line = "sendAck[0,0,0]RCV:20";
    std::atomic<Clock::rep> floodEnd{0}; // written by the flood's script, read after finish()
    // clang-format off
    const struct { const char* what; uint32_t timeout; ScriptedTarget::Script script; bool answered; int requests; std::vector<std::string> log; } rows[] = {
        {"answer", 50'000, [](T& t, A h, int) { t.reply(h, kAnswer); }, true, 1, {line}},
        {"echo", 50'000, [](T& t, A h, int) { t.reply(h, bytesOf(SM::profileRequest({}))); }, false, 1, {line}},
        {"no content", 50'000, [](T& t, A h, int) { t.reply(h, bytesOf(TESSERA::Packet(TESSERA::PROFILE_ANS))); }, false, 1, {line}},
        {"answer on the second try", 50'000, [](T& t, A h, int n) { if (n == 2) t.reply(h, kAnswer); }, true, 2, {line}},
        {"junk and another command first", 50'000, [](T& t, A h, int) { t.reply(h, Bytes(kAnswer.begin(), kAnswer.begin() + 15)); t.reply(h, bytesOf(SM::latencyAnswer(1, 2))); t.reply(h, kAnswer); }, true, 1, {"sendAck RCV errpacket:15", line, line}},
        {"answer from a stranger", 50'000, [](T& t, A h, int) { t.reply(h, kAnswer, true); }, false, 3, {}},
        {"silence", 50'000, [](T&, A, int) {}, false, 3, {}},
        // 60 answers from a stranger 10 ms apart outlast three time-outs of 150 ms, and don't stretch them
        {"flood of strangers", 150'000, [&](T& t, A h, int n) { for (int i = 0; n == 1 && i < 60; ++i) { t.reply(h, kAnswer, true); std::this_thread::sleep_for(std::chrono::milliseconds(10)); } if (n == 1) floodEnd = Clock::now().time_since_epoch().count(); }, false, 3, {}},
    };
    // clang-format on
    for (const auto& r : rows) {
        ScriptedTarget target(r.script);
        Socket host;
        IPAddress hostAddress;
        ASSERT_TRUE(target.ready && openOnLoopback(host, hostAddress)) << r.what;
        TESTING::LogCapture capture(7);
        Bytes answer = {0xEE};
        const auto start = Clock::now();
        EXPECT_TRUE(TESSERA::sendAck(host, target.address, SM::profileRequest({}), TESSERA::PROFILE_ANS,
                                     answer, r.timeout))
            << r.what;
        const auto end = Clock::now();
        EXPECT_TRUE(answer == (r.answered ? kAnswer : Bytes()) && target.finish() == r.requests) << r.what;
        EXPECT_EQ(capture.messages(), r.log) << r.what;
        if (r.requests < 3) continue; // three full waits, and not endlessly more
        EXPECT_GE(end - start, std::chrono::microseconds(3 * r.timeout)) << r.what;
        EXPECT_LT(end - start, std::chrono::microseconds(3 * r.timeout) + std::chrono::seconds(5)) << r.what;
        EXPECT_GT(end.time_since_epoch().count(), floodEnd.load()) << "returned while the flood went on";
    }
}

} // namespace
