#pragma once
// The software Target: a receiver of our own, answering a Host from the messages alone. One discovery
// port, and per Output a control port and a stream receiver.
#include "tools/receiver/DiscoveryResponder.h"
#include "tools/receiver/HostRecord.h"
#include "tools/receiver/OutputControl.h"
#include "tools/receiver/TargetConfig.h"
#include "tools/receiver/TargetLog.h"
#include "tools/receiver/TargetSettings.h"
#include "tools/receiver/TargetStatus.h"
#include "tools/receiver/TargetTransfer.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace TESSERA {

class SoftwareTarget {
public:
    explicit SoftwareTarget(TargetConfig config);
    ~SoftwareTarget();
    SoftwareTarget(const SoftwareTarget&) = delete;
    SoftwareTarget& operator=(const SoftwareTarget&) = delete;

    // Binds every port and starts answering; false with the reason in error (a port that can't be bound,
    // NOTIFY outside a network namespace of our own). Nothing stays open after a failure.
    bool start(std::string& error);
    // Closes the streams and ends every thread; each ends within its bounded wait.
    void stop();

    // The Target's log: to stderr when verbose, to a Host that asked for it.
    void log(const std::string& text) { targetLog.line(text); }
    TargetLog& logger() { return targetLog; }

    // The ports actually bound, valid after start; output counts from 0 and must exist.
    uint16_t discoveryPort() const { return discovery.port(); }
    uint16_t controlPort(size_t output) const { return outputs[output]->port(); }
    const TargetConfig& config() const { return cfg; }
    TargetStatus status() const;
    // The settings list and texts as Hosts have left them.
    const TargetSettings& settings() const { return settingsList; }
    const TargetTransfer& transfers() const { return slots; }

    // Called on a receiver's thread when a stream of Output index (from 0) has ended; set before start.
    std::function<void(size_t index, const StreamReport&)> onStreamFinished;

private:
    TargetConfig cfg;
    TargetLog targetLog;
    HostRecord host;
    DiscoveryResponder discovery;
    std::vector<std::unique_ptr<OutputControl>> outputs;
    TargetSettings settingsList;
    TargetTransfer slots;
};

} // namespace TESSERA
