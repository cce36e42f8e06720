#include "tests/support/LoopbackTarget.h"

#include <utility>

namespace TESTING {

BRINA::IPAddress localLoopback() {
    BRINA::IPAddress a;
    a.parse("::1");
    return a;
}

LoopbackTarget::LoopbackTarget(TESSERA::TargetConfig config, uint16_t discoveryPort) {
    discovery.setPort(discoveryPort);
    restart(std::move(config));
}

void LoopbackTarget::restart(TESSERA::TargetConfig config) {
    if (software) software->stop();
    config.bindAddress = localLoopback();
    config.discoveryPort = discovery.port();
    software = std::make_unique<TESSERA::SoftwareTarget>(std::move(config));
    std::string error;
    running = software->start(error);
    discovery = localLoopback();
    discovery.setPort(software->discoveryPort());
}

BRINA::IPAddress LoopbackTarget::output(size_t i) const {
    BRINA::IPAddress key = discovery;
    key.setPort(software->controlPort(i));
    return key;
}

} // namespace TESTING
