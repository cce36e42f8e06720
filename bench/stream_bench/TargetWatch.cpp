#include "bench/stream_bench/TargetWatch.h"

#include "BRINA/Time.h"
#include "tools/receiver/Capabilities.h"

#include <chrono>

namespace TESSERA {

TargetWatch::TargetWatch(const StreamFaults& faults, uint32_t levelMs, bool feedback) {
    TargetConfig config;
    config.bindAddress.parse("::1"); // nothing of the bench leaves this machine
    config.discoveryPort = 0;
    OutputConfig& out = config.outputs[0];
    out.pcmMask = Capabilities::defaultPcm();
    out.dsdLsbMask = Capabilities::defaultDsd(true);
    out.dsdMsbMask = Capabilities::defaultDsd(false);
    out.faults = faults;
    out.bufferTargetMs = out.startLevelMs = levelMs;
    targetMs = levelMs;
    if (!feedback) out.feedbackKind = 0;
    arrivals.reserve(1 << 16);
    out.onCycleArrival = [this](uint64_t at) { arrivals.push_back(at); };
    target = std::make_unique<SoftwareTarget>(config);
    target->onStreamFinished = [this](size_t, const StreamReport& report) {
        std::lock_guard<std::mutex> lock(mutex);
        final = report;
        haveFinal = true;
        ended.notify_all();
    };
}

TargetWatch::~TargetWatch() {
    stop();
}

bool TargetWatch::start(uint32_t longestSeconds, std::string& error) {
    if (!target->start(error)) return false;
    log.reserve(uint64_t{longestSeconds} * 25);
    watcher = std::thread([this, longestSeconds] { watch(longestSeconds); });
    return true;
}

BRINA::IPAddress TargetWatch::control() const {
    BRINA::IPAddress address;
    address.parse("::1");
    address.setPort(target->controlPort(0));
    return address;
}

void TargetWatch::watch(uint32_t longestSeconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(longestSeconds);
    uint64_t lastTaken = 0;
    while (!stopping.load() && std::chrono::steady_clock::now() < end) {
        const TargetStatus status = target->status();
        const StreamReport& r = status.outputs[0].report;
        if (status.outputs[0].streaming && r.takenAtUs != 0 && r.takenAtUs != lastTaken) {
            lastTaken = r.takenAtUs;
            Sample s;
            s.at = static_cast<uint32_t>(r.takenAtUs); // the low half is the system's 32-bit clock
            s.levelMs = r.bufferNowMs;
            s.underruns = r.underruns;
            s.playedFrames = r.playedFrames;
            s.leadingSilence = r.verifier.leadingSilence;
            s.signalStarted = r.verifier.started;
            s.intact = r.verifier.silenceInside == 0 && r.verifier.missing == 0 && r.gapsNeverFilled == 0;
            log.push_back(s);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

bool TargetWatch::finalReport(StreamReport& out, uint32_t timeoutMs) {
    std::unique_lock<std::mutex> lock(mutex);
    if (!ended.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return haveFinal; }))
        return false;
    out = final;
    return true;
}

void TargetWatch::stop() {
    stopping.store(true);
    if (watcher.joinable()) watcher.join();
    if (target) target->stop();
}

} // namespace TESSERA
