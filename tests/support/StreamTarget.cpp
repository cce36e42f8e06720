#include "tests/support/StreamTarget.h"

#include "tests/support/ScriptedHost.h"
#include "tools/receiver/Capabilities.h"

#include <chrono>
#include <gtest/gtest.h>
#include <string>

namespace TESTING {

using namespace TESSERA;

StreamTarget::StreamTarget(const Tweak& tweak) {
    TargetConfig config;
    config.bindAddress = loopbackAddress();
    config.discoveryPort = 0;
    OutputConfig& out = config.outputs[0];
    out.pcmMask = Capabilities::defaultPcm();
    if (tweak) tweak(out);
    software = std::make_unique<SoftwareTarget>(config);
    software->onStreamFinished = [this](size_t, const StreamReport& report) {
        std::lock_guard<std::mutex> lock(mutex);
        reports.push_back(report);
        ended.notify_all();
    };
    std::string error;
    isStarted = software->start(error);
    EXPECT_TRUE(isStarted) << error;
}

StreamTarget::~StreamTarget() {
    software->stop();
}

BRINA::IPAddress StreamTarget::control() const {
    return loopbackAddress(software->controlPort(0));
}

bool StreamTarget::report(size_t n, StreamReport& out) {
    std::unique_lock<std::mutex> lock(mutex);
    if (!ended.wait_for(lock, std::chrono::seconds(10), [&] { return reports.size() > n; })) return false;
    out = reports[n];
    return true;
}

size_t StreamTarget::reportCount() {
    std::lock_guard<std::mutex> lock(mutex);
    return reports.size();
}

StreamReport StreamTarget::live() const {
    return software->status().outputs.at(0).report;
}

} // namespace TESTING
