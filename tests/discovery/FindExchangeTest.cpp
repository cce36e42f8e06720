// One request and its answer, against scripted Targets on ::1: which datagram ends the exchange and how.
#include "BRINA/Network/Socket.h"
#include "BRINA/Time.h"
#include "discovery/Find.h"
#include "tests/support/LoopbackTarget.h"
#include "transport/wire/DiscoveryMessages.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using BRINA::IPAddress;
using BRINA::Socket;
using TESSERA::Find;
using TESSERA::Packet;
using TESSERA::SendResult;
using Bytes = std::vector<uint8_t>;
namespace DM = TESSERA::DiscoveryMessages;

using TESTING::localLoopback;

Bytes bytesOf(const Packet& p) {
    return Bytes(p.data(), p.data() + p.size());
}

Bytes answer(uint16_t command, bool content) {
    Packet p(command, 4, 0, 0, 0);
    if (content) p.header().setFlags(TESSERA::PacketFlag::HasContent);
    return bytesOf(p);
}

// Two sockets on ::1: the one asked, and a stranger. On the first request the script is played back.
struct ScriptedTarget {
    struct Reply {
        bool fromStranger;
        Bytes bytes;
    };
    Socket asked, stranger;
    IPAddress address;
    std::thread thread;

    ScriptedTarget() {
        for (Socket* s : {&asked, &stranger}) {
            IPAddress local = localLoopback();
            EXPECT_TRUE(s->open(Socket::IPv6Datagram) && s->bind(local));
            if (s == &asked) address = local;
        }
    }
    void play(std::vector<Reply> script, uint32_t floodMs = 0) {
        thread = std::thread([this, script = std::move(script), floodMs] {
            if (asked.wait(1'000'000) != Socket::WaitReadable) return;
            Bytes request;
            IPAddress host;
            asked.receive(request, host);
            for (const Reply& r : script)
                (r.fromStranger ? stranger : asked)
                    .sendTo(host, r.bytes.data(), uint32_t(r.bytes.size()), true);
            // Unrelated datagrams every 5 ms: a bounded flood.
            const Bytes unrelated = answer(TESSERA::NOTIFY, false);
            for (uint32_t sent = 0; sent < floodMs / 5; ++sent) {
                stranger.sendTo(host, unrelated.data(), uint32_t(unrelated.size()), true);
                BRINA::sleepMilliseconds(5);
            }
        });
    }
    ~ScriptedTarget() {
        if (thread.joinable()) thread.join();
    }
};

TEST(FindExchangeTest, TheFirstFittingDatagramEndsTheExchange) {
    using TESSERA::OUTPUT_ANS;
    using TESSERA::OUTPUT_REQ;
    const Bytes invalid{0x63, 0, 0x10, 0, 0x03, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    const struct {
        const char* what;
        std::vector<ScriptedTarget::Reply> script;
        SendResult result;
        bool kept; // the answer buffer holds the datagram
    } rows[] = {
        {"answered", {{false, answer(OUTPUT_ANS, true)}}, SendResult::answered, true},
        {"without content, from a stranger",
         {{true, answer(OUTPUT_ANS, false)}},
         SendResult::noContent,
         true},
        {"echo from a stranger", {{true, answer(OUTPUT_REQ, true)}}, SendResult::echoed, false},
        {"answer from a stranger", {{true, answer(OUTPUT_ANS, true)}}, SendResult::timeout, false},
        {"other command first",
         {{false, answer(0x11, true)}, {false, answer(OUTPUT_ANS, true)}},
         SendResult::answered,
         true},
        {"broken datagram first",
         {{false, invalid}, {false, answer(OUTPUT_ANS, true)}},
         SendResult::answered,
         true},
        {"stranger's answer, then the Target's",
         {{true, answer(OUTPUT_ANS, true)}, {false, answer(OUTPUT_ANS, true)}},
         SendResult::answered,
         true},
        {"silence", {}, SendResult::timeout, false},
    };
    for (const auto& row : rows) {
        ScriptedTarget target;
        Find find(TESSERA::FindConfig{});
        ASSERT_TRUE(find.open());
        target.play(row.script);
        Bytes got{1, 2, 3};
        EXPECT_EQ(find.sendAck(target.address, DM::outputRequest(0), OUTPUT_ANS, got), row.result)
            << row.what;
        EXPECT_EQ(!got.empty(), row.kept) << row.what;
        EXPECT_EQ(Packet::isValid(BRINA::BufferCS_const(got)), row.kept) << row.what;
    }
}

TEST(FindExchangeTest, AFloodDoesNotStretchTheLimit) {
    ScriptedTarget target;
    Find find(TESSERA::FindConfig{});
    ASSERT_TRUE(find.open());
    target.play({}, 400);
    Bytes got;
    const uint32_t start = BRINA::nowMicroseconds();
    EXPECT_EQ(find.sendAck(target.address, DM::infoRequest(), TESSERA::INFO_ANS, got), SendResult::timeout);
    const uint32_t took = BRINA::nowMicroseconds() - start;
    EXPECT_GE(took, 95'000u);
    EXPECT_LT(took, 250'000u);
}

TEST(FindExchangeTest, AClosedSocketIsAnError) {
    Find find(TESSERA::FindConfig{});
    Bytes got;
    EXPECT_EQ(find.sendAck(localLoopback(), DM::infoRequest(), TESSERA::INFO_ANS, got), SendResult::error);
}

} // namespace
