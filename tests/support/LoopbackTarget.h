#pragma once
// A software Target on ::1 for the discovery requests that need no multicast: its discovery port is the
// system's choice unless the configuration names one.
#include "BRINA/Network/IPAddress.h"
#include "tools/receiver/SoftwareTarget.h"
#include "tools/receiver/TargetConfig.h"

#include <memory>

namespace TESTING {

class LoopbackTarget {
public:
    explicit LoopbackTarget(TESSERA::TargetConfig config = {}, uint16_t discoveryPort = 0);
    // Starts again on the same discovery port with another configuration.
    void restart(TESSERA::TargetConfig config);

    // The discovery port's address, and Output i's (from 0).
    const BRINA::IPAddress& address() const { return discovery; }
    BRINA::IPAddress output(size_t i) const;
    TESSERA::SoftwareTarget& target() { return *software; }
    bool started() const { return running; }

private:
    std::unique_ptr<TESSERA::SoftwareTarget> software;
    BRINA::IPAddress discovery;
    bool running = false;
};

// The address ::1 with port and scope 0.
BRINA::IPAddress localLoopback();

} // namespace TESTING
