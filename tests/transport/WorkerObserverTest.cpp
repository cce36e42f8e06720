// The worker's observer: each burst with its due and send times, and each feedback value with the
// rateAdjust that followed, as a silent stream runs against the software Target on ::1.
#include "transport/WorkerObserver.h"
#include "BRINA/Time.h"
#include "tests/support/ScriptedHost.h"
#include "tests/support/TestPatience.h"
#include "tools/receiver/Capabilities.h"
#include "tools/receiver/SoftwareTarget.h"
#include "transport/FeedbackControl.h"
#include "transport/SessionSetup.h"
#include "transport/Sync.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

namespace {

using namespace TESSERA;
using namespace std::chrono_literals;

struct Burst {
    uint32_t due, sent, packets, repeats;
};
struct Feedback {
    int16_t value, rateAdjust;
};

// Keeps everything; the test reads it only after the worker has been joined.
class Recorder : public WorkerObserver {
public:
    Recorder() {
        bursts.reserve(10000);
        feedback.reserve(10000);
    }
    void burstSent(uint32_t due, uint32_t sent, uint32_t packets, uint32_t repeats) override {
        if (bursts.size() < bursts.capacity()) bursts.push_back({due, sent, packets, repeats});
    }
    void feedbackTaken(int16_t value, int16_t rateAdjust) override {
        if (feedback.size() < feedback.capacity()) feedback.push_back({value, rateAdjust});
    }
    std::vector<Burst> bursts;
    std::vector<Feedback> feedback;
};

TEST(WorkerObserverTest, SeesEveryBurstOnItsScheduleAndEveryFeedback) {
    struct Row {
        const char* name;
        uint32_t burstEvery; // the Target drops 3 packets this often (0: never)
        uint32_t packets;    // packets a cycle in the plan
    } rows[] = {
        {"one packet a cycle", 0, 1}, {"lost packets repeated", 150, 1}, {"three packets a cycle", 0, 3}};
    for (const Row& r : rows) {
        TargetConfig config;
        config.bindAddress = TESTING::loopbackAddress();
        config.discoveryPort = 0;
        config.outputs[0].pcmMask = Capabilities::defaultPcm();
        config.outputs[0].faults.burstEvery = r.burstEvery;
        config.outputs[0].faults.burstLength = 3;
        SoftwareTarget target(config);
        std::string error;
        ASSERT_TRUE(target.start(error)) << error;

        Sync session;
        Recorder recorder;
        session.setObserver(&recorder);
        ASSERT_TRUE(session.open(1, 10000, 0, "observer test", 0));
        ASSERT_TRUE(SessionSetup::negotiate(session, TESTING::loopbackAddress(target.controlPort(0)), 0,
                                            false, TESTING::kTestPatience));
        ASSERT_TRUE(session.selectFormat(0x0402, 0x0024)); // 24-bit stereo at 192 kHz
        ASSERT_TRUE(session.configTransferFix(1000, 1)) << r.name;
        TransferProfile plan = session.getTransferProfile(0); // the cycle's frames, split into packets
        plan.framesQ14 /= r.packets;
        plan.packetCount = static_cast<uint16_t>(r.packets);
        session.setTransferProfile(plan);
        ASSERT_TRUE(session.connectPrepare() && session.connect() && session.connectWait()) << r.name;
        std::this_thread::sleep_for(400ms); // not playing: silence at the full rate
        session.disconnect();
        session.close();

        ASSERT_GE(recorder.bursts.size(), 100u) << r.name;
        uint64_t repeats = 0;
        for (size_t i = 0; i < recorder.bursts.size(); ++i) {
            const Burst& b = recorder.bursts[i];
            EXPECT_TRUE(BRINA::timeNotAfter(b.due, b.sent)) << r.name << " burst " << i;
            EXPECT_TRUE(b.packets == r.packets || b.packets == 2 * r.packets) << r.name << " burst " << i;
            EXPECT_LE(b.repeats, b.packets) << r.name;
            repeats += b.repeats;
            if (i == 0) continue;
            // The next burst is due one cycle on, or one cycle after a late burst went out.
            const Burst& before = recorder.bursts[i - 1];
            EXPECT_TRUE(b.due == before.due + 1000 || b.due == before.sent + 1000)
                << r.name << " burst " << i;
        }
        EXPECT_EQ(repeats > 0, r.burstEvery != 0) << r.name;

        // Info every 10 ms; the rateAdjust told is the control loop's answer to the values told.
        ASSERT_GE(recorder.feedback.size(), 10u) << r.name;
        FeedbackControl control(1);
        for (const Feedback& f : recorder.feedback)
            EXPECT_EQ(f.rateAdjust, control.take(f.value)) << r.name;
    }
}

} // namespace
