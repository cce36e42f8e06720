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
#include <utility>
#include <vector>

namespace {

using BRINA::IPAddress;
using BRINA::Socket;
using Bytes = std::vector<uint8_t>;
using Clock = std::chrono::steady_clock;
namespace SM = TESSERA::SyncMessages;

IPAddress loopback() {
    const uint8_t bytes[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    return IPAddress(bytes, 0, 0);
}

bool openOnLoopback(Socket& socket, IPAddress& bound) {
    bound = loopback();
    return socket.open(Socket::IPv6Datagram) && socket.bind(bound);
}

Bytes bytesOf(const TESSERA::Packet& p) {
    return Bytes(p.data(), p.data() + p.size());
}

// A Target that runs a script on each request, on a thread of its own. It stops by itself after
// 10 seconds or 10 requests; the destructor stops it at once and counts what is still queued.
class ScriptedTarget {
public:
    using Script = std::function<void(ScriptedTarget&, const IPAddress& host, int request)>;

    explicit ScriptedTarget(Script s) : script(std::move(s)) {
        ready = openOnLoopback(socket, address) && openOnLoopback(stranger, strangerAddress);
        if (ready) worker = std::thread([this] { run(); });
    }
    ~ScriptedTarget() { finish(); }
    // Stops the thread and gives the number of requests that reached the Target, queued ones included.
    int finish() {
        stop = true;
        if (worker.joinable()) worker.join();
        return requests;
    }
    void reply(const IPAddress& to, const Bytes& d) {
        socket.sendTo(to, d.data(), static_cast<uint32_t>(d.size()), true);
    }
    void replyAsStranger(const IPAddress& to, const Bytes& d) {
        stranger.sendTo(to, d.data(), static_cast<uint32_t>(d.size()), true);
    }

    bool ready = false;
    IPAddress address;
    std::atomic<int> requests{0};
    std::atomic<bool> stop{false};
    std::atomic<Clock::rep> lastSend{0}; // written by the script on this thread, read by the test after it

private:
    void run() {
        const auto deadline = Clock::now() + std::chrono::seconds(10);
        while (Clock::now() < deadline && requests < 10) {
            const int waited = socket.wait(stop ? 0 : 20'000);
            if (waited == Socket::WaitError || (waited == Socket::WaitTimeout && stop)) return;
            if (waited == Socket::WaitTimeout) continue;
            Bytes request;
            IPAddress host;
            if (!socket.receive(request, host) || request.empty()) continue;
            const int n = ++requests;
            if (!stop) script(*this, host, n);
        }
    }

    Script script;
    Socket socket;
    Socket stranger;
    IPAddress strangerAddress;
    std::thread worker;
};

const Bytes kAnswer = bytesOf(SM::profileAnswer(50, 2000, 3));

TEST(SendAckTest, AnswersEchoesStrangersAndSilence) {
    constexpr uint32_t timeout = 50'000;
    const std::string line = "sendAck[0,0,0]RCV:20";
    const struct {
        const char* what;
        ScriptedTarget::Script script;
        Bytes answer;
        int requests;
        std::vector<std::string> log;
    } rows[] = {
        {"answer",
         [](ScriptedTarget& t, const IPAddress& h, int) { t.reply(h, kAnswer); },
         kAnswer,
         1,
         {line}},
        {"echo",
         [](ScriptedTarget& t, const IPAddress& h, int) { t.reply(h, bytesOf(SM::profileRequest({}))); },
         {},
         1,
         {line}},
        {"no content",
         [](ScriptedTarget& t, const IPAddress& h, int) {
             t.reply(h, bytesOf(TESSERA::Packet(TESSERA::PROFILE_ANS)));
         },
         {},
         1,
         {line}},
        {"answer on the second try",
         [](ScriptedTarget& t, const IPAddress& h, int n) {
             if (n == 2) t.reply(h, kAnswer);
         },
         kAnswer,
         2,
         {line}},
        {"junk and another command first",
         [](ScriptedTarget& t, const IPAddress& h, int) {
             t.reply(h, Bytes(kAnswer.begin(), kAnswer.begin() + 15));
             t.reply(h, bytesOf(SM::latencyAnswer(1, 2)));
             t.reply(h, kAnswer);
         },
         kAnswer,
         1,
         {"sendAck RCV errpacket:15", line, line}},
        {"answer from a stranger",
         [](ScriptedTarget& t, const IPAddress& h, int) { t.replyAsStranger(h, kAnswer); },
         {},
         3,
         {}},
        {"silence", [](ScriptedTarget&, const IPAddress&, int) {}, {}, 3, {}},
    };
    for (const auto& r : rows) {
        ScriptedTarget target(r.script);
        ASSERT_TRUE(target.ready) << r.what;
        Socket host;
        IPAddress hostAddress;
        ASSERT_TRUE(openOnLoopback(host, hostAddress));
        TESTING::LogCapture capture(7);
        Bytes answer = {0xEE};
        const auto start = Clock::now();
        EXPECT_TRUE(TESSERA::sendAck(host, target.address, SM::profileRequest({}), TESSERA::PROFILE_ANS,
                                     answer, timeout))
            << r.what;
        const auto elapsed = Clock::now() - start;
        EXPECT_EQ(answer, r.answer) << r.what;
        EXPECT_EQ(capture.messages(), r.log) << r.what;
        if (r.requests == 3) { // three full waits, and not endlessly more
            EXPECT_GE(elapsed, std::chrono::microseconds(3 * timeout)) << r.what;
            EXPECT_LT(elapsed, std::chrono::microseconds(3 * timeout) + std::chrono::seconds(5)) << r.what;
        }
        EXPECT_EQ(target.finish(), r.requests) << r.what;
    }
}

TEST(SendAckTest, FloodOfStrangersHoldsItPastThreeTimeouts) {
    constexpr uint32_t timeout = 150'000;
    // 60 answers from a stranger, 10 ms apart: 600 ms, longer than three time-outs.
    ScriptedTarget target([](ScriptedTarget& t, const IPAddress& h, int n) {
        if (n != 1) return;
        for (int i = 0; i < 60; ++i) {
            t.replyAsStranger(h, kAnswer);
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        t.lastSend = Clock::now().time_since_epoch().count();
    });
    ASSERT_TRUE(target.ready);
    Socket host;
    IPAddress hostAddress;
    ASSERT_TRUE(openOnLoopback(host, hostAddress));
    Bytes answer;
    const auto start = Clock::now();
    EXPECT_TRUE(TESSERA::sendAck(host, target.address, SM::profileRequest({}), TESSERA::PROFILE_ANS, answer,
                                 timeout));
    const auto end = Clock::now();
    EXPECT_TRUE(answer.empty());
    EXPECT_EQ(target.finish(), 3);
    EXPECT_GT(end.time_since_epoch().count(), target.lastSend.load()) << "returned while the flood went on";
    EXPECT_GE(end - start, std::chrono::microseconds(3 * timeout));
}

} // namespace
