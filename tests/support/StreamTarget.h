#pragma once
// The software Target on ::1 for end-to-end tests: one Output, shaped by the test, that keeps the report of
// each stream that ended.
#include "BRINA/Network/IPAddress.h"
#include "tests/support/ScriptedHost.h"
#include "tools/receiver/Capabilities.h"
#include "tools/receiver/SoftwareTarget.h"
#include "tools/receiver/StreamReport.h"
#include "tools/receiver/TargetConfig.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace TESTING {

class StreamTarget {
public:
    using Tweak = std::function<void(TESSERA::OutputConfig&)>;
    // Every PCM format by default; tweak changes the Output before the Target starts.
    explicit StreamTarget(const Tweak& tweak = {}, uint16_t discoveryPort = 0) {
        TESSERA::TargetConfig config;
        config.bindAddress = loopbackAddress(), config.discoveryPort = discoveryPort;
        config.outputs[0].pcmMask = TESSERA::Capabilities::defaultPcm();
        if (tweak) tweak(config.outputs[0]);
        software = std::make_unique<TESSERA::SoftwareTarget>(config);
        software->onStreamFinished = [this](size_t, const TESSERA::StreamReport& report) {
            std::lock_guard<std::mutex> lock(mutex);
            reports.push_back(report);
            ended.notify_all();
        };
        software->logger().setObserver([this](const std::string& line) { // the requests by their first word
            std::lock_guard<std::mutex> lock(mutex);
            if (line.find("_REQ") != std::string::npos)
                asked += line.substr(0, line.find_first_of(" :_")) + " ";
        });
        std::string error;
        isStarted = software->start(error);
        EXPECT_TRUE(isStarted) << error;
    }
    ~StreamTarget() { software->stop(), software.reset(); } // its threads end before what they write to goes
    StreamTarget(const StreamTarget&) = delete;
    StreamTarget& operator=(const StreamTarget&) = delete;
    bool started() const { return isStarted; }
    BRINA::IPAddress control() const { return loopbackAddress(software->controlPort(0)); }
    // The report of stream n (from 0), once it has ended; false when it didn't within ten seconds.
    bool report(size_t n, TESSERA::StreamReport& out) {
        std::unique_lock<std::mutex> lock(mutex);
        if (!ended.wait_for(lock, std::chrono::seconds(10), [&] { return reports.size() > n; })) return false;
        out = reports[n];
        return true;
    }
    TESSERA::SoftwareTarget& target() { return *software; }
    std::string requests() { // the first words of the requests it logged, in order
        std::lock_guard<std::mutex> lock(mutex);
        return asked;
    }
    // Runs stream; past limit it fails the test and stops the Target, whose silence then ends the worker: a
    // stream that would never end, as one whose final flag went missing, fails instead of hanging.
    template <typename Stream> bool bounded(std::chrono::seconds limit, const Stream& stream) {
        std::atomic<bool> done{false};
        std::thread guard([&] {
            for (const auto end = std::chrono::steady_clock::now() + limit;
                 !done.load() && std::chrono::steady_clock::now() < end;)
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            if (!done.load())
                ADD_FAILURE() << "the stream outlasted " << limit.count() << " s", software->stop();
        });
        const bool result = stream();
        done.store(true), guard.join();
        return result;
    }

private:
    std::unique_ptr<TESSERA::SoftwareTarget> software;
    bool isStarted = false;
    std::mutex mutex;
    std::condition_variable ended;
    std::vector<TESSERA::StreamReport> reports; // guarded by mutex; the Target's threads write
    std::string asked;                          // guarded by mutex; the Target's threads write
};

} // namespace TESTING
