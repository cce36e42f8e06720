#include "tools/receiver/SoftwareTarget.h"

#include "BRINA/ProcessEnvironment.h"

#include <utility>

namespace TESSERA {

SoftwareTarget::SoftwareTarget(TargetConfig config)
    : cfg(std::move(config)), discovery(targetLog, host), settingsList(cfg.settings, cfg.texts),
      slots(cfg.transfer) {
    if (cfg.productId == 0) cfg.productId = productIdOf(kOwnProductText);
    discovery.setExtraHandler(
        [this](BRINA::BufferCS_const message, const BRINA::IPAddress&, std::vector<Packet>& replies) {
            return settingsList.handle(message, replies) || slots.handle(message, replies);
        });
    for (const OutputConfig& output : cfg.outputs)
        outputs.push_back(std::make_unique<OutputControl>(output, targetLog, host));
}

SoftwareTarget::~SoftwareTarget() {
    stop();
}

bool SoftwareTarget::start(std::string& error) {
    stop();
    if (cfg.notify) {
        // NOTIFY is multicast: only inside a network namespace of our own, where no real interface carries
        // it.
        const BRINA::NamespaceCheck where = BRINA::checkNetworkNamespace();
        if (where != BRINA::NamespaceCheck::Own) {
            error = std::string("NOTIFY refused: the process is ") + BRINA::describe(where) +
                    "; run it inside a network namespace of its own (unshare -n, ip netns exec)";
            return false;
        }
        if (cfg.bindAddress.isLoopback()) {
            error = "NOTIFY needs a bind address that reaches the interfaces, such as ::";
            return false;
        }
    }
    DiscoveryResponder::Identity identity{cfg.name, cfg.productId, cfg.infoText, {}};
    for (size_t i = 0; i < outputs.size(); ++i) {
        OutputControl& output = *outputs[i];
        output.onStreamFinished = [this, i](const StreamReport& report) {
            if (onStreamFinished) onStreamFinished(i, report);
        };
        if (!output.start(cfg.bindAddress, error)) {
            stop();
            return false;
        }
        identity.outputs.push_back({output.config().name,
                                    output.config().offered ? output.port() : uint16_t{0},
                                    output.config().protocolVersion});
    }
    BRINA::IPAddress discoveryAddress = cfg.bindAddress;
    discoveryAddress.setPort(cfg.discoveryPort);
    if (!discovery.start(discoveryAddress, std::move(identity), cfg.notify ? cfg.notifyLimit : 0, error)) {
        stop();
        return false;
    }
    targetLog.setForward([this](const std::string& text) { discovery.sendLogLine(text); });
    return true;
}

void SoftwareTarget::stop() {
    // The outputs first: their streams still log while they close.
    for (auto& output : outputs)
        output->stop();
    targetLog.setForward(nullptr);
    discovery.stop();
}

TargetStatus SoftwareTarget::status() const {
    TargetStatus status;
    status.hostKnown = host.get(status.hostName, status.hostProduct);
    for (const auto& output : outputs) {
        TargetStatus::Output entry;
        entry.name = output->config().name;
        entry.controlPort = output->port();
        entry.streaming = output->receiver().active();
        entry.report = output->receiver().report();
        status.outputs.push_back(std::move(entry));
    }
    return status;
}

} // namespace TESSERA
