// The Target's log lines reach the Host's log socket from port 19642, after the Host asked for them there.
// ctest-resource-lock: port19642
#include "tests/support/ScriptedHost.h"
#include "tools/receiver/Capabilities.h"
#include "tools/receiver/SoftwareTarget.h"
#include "transport/wire/SyncMessages.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace TESSERA;
using BRINA::IPAddress;
using TESTING::Bytes;
namespace SM = SyncMessages;

// The next log line that reaches host, and the port it came from; empty when none came.
std::string nextLine(TESTING::ScriptedHost& host, uint16_t& port) {
    IPAddress from;
    const Bytes datagram = host.receive(&from);
    port = from.port();
    std::string text;
    if (!SM::readTargetLogLine(BRINA::BufferCS_const(datagram), text)) return "";
    return text;
}

TEST(TargetLogPortTest, LinesGoToTheAskingSocketUntilItStops) {
    TargetConfig config;
    config.bindAddress = TESTING::loopbackAddress();
    config.outputs[0].pcmMask = Capabilities::defaultPcm();
    SoftwareTarget target(config);
    std::string error;
    ASSERT_TRUE(target.start(error)) << error;
    ASSERT_EQ(target.discoveryPort(), 19642);
    TESTING::ScriptedHost logSocket, controlSocket;
    ASSERT_TRUE(logSocket.ready() && controlSocket.ready());

    // The acknowledgement comes first, with word8 0 so that a Host never takes it for a line.
    IPAddress from;
    const Bytes ack = logSocket.ask(19642, SM::targetLogRequest(true), &from);
    ASSERT_GE(ack.size(), 16u);
    EXPECT_TRUE(PacketHeader(ack.data()).command() == TARGETLOG_ANS && PacketHeader(ack.data()).word8() == 0);
    EXPECT_EQ(from.port(), 19642);
    uint16_t port = 0;
    EXPECT_EQ(nextLine(logSocket, port).rfind("TARGETLOG_REQ from ", 0), 0u);

    // A line of any part of the Target, and the Target's own handling of another socket's request.
    target.log("a line for the Host");
    EXPECT_TRUE(nextLine(logSocket, port) == "a line for the Host" && port == 19642) << port;
    EXPECT_EQ(
        PacketHeader(controlSocket.ask(target.controlPort(0), SM::formatRequest(0x0200)).data()).command(),
        NOPBREAK_ANS);
    EXPECT_EQ(nextLine(logSocket, port), "FORMAT_REQ 0x00000200,0x00000000 from " +
                                             controlSocket.address().toStringWithPort() +
                                             ": 0x00002E13,0x000000FE");
    EXPECT_EQ(port, 19642);

    // Off: the next datagram at the log socket is the answer to its own NOPBREAK_REQ, not a line.
    EXPECT_EQ(PacketHeader(logSocket.ask(19642, SM::targetLogRequest(false)).data()).command(),
              TARGETLOG_ANS);
    target.log("no longer sent");
    EXPECT_TRUE(logSocket.droppedBefore(19642));
}

} // namespace
