// sendAck against a scripted Target on ::1: answers, echoes, strangers, silence and a flood.
#include "transport/wire/SendAck.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScriptedHost.h"
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
using TESTING::Bytes;
using Clock = std::chrono::steady_clock;
namespace SM = TESSERA::SyncMessages;

using TESTING::bytesOf;

bool openOnLoopback(Socket& socket, IPAddress& bound) {
    return socket.open(Socket::IPv6Datagram) && socket.bind(bound = TESTING::loopbackAddress());
}

const Bytes kAnswer = bytesOf(SM::profileAnswer(50, 2000, 3));
// What a scripted Target sends back to the Host, from its own socket or from a stranger's.
using Reply = std::function<void(const Bytes&, bool asStranger)>;
using R = const Reply&;

TEST(SendAckTest, AnswersEchoesStrangersSilenceAndAFlood) {
    const std::string line = "sendAck[0,0,0]RCV:20";
    std::atomic<Clock::rep> floodEnd{0}; // written by the flood's script, read after the join
    // clang-format off
    // script: what the Target does on each request (numbered from 1)
    const struct { const char* what; uint32_t timeout; std::function<void(R, int)> script; bool answered; int requests; std::vector<std::string> log; } rows[] = {
        {"answer", 50'000, [](R reply, int) { reply(kAnswer, false); }, true, 1, {line}},
        {"echo", 50'000, [](R reply, int) { reply(bytesOf(SM::profileRequest({})), false); }, false, 1, {line}},
        {"no content", 50'000, [](R reply, int) { reply(bytesOf(TESSERA::Packet(TESSERA::PROFILE_ANS)), false); }, false, 1, {line}},
        {"answer on the second try", 50'000, [](R reply, int n) { if (n == 2) reply(kAnswer, false); }, true, 2, {line}},
        {"junk and another command first", 50'000, [](R reply, int) { reply(Bytes(kAnswer.begin(), kAnswer.begin() + 15), false); reply(bytesOf(SM::latencyAnswer(1, 2)), false); reply(kAnswer, false); }, true, 1, {"sendAck RCV errpacket:15", line, line}},
        {"answer from a stranger", 50'000, [](R reply, int) { reply(kAnswer, true); }, false, 3, {}},
        {"silence", 50'000, [](R, int) {}, false, 3, {}},
        // 60 answers from a stranger 10 ms apart outlast three time-outs of 150 ms, and don't stretch them
        {"flood of strangers", 150'000, [&](R reply, int n) { for (int i = 0; n == 1 && i < 60; ++i) { reply(kAnswer, true); std::this_thread::sleep_for(std::chrono::milliseconds(10)); } if (n == 1) floodEnd = Clock::now().time_since_epoch().count(); }, false, 3, {}},
    };
    // clang-format on
    for (const auto& r : rows) {
        Socket target, stranger, host;
        IPAddress targetAddress, strangerAddress, hostAddress;
        ASSERT_TRUE(openOnLoopback(target, targetAddress) && openOnLoopback(stranger, strangerAddress) &&
                    openOnLoopback(host, hostAddress))
            << r.what;
        std::atomic<bool> stop{false};
        int requests = 0;        // the Target's thread counts them, queued ones included; read after it ends
        std::thread worker([&] { // for at most 10 s or 10 requests
            const Reply reply = [&](const Bytes& d, bool asStranger) {
                (asStranger ? stranger : target)
                    .sendTo(hostAddress, d.data(), static_cast<uint32_t>(d.size()), true);
            };
            Bytes request;
            IPAddress from;
            for (const auto deadline = Clock::now() + std::chrono::seconds(10);
                 Clock::now() < deadline && requests < 10;) {
                const int waited = target.wait(stop ? 0 : 20'000);
                if (waited == Socket::WaitError || (waited == Socket::WaitTimeout && stop)) return;
                if (waited == Socket::WaitTimeout || !target.receive(request, from) || request.empty())
                    continue;
                if (++requests; !stop) r.script(reply, requests);
            }
        });
        TESTING::LogCapture capture(7);
        Bytes answer = {0xEE};
        const auto start = Clock::now();
        EXPECT_TRUE(TESSERA::sendAck(host, targetAddress, SM::profileRequest({}), TESSERA::PROFILE_ANS,
                                     answer, r.timeout))
            << r.what;
        const auto end = Clock::now();
        stop = true;
        worker.join();
        EXPECT_TRUE(answer == (r.answered ? kAnswer : Bytes()) && requests == r.requests)
            << r.what << requests;
        EXPECT_EQ(capture.messages(), r.log) << r.what;
        if (r.requests < 3) continue; // three full waits, and not endlessly more
        EXPECT_GE(end - start, std::chrono::microseconds(3 * r.timeout)) << r.what;
        EXPECT_LT(end - start, std::chrono::microseconds(3 * r.timeout) + std::chrono::seconds(5)) << r.what;
        EXPECT_GT(end.time_since_epoch().count(), floodEnd.load()) << "returned while the flood went on";
    }
}

} // namespace
