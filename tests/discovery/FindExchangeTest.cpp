// One request and its answer, against a scripted Target and a stranger on ::1: which datagram ends the
// exchange and how, and that a flood of unrelated datagrams can't stretch its 100 ms.
#include "BRINA/Network/Socket.h"
#include "BRINA/Time.h"
#include "discovery/Find.h"
#include "transport/wire/DiscoveryMessages.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using BRINA::IPAddress;
using BRINA::Socket;
using TESSERA::SendResult;
using Bytes = std::vector<uint8_t>;
namespace DM = TESSERA::DiscoveryMessages;

Bytes answer(uint16_t command, bool content) {
    TESSERA::Packet p(command, 4, 0, 0, 0);
    if (content) p.header().setFlags(TESSERA::PacketFlag::HasContent);
    return Bytes(p.data(), p.data() + p.size());
}

// The socket asked and a stranger; on the request they send their script, then the flood, 5 ms apart.
struct Scripted {
    Socket asked, stranger;
    IPAddress address;
    std::thread thread;
    Scripted(std::vector<std::pair<bool, Bytes>> script, uint32_t flood = 0) {
        for (Socket* s : {&asked, &stranger}) {
            IPAddress local;
            local.parse("::1");
            EXPECT_TRUE(s->open(Socket::IPv6Datagram) && s->bind(local));
            if (s == &asked) address = local;
        }
        thread = std::thread([this, script = std::move(script), flood] {
            Bytes request;
            IPAddress host;
            if (asked.wait(1'000'000) != Socket::WaitReadable || !asked.receive(request, host)) return;
            for (const auto& [fromStranger, bytes] : script)
                (fromStranger ? stranger : asked).sendTo(host, bytes.data(), uint32_t(bytes.size()), true);
            const Bytes unrelated = answer(TESSERA::NOTIFY, false);
            for (uint32_t sent = 0; sent < flood; ++sent, BRINA::sleepMilliseconds(5))
                stranger.sendTo(host, unrelated.data(), uint32_t(unrelated.size()), true);
        });
    }
    ~Scripted() { thread.join(); }
};

TEST(FindExchangeTest, TheFirstFittingDatagramEndsTheExchange) {
    using TESSERA::OUTPUT_ANS;
    const Bytes broken{0x63, 0, 0x10, 0, 0x03, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0},
        ans = answer(OUTPUT_ANS, true);
    const struct {
        std::vector<std::pair<bool, Bytes>> script; // (from the stranger, bytes)
        SendResult result;
    } rows[] = {
        // clang-format off
        {{{false, ans}}, SendResult::answered},
        {{{true, answer(OUTPUT_ANS, false)}}, SendResult::noContent},
        {{{true, answer(TESSERA::OUTPUT_REQ, true)}}, SendResult::echoed},
        {{{true, ans}}, SendResult::timeout},
        {{{false, answer(0x11, true)}, {false, ans}}, SendResult::answered},
        {{{false, broken}, {false, ans}}, SendResult::answered},
        {{{true, ans}, {false, ans}}, SendResult::answered},
        {{}, SendResult::timeout},
        // clang-format on
    };
    for (size_t i = 0; i < std::size(rows); ++i) {
        Scripted target(rows[i].script);
        TESSERA::Find find(TESSERA::FindConfig{});
        ASSERT_TRUE(find.open());
        Bytes got{1, 2, 3};
        EXPECT_EQ(find.sendAck(target.address, DM::outputRequest(0), OUTPUT_ANS, got), rows[i].result) << i;
        const bool kept = rows[i].result == SendResult::answered || rows[i].result == SendResult::noContent;
        EXPECT_EQ(!got.empty() && TESSERA::Packet::isValid(BRINA::BufferCS_const(got)), kept) << i;
    }
    Bytes got;
    EXPECT_EQ(
        TESSERA::Find(TESSERA::FindConfig{}).sendAck(IPAddress(), DM::infoRequest(), TESSERA::INFO_ANS, got),
        SendResult::error); // a socket never opened
}

TEST(FindExchangeTest, AFloodDoesNotStretchTheLimit) {
    Scripted target({}, 80);
    TESSERA::Find find(TESSERA::FindConfig{});
    ASSERT_TRUE(find.open());
    Bytes got;
    const uint32_t start = BRINA::nowMicroseconds();
    EXPECT_EQ(find.sendAck(target.address, DM::infoRequest(), TESSERA::INFO_ANS, got), SendResult::timeout);
    const uint32_t took = BRINA::nowMicroseconds() - start;
    EXPECT_TRUE(took >= 95'000u && took < 250'000u) << took;
}

} // namespace
