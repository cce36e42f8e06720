// The worker's send path allocates nothing: a stream to a silent peer on ::1, counted over a window in
// which the worker is the only thread at work.
#include "tests/support/AllocationCounter.h"
#include "tests/support/ScriptedHost.h"
#include "tools/receiver/Capabilities.h"
#include "transport/Sync.h"
#include "transport/wire/SyncMessages.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

namespace {

using namespace TESSERA;
using namespace std::chrono_literals;

// Blocks of one constant pattern; no work of its own that could allocate.
class PatternSession : public Sync {
public:
    using Sync::pcmMask;
    using Sync::target;
    bool getNewStream(Stream& out) override {
        out = Stream{block.data(), static_cast<uint32_t>(block.size())};
        return true;
    }
    std::vector<uint8_t> block = std::vector<uint8_t>(1764, 0x5A);
};

TEST(WorkerAllocationTest, StreamingAllocatesNothing) {
    for (uint16_t packets : {1, 3}) { // a burst of one, and bursts that toggle the socket's blocking
        TESTING::ScriptedHost peer;
        ASSERT_TRUE(peer.ready());
        PatternSession session;
        ASSERT_TRUE(session.open(1, 10000, 0, "allocation test", 0));
        session.target = peer.address();
        session.pcmMask = Capabilities::defaultPcm();
        ASSERT_TRUE(session.selectFormat(0x0202, 0x000A));
        session.setDataSize(1500, 15000);
        ASSERT_TRUE(session.configTransferFix(1000, packets));

        ASSERT_TRUE(session.connect());
        BRINA::IPAddress host;
        const TESTING::Bytes request = peer.receive(&host);
        ASSERT_EQ(PacketHeader(request.data()).command(), CONNECT_REQ);
        // The stream comes to the peer's own socket, which reads nothing from now on.
        ASSERT_TRUE(peer.send(host.port(), SyncMessages::connectAnswer(peer.address().port(), false)));
        ASSERT_TRUE(session.connectWait());
        ASSERT_EQ(session.getState(), Sync::Streaming);
        session.play();

        std::this_thread::sleep_for(100ms);
        const uint64_t before = TESTING::allocationCount();
        std::this_thread::sleep_for(300ms); // well inside the second the worker waits for the Target
        const uint64_t after = TESTING::allocationCount();
        EXPECT_EQ(session.getState(), Sync::Streaming);
        EXPECT_EQ(after, before) << packets << " packets a cycle";
        session.close();
    }
}

} // namespace
