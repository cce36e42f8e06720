#pragma once
// A software Target on ::1 for the requests that need no multicast, its discovery port the system's choice.
#include "BRINA/Network/IPAddress.h"
#include "tools/receiver/SoftwareTarget.h"
#include "tools/receiver/TargetConfig.h"

#include <memory>

namespace TESTING {

class LoopbackTarget {
public:
    explicit LoopbackTarget(TESSERA::TargetConfig config = {});

    // The discovery port's address, and Output i's (from 0).
    const BRINA::IPAddress& address() const { return discovery; }
    BRINA::IPAddress output(size_t i) const;
    TESSERA::SoftwareTarget& target() { return *software; }

private:
    std::unique_ptr<TESSERA::SoftwareTarget> software;
    BRINA::IPAddress discovery;
};

// The address ::1 with port and scope 0.
BRINA::IPAddress localLoopback();

} // namespace TESTING
