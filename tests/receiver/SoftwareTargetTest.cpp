// The software Target against a scripted Host on ::1: the answers that a Host reads, byte by byte where a
// wrong byte would mislead it, and the requests that it must drop.
#include "tools/receiver/SoftwareTarget.h"
#include "BRINA/ProcessEnvironment.h"
#include "tests/support/ScriptedHost.h"
#include "tools/receiver/Capabilities.h"
#include "transport/wire/SyncMessages.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace TESSERA;
using BRINA::IPAddress;
using TESTING::Bytes;
namespace SM = SyncMessages;

OutputConfig output(const std::string& name) {
    OutputConfig config;
    config.name = name;
    config.pcmMask = Capabilities::defaultPcm();
    config.dsdLsbMask = Capabilities::defaultDsd(true);
    config.dsdMsbMask = Capabilities::defaultDsd(false);
    return config;
}

// Two Outputs on ::1 with ports that the system picks, so that the tests run side by side.
TargetConfig twoOutputs() {
    TargetConfig config;
    config.name = "Test Target";
    config.bindAddress = TESTING::loopbackAddress();
    config.discoveryPort = 0;
    config.outputs = {output("Left"), output("Right")};
    config.outputs[0].protocolVersion = 3;
    config.infoText = "at [myaddress] today";
    config.outputs[0].hardwareLatency = 10;
    config.outputs[1].hardwareLatency = 7;
    config.outputs[1].latency = 40;
    return config;
}

PacketHeader headerOf(const Bytes& datagram) {
    return datagram.size() >= PacketHeader::kSize ? PacketHeader(datagram.data()) : PacketHeader();
}

// The header's command, flags and four words, to compare in one line.
std::vector<uint16_t> wordsOf(const Bytes& datagram) {
    const PacketHeader h = headerOf(datagram);
    return {h.command(), h.flags(), h.word8(), h.word10(), h.word12(), h.word14()};
}
using W = std::vector<uint16_t>;

std::string textOf(const Bytes& datagram) {
    std::string text;
    Packet::readText(BRINA::BufferCS_const(datagram), text);
    return text;
}

class SoftwareTargetTest : public ::testing::Test {
protected:
    void start(TargetConfig config) {
        ASSERT_TRUE(host.ready());
        target = std::make_unique<SoftwareTarget>(std::move(config));
        std::string error;
        ASSERT_TRUE(target->start(error)) << error;
    }
    uint16_t discovery() const { return target->discoveryPort(); }
    uint16_t control(size_t output) const { return target->controlPort(output); }

    TESTING::ScriptedHost host;
    std::unique_ptr<SoftwareTarget> target;
};

TEST_F(SoftwareTargetTest, AnswersToDiscoveryAndControlAndWhatItDrops) {
    ASSERT_NO_FATAL_FAILURE(start(twoOutputs()));
    IPAddress from;
    const Bytes answer = host.ask(discovery(), Packet(FIND_REQ), &from);
    // sizeField 0x25: 32 bytes with 5 of padding behind the 11 bytes of the name.
    // clang-format off
    EXPECT_EQ(answer, (Bytes{0x64, 0x00, 0x25, 0x00, 0x01, 0x00, 0x01, 0x00, 'Q', 'U', 'I', 'N', 'T', 'A', 'R', 'A', 'T', 'e', 's', 't', ' ', 'T', 'a', 'r', 'g', 'e', 't', 0, 0, 0, 0, 0}));
    // clang-format on
    EXPECT_EQ(from.port(), discovery()) << "answered from another port than the one asked";
    EXPECT_TRUE(control(0) != 0 && control(0) != control(1));
    // clang-format off
    const struct { uint16_t asked, word8, word12, word14; const char* name; } outputs[] = {
        {0, 2, 0, 0, ""},
        {1, 0, control(0), 3, "Left"},
        {2, 0, control(1), 1, "Right"},
        {3, 0, 0, 0, ""},
    };
    // clang-format on
    for (const auto& r : outputs) {
        const Bytes answer = host.ask(discovery(), Packet(OUTPUT_REQ, r.asked, 0, 0, 1));
        EXPECT_EQ(wordsOf(answer), (W{OUTPUT_ANS, PacketFlag::HasContent, r.word8, 0, r.word12, r.word14}))
            << r.asked;
        EXPECT_EQ(textOf(answer), r.name) << r.asked;
    }
    // clang-format off
    const struct { uint64_t selector, value; } formats[] = {
        {0, 0x00001EFE02F12E1Bu},        // every kind, both bit orders, all rates
        {0x2E00, 0x000000FE00002E13u},   // PCM, asked by the overview's PCM bits
        {0x0200, 0x000000FE00002E13u},   // any PCM bit asks for the PCM mask
        {0x100000, 0x00001E0602D1001Bu}, // DSD LSB
        {0x200000, 0x00001E0602E1001Bu}, // DSD MSB
        {0x40000, 0},                    // a selector without meaning: an empty mask
    };
    // clang-format on
    for (const auto& r : formats) {
        const Bytes answer = host.ask(control(0), SM::formatRequest(r.selector));
        EXPECT_EQ(answer.size(), 16u) << r.selector;
        EXPECT_TRUE(headerOf(answer).command() == NOPBREAK_ANS &&
                    headerOf(answer).flags() == PacketFlag::HasContent);
        EXPECT_EQ(headerOf(answer).value64(), r.value) << std::hex << r.selector;
    }
    const Bytes info = host.ask(discovery(), Packet(INFO_REQ));
    EXPECT_TRUE(headerOf(info).command() == INFO_ANS && headerOf(info).flags() == PacketFlag::HasContent);
    EXPECT_EQ(textOf(info), "at [myaddress] today");

    Packet hello(HOST_REQ, uint64_t{0x1122334455667788});
    hello.header().setFlags(1);
    hello.setText("studio-pc");
    EXPECT_EQ(headerOf(host.ask(discovery(), hello)).command(), HOST_ANS);
    TargetStatus status = target->status();
    EXPECT_TRUE(status.hostKnown && status.hostName == "studio-pc" &&
                status.hostProduct == 0x1122334455667788u);

    EXPECT_EQ(headerOf(host.ask(control(1), SM::syncHostRequest(42, "mixer"))).command(), SYNCHOST_ANS);
    status = target->status();
    EXPECT_TRUE(status.hostName == "mixer" && status.hostProduct == 42u) << status.hostName;
    // clang-format off
    const struct { size_t output; uint16_t requested, latency, hardware; } latencies[] = {
        {0, 0, 0, 10}, {0, 25, 25, 10}, {0, 0, 25, 10}, // the last request stays agreed
        {1, 0, 40, 7}, {1, 25, 40, 7},                  // a fixed latency doesn't follow
    };
    // clang-format on
    for (const auto& r : latencies) {
        const Bytes answer = host.ask(control(r.output), SM::latencyRequest(r.requested));
        EXPECT_EQ(wordsOf(answer), (W{LATENCY_ANS, PacketFlag::HasContent, r.latency, r.hardware, 0, 0}))
            << r.output << " " << r.requested;
    }
    // The preparation reports the agreed latency.
    const Bytes prepared = host.ask(control(0), SM::connectPrepareRequest(StreamFormat(0x0402, 0x14), 25));
    EXPECT_EQ(wordsOf(prepared), (W{CONNECTPRE_ANS, PacketFlag::HasContent, 0, 25, 0, 0}));
    // Broken and foreign datagrams are dropped without an answer.
    Bytes badMagic = TESTING::bytesOf(Packet(FIND_REQ));
    badMagic[0] = 0x65;
    Bytes tooLong = TESTING::bytesOf(Packet(FIND_REQ));
    tooLong[2] = 0x18; // says 24 bytes, has 16
    const Bytes find = TESTING::bytesOf(Packet(FIND_REQ));
    // clang-format off
    const struct { const char* what; bool toControl; Bytes datagram; } dropped[] = {
        {"15 bytes", false, Bytes(find.begin(), find.end() - 1)},
        {"bad magic", false, badMagic},
        {"sizeField beyond the datagram", false, tooLong},
        {"unknown command", false, TESTING::bytesOf(Packet(0x7777))},
        {"a Sync command at the discovery port", false, TESTING::bytesOf(SM::formatRequest(0))},
        {"a discovery command at the control port", true, find},
        {"a stream message at the control port", true, TESTING::bytesOf(SM::disconnectRequest())},
    };
    // clang-format on
    for (const auto& r : dropped) {
        const uint16_t port = r.toControl ? control(0) : discovery();
        EXPECT_TRUE(host.send(port, r.datagram) && host.droppedBefore(port)) << r.what;
    }
}

// Data size and profile as configured, the probe's count and sum, and silence where switched off.
TEST_F(SoftwareTargetTest, DataSizeAndProfileAnswersAndTheirAbsence) {
    TargetConfig config = twoOutputs();
    config.outputs[0].mtu = 9000;
    config.outputs[0].bytesPerCycle = 30000;
    config.outputs[0].profileMin = 50;
    config.outputs[0].profileMax = 2000;
    config.outputs[0].profileFlags = 3;
    config.outputs[1].answerDataSize = false;
    config.outputs[1].answerProfile = false;
    ASSERT_NO_FATAL_FAILURE(start(config));
    uint16_t sum = 0;
    const Packet probe = SM::dataSizeProbe(1500, sum);
    EXPECT_EQ(wordsOf(host.ask(control(0), SM::dataSizeRequest())),
              (W{DATASIZE_ANS, PacketFlag::HasContent, 9000, 30000, 0, 0}));
    EXPECT_EQ(wordsOf(host.ask(control(0), probe)),
              (W{DATASIZE_ANS, PacketFlag::HasContent, 0, 0, 1436, sum}));
    EXPECT_EQ(wordsOf(host.ask(control(0), SM::profileRequest(StreamFormat()))),
              (W{PROFILE_ANS, PacketFlag::HasContent, 50, 2000, 3, 0}));
    for (const Packet& request : {SM::dataSizeRequest(), SM::profileRequest(StreamFormat())}) {
        EXPECT_TRUE(host.send(control(1), request));
        EXPECT_TRUE(host.droppedBefore(control(1)))
            << request.header().command() << " answered although switched off";
    }
}

TEST_F(SoftwareTargetTest, ConnectAcceptsOrRefuses) {
    const StreamFormat pcm24(0x0402, 0x14);       // 24-bit, 96,000 Hz, 2 channels
    const StreamFormat dsd64(0x02510002, 0x0202); // LSB, little, DSD64, 2 channels
    using Configure = std::function<void(OutputConfig&)>;
    const Configure plain = [](OutputConfig&) {};
    // flags: of an accepting answer (a stream port of its own); 0: refused without content; 1: echoed
    // clang-format off
    const struct { const char* what; Configure configure; StreamFormat format; uint16_t flags; } rows[] = {
        {"PCM accepted", plain, pcm24, 0x0181},
        {"DSD accepted", plain, dsd64, 0x0181},
        {"inverted phase asked", [](OutputConfig& o) { o.invertAtStart = true; }, pcm24, 0x0101},
        {"refused by echo", [](OutputConfig& o) { o.refuseConnect = OutputConfig::Refusal::Echo; }, pcm24, 1},
        {"refused without content", [](OutputConfig& o) { o.refuseConnect = OutputConfig::Refusal::NoContent; }, pcm24, 0},
        {"rate not offered", plain, StreamFormat(0x0202, 0x0001), 0},
        {"DSD rate that only the other bit order offers", [](OutputConfig& o) { o.dsdLsbMask = StreamFormat(0x02D1001B, 0x0202); }, StreamFormat(0x02510002, 0x0402), 0},
        {"not a concrete format", plain, StreamFormat(0x0403, 0x14), 0},
    };
    // clang-format on
    for (const auto& r : rows) {
        TargetConfig config = twoOutputs();
        r.configure(config.outputs[0]);
        ASSERT_NO_FATAL_FAILURE(start(config));
        const Packet request = SM::connectRequest(r.format);
        // A Host of its own per row: the last row's stream closes towards the last row's Host.
        TESTING::ScriptedHost rowHost;
        const Bytes answer = rowHost.ask(control(0), request);
        const PacketHeader h = headerOf(answer);
        if (r.flags == 1) {
            EXPECT_EQ(answer, TESTING::bytesOf(request)) << r.what;
        } else {
            EXPECT_EQ(h.command(), CONNECT_ANS) << r.what;
            EXPECT_EQ(r.flags ? h.flags() & 0x0181 : h.flags(), r.flags) << r.what;
            EXPECT_TRUE(r.flags ? h.word8() != 0 && h.word8() != control(0) : h.word8() == 0)
                << r.what << h.word8();
        }
        target->stop();
    }
}

TEST_F(SoftwareTargetTest, NotifyRefusedInTheMachinesNamespace) {
    if (BRINA::checkNetworkNamespace() == BRINA::NamespaceCheck::Own)
        GTEST_SKIP() << "runs in a namespace of its own";
    TargetConfig config = twoOutputs();
    config.notify = true; // bound to ::1, so even a broken check could not multicast
    SoftwareTarget notifying(config);
    std::string error;
    EXPECT_FALSE(notifying.start(error));
    EXPECT_EQ(error.rfind("NOTIFY refused: the process is ", 0), 0u) << error;
}

} // namespace
