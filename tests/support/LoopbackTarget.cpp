#include "tests/support/LoopbackTarget.h"

#include <gtest/gtest.h>

#include <utility>

namespace TESTING {

BRINA::IPAddress localLoopback() {
    BRINA::IPAddress a;
    a.parse("::1");
    return a;
}

LoopbackTarget::LoopbackTarget(TESSERA::TargetConfig config) : discovery(localLoopback()) {
    config.bindAddress = discovery;
    config.discoveryPort = 0;
    software = std::make_unique<TESSERA::SoftwareTarget>(std::move(config));
    std::string error;
    EXPECT_TRUE(software->start(error)) << error;
    discovery.setPort(software->discoveryPort());
}

BRINA::IPAddress LoopbackTarget::output(size_t i) const {
    BRINA::IPAddress key = discovery;
    key.setPort(software->controlPort(i));
    return key;
}

} // namespace TESTING
