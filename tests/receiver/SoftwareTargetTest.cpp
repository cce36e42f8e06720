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
    return config;
}

PacketHeader headerOf(const Bytes& datagram) {
    return datagram.size() >= PacketHeader::kSize ? PacketHeader(datagram.data()) : PacketHeader();
}

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

TEST_F(SoftwareTargetTest, FindAnswerCarriesProductIdAndName) {
    ASSERT_NO_FATAL_FAILURE(start(twoOutputs()));
    IPAddress from;
    const Bytes answer = host.ask(discovery(), Packet(FIND_REQ), &from);
    // sizeField 0x25: 32 bytes with 5 of padding behind the 11 bytes of the name.
    const Bytes expected = {0x64, 0x00, 0x25, 0x00, 0x01, 0x00, 0x01, 0x00, 'Q', 'U', 'I',
                            'N',  'T',  'A',  'R',  'A',  'T',  'e',  's',  't', ' ', 'T',
                            'a',  'r',  'g',  'e',  't',  0,    0,    0,    0,   0};
    EXPECT_EQ(answer, expected);
    EXPECT_EQ(from.port(), discovery()) << "answered from another port than the one asked";
}

TEST_F(SoftwareTargetTest, OutputAnswersCountEntriesAndOutOfRange) {
    ASSERT_NO_FATAL_FAILURE(start(twoOutputs()));
    const struct {
        uint16_t asked, word8, word12, word14;
        const char* name;
    } rows[] = {
        {0, 2, 0, 0, ""},
        {1, 0, control(0), 3, "Left"},
        {2, 0, control(1), 1, "Right"},
        {3, 0, 0, 0, ""},
    };
    for (const auto& r : rows) {
        const Bytes answer = host.ask(discovery(), Packet(OUTPUT_REQ, r.asked, 0, 0, 1));
        const PacketHeader h = headerOf(answer);
        EXPECT_EQ(h.command(), OUTPUT_ANS) << r.asked;
        EXPECT_EQ(h.flags(), PacketFlag::HasContent) << r.asked;
        EXPECT_EQ(h.word8(), r.word8) << r.asked;
        EXPECT_EQ(h.word12(), r.word12) << r.asked;
        EXPECT_EQ(h.word14(), r.word14) << r.asked;
        EXPECT_EQ(textOf(answer), r.name) << r.asked;
    }
    EXPECT_NE(control(0), 0);
    EXPECT_NE(control(0), control(1));
}

TEST_F(SoftwareTargetTest, InfoAndHostGreetings) {
    TargetConfig config = twoOutputs();
    config.infoText = "at [myaddress] today";
    ASSERT_NO_FATAL_FAILURE(start(config));
    const Bytes info = host.ask(discovery(), Packet(INFO_REQ));
    EXPECT_EQ(headerOf(info).command(), INFO_ANS);
    EXPECT_EQ(headerOf(info).flags(), PacketFlag::HasContent);
    EXPECT_EQ(textOf(info), "at [myaddress] today");

    Packet hello(HOST_REQ, uint64_t{0x1122334455667788});
    hello.header().setFlags(1);
    hello.setText("studio-pc");
    EXPECT_EQ(headerOf(host.ask(discovery(), hello)).command(), HOST_ANS);
    TargetStatus status = target->status();
    EXPECT_TRUE(status.hostKnown);
    EXPECT_EQ(status.hostName, "studio-pc");
    EXPECT_EQ(status.hostProduct, 0x1122334455667788u);

    EXPECT_EQ(headerOf(host.ask(control(1), SM::syncHostRequest(42, "mixer"))).command(), SYNCHOST_ANS);
    status = target->status();
    EXPECT_EQ(status.hostName, "mixer");
    EXPECT_EQ(status.hostProduct, 42u);
}

TEST_F(SoftwareTargetTest, FormatAnswersOverviewAndEachMask) {
    ASSERT_NO_FATAL_FAILURE(start(twoOutputs()));
    const struct {
        uint64_t selector;
        uint64_t value;
    } rows[] = {
        {0, 0x00001EFE02F12E1Bu},        // every kind, both bit orders, all rates
        {0x2E00, 0x000000FE00002E13u},   // PCM, asked by the overview's PCM bits
        {0x0200, 0x000000FE00002E13u},   // any PCM bit asks for the PCM mask
        {0x100000, 0x00001E0602D1001Bu}, // DSD LSB
        {0x200000, 0x00001E0602E1001Bu}, // DSD MSB
        {0x40000, 0},                    // a selector without meaning: an empty mask
    };
    for (const auto& r : rows) {
        const Bytes answer = host.ask(control(0), SM::formatRequest(r.selector));
        const PacketHeader h = headerOf(answer);
        EXPECT_EQ(answer.size(), 16u) << r.selector;
        EXPECT_EQ(h.command(), NOPBREAK_ANS) << r.selector;
        EXPECT_EQ(h.flags(), PacketFlag::HasContent) << r.selector;
        EXPECT_EQ(h.value64(), r.value) << std::hex << r.selector;
    }
}

TEST_F(SoftwareTargetTest, LatencyFollowsTheRequestUnlessFixed) {
    TargetConfig config = twoOutputs();
    config.outputs[0].hardwareLatency = 10;
    config.outputs[1].hardwareLatency = 7;
    config.outputs[1].latency = 40;
    ASSERT_NO_FATAL_FAILURE(start(config));
    const struct {
        size_t output;
        uint16_t requested, latency, hardware;
    } rows[] = {
        {0, 0, 0, 10}, {0, 25, 25, 10}, {0, 0, 25, 10}, // the last request stays agreed
        {1, 0, 40, 7}, {1, 25, 40, 7},                  // a fixed latency doesn't follow
    };
    for (const auto& r : rows) {
        const Bytes answer = host.ask(control(r.output), SM::latencyRequest(r.requested));
        uint16_t latency = 0, hardware = 0;
        ASSERT_TRUE(SM::readLatencyAnswer(BRINA::BufferCS_const(answer), latency, hardware));
        EXPECT_EQ(headerOf(answer).flags(), PacketFlag::HasContent);
        EXPECT_EQ(latency, r.latency) << r.output << " " << r.requested;
        EXPECT_EQ(hardware, r.hardware) << r.output << " " << r.requested;
    }
    // The preparation reports the agreed latency.
    const Bytes prepared = host.ask(control(0), SM::connectPrepareRequest(StreamFormat(0x0402, 0x14), 25));
    EXPECT_EQ(headerOf(prepared).command(), CONNECTPRE_ANS);
    EXPECT_EQ(headerOf(prepared).flags(), PacketFlag::HasContent);
    EXPECT_EQ(headerOf(prepared).word10(), 25);
}

TEST_F(SoftwareTargetTest, DataSizePlainProbeAndSilence) {
    TargetConfig config = twoOutputs();
    config.outputs[0].mtu = 9000;
    config.outputs[0].bytesPerCycle = 30000;
    config.outputs[1].answerDataSize = false;
    ASSERT_NO_FATAL_FAILURE(start(config));
    const PacketHeader plain = headerOf(host.ask(control(0), SM::dataSizeRequest()));
    EXPECT_EQ(plain.command(), DATASIZE_ANS);
    EXPECT_EQ(plain.flags(), PacketFlag::HasContent);
    EXPECT_EQ(plain.word8(), 9000);
    EXPECT_EQ(plain.word10(), 30000);

    uint16_t sum = 0;
    const Packet probe = SM::dataSizeProbe(1500, sum);
    const PacketHeader probed = headerOf(host.ask(control(0), probe));
    EXPECT_EQ(probed.command(), DATASIZE_ANS);
    EXPECT_EQ(probed.word12(), 1436);
    EXPECT_EQ(probed.word14(), sum);

    EXPECT_TRUE(host.send(control(1), SM::dataSizeRequest()));
    EXPECT_TRUE(host.droppedBefore(control(1))) << "DATASIZE_REQ answered although switched off";
}

TEST_F(SoftwareTargetTest, ProfileAnswerAndItsAbsence) {
    TargetConfig config = twoOutputs();
    config.outputs[0].profileMin = 50;
    config.outputs[0].profileMax = 2000;
    config.outputs[0].profileFlags = 3;
    config.outputs[1].answerProfile = false;
    ASSERT_NO_FATAL_FAILURE(start(config));
    const PacketHeader h = headerOf(host.ask(control(0), SM::profileRequest(StreamFormat())));
    EXPECT_EQ(h.command(), PROFILE_ANS);
    EXPECT_EQ(h.flags(), PacketFlag::HasContent);
    EXPECT_EQ(h.word8(), 50);
    EXPECT_EQ(h.word10(), 2000);
    EXPECT_EQ(h.word12(), 3);
    EXPECT_TRUE(host.send(control(1), SM::profileRequest(StreamFormat())));
    EXPECT_TRUE(host.droppedBefore(control(1))) << "PROFILE_REQ answered although switched off";
}

TEST_F(SoftwareTargetTest, ConnectAcceptsOrRefuses) {
    enum class Expect { Normal, Inverted, Echo, NoContent };
    const StreamFormat pcm24(0x0402, 0x14);       // 24-bit, 96,000 Hz, 2 channels
    const StreamFormat dsd64(0x02510002, 0x0202); // LSB, little, DSD64, 2 channels
    const struct {
        const char* what;
        std::function<void(OutputConfig&)> configure;
        StreamFormat format;
        Expect expect;
    } rows[] = {
        {"PCM accepted", [](OutputConfig&) {}, pcm24, Expect::Normal},
        {"DSD accepted", [](OutputConfig&) {}, dsd64, Expect::Normal},
        {"inverted phase asked", [](OutputConfig& o) { o.invertAtStart = true; }, pcm24, Expect::Inverted},
        {"refused by echo", [](OutputConfig& o) { o.refuseConnect = OutputConfig::Refusal::Echo; }, pcm24,
         Expect::Echo},
        {"refused without content",
         [](OutputConfig& o) { o.refuseConnect = OutputConfig::Refusal::NoContent; }, pcm24,
         Expect::NoContent},
        {"rate not offered", [](OutputConfig&) {}, StreamFormat(0x0202, 0x0001), Expect::NoContent},
        {"DSD rate that only the other bit order offers",
         [](OutputConfig& o) { o.dsdLsbMask = StreamFormat(0x02D1001B, 0x0202); },
         StreamFormat(0x02510002, 0x0402), Expect::NoContent},
        {"not a concrete format", [](OutputConfig&) {}, StreamFormat(0x0403, 0x14), Expect::NoContent},
    };
    for (const auto& r : rows) {
        TargetConfig config = twoOutputs();
        r.configure(config.outputs[0]);
        ASSERT_NO_FATAL_FAILURE(start(config));
        const Packet request = SM::connectRequest(r.format);
        // A Host of its own per row: the last row's stream closes towards the last row's Host.
        TESTING::ScriptedHost rowHost;
        const Bytes answer = rowHost.ask(control(0), request);
        const PacketHeader h = headerOf(answer);
        switch (r.expect) {
        case Expect::Normal:
        case Expect::Inverted:
            EXPECT_EQ(h.command(), CONNECT_ANS) << r.what;
            EXPECT_NE(h.word8(), 0) << r.what;
            EXPECT_NE(h.word8(), control(0)) << r.what << ": the stream has a port of its own";
            EXPECT_EQ(h.flags() & 0x0181, r.expect == Expect::Normal ? 0x0181 : 0x0101) << r.what;
            break;
        case Expect::Echo:
            EXPECT_EQ(answer, TESTING::bytesOf(request)) << r.what;
            break;
        case Expect::NoContent:
            EXPECT_EQ(h.command(), CONNECT_ANS) << r.what;
            EXPECT_EQ(h.flags(), 0) << r.what;
            EXPECT_EQ(h.word8(), 0) << r.what;
            break;
        }
        target->stop();
    }
}

TEST_F(SoftwareTargetTest, DropsBrokenAndForeignDatagrams) {
    ASSERT_NO_FATAL_FAILURE(start(twoOutputs()));
    Bytes badMagic = TESTING::bytesOf(Packet(FIND_REQ));
    badMagic[0] = 0x65;
    Bytes tooLong = TESTING::bytesOf(Packet(FIND_REQ));
    tooLong[2] = 0x18; // says 24 bytes, has 16
    const Bytes find = TESTING::bytesOf(Packet(FIND_REQ));
    const struct {
        const char* what;
        bool toControl;
        Bytes datagram;
    } rows[] = {
        {"15 bytes", false, Bytes(find.begin(), find.end() - 1)},
        {"bad magic", false, badMagic},
        {"sizeField beyond the datagram", false, tooLong},
        {"unknown command", false, TESTING::bytesOf(Packet(0x7777))},
        {"a Sync command at the discovery port", false, TESTING::bytesOf(SM::formatRequest(0))},
        {"a discovery command at the control port", true, find},
        {"a stream message at the control port", true, TESTING::bytesOf(SM::disconnectRequest())},
    };
    for (const auto& r : rows) {
        const uint16_t port = r.toControl ? control(0) : discovery();
        EXPECT_TRUE(host.send(port, r.datagram)) << r.what;
        EXPECT_TRUE(host.droppedBefore(port)) << r.what;
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
