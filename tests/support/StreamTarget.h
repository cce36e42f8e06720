#pragma once
// The software Target on ::1 for end-to-end tests: one Output, shaped by the test, that keeps the report of
// each stream that ended.
#include "BRINA/Network/IPAddress.h"
#include "tools/receiver/SoftwareTarget.h"
#include "tools/receiver/StreamReport.h"
#include "tools/receiver/TargetConfig.h"

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace TESTING {

class StreamTarget {
public:
    using Tweak = std::function<void(TESSERA::OutputConfig&)>;

    // Every PCM format by default; tweak changes the Output before the Target starts.
    explicit StreamTarget(const Tweak& tweak = {});
    // The Target's threads end before the reports they write to go.
    ~StreamTarget();
    StreamTarget(const StreamTarget&) = delete;
    StreamTarget& operator=(const StreamTarget&) = delete;
    bool started() const { return isStarted; }
    BRINA::IPAddress control() const;
    // The report of stream n (from 0), once it has ended; false when it didn't within ten seconds.
    bool report(size_t n, TESSERA::StreamReport& out);
    // Reports of the streams that have ended so far.
    size_t reportCount();
    // The live numbers of the stream that runs now.
    TESSERA::StreamReport live() const;
    TESSERA::SoftwareTarget& target() { return *software; }

private:
    std::unique_ptr<TESSERA::SoftwareTarget> software;
    bool isStarted = false;
    std::mutex mutex;
    std::condition_variable ended;
    std::vector<TESSERA::StreamReport> reports;
};

} // namespace TESTING
