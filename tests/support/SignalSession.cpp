#include "tests/support/SignalSession.h"

#include "tests/support/PatientNegotiation.h"
#include "tools/signal/TestSignal.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

namespace TESTING {

using namespace TESSERA;

bool SignalSession::negotiate(const BRINA::IPAddress& control, StreamFormat hostFormat, Plan plan,
                              uint32_t mode, uint32_t limit, uint32_t infoCycle) {
    if (!open(mode, infoCycle, 0, "e2e test", 0)) return false;
    const bool answered = getInfoPatiently(*this, control);
    if (!answered || !selectFormat(hostFormat.type(), hostFormat.rateBits())) return false;
    prepareConfig(400);
    switch (plan) {
    case Plan::Fix:
        if (!config.configTransferFix(1000, 1)) return false;
        setTransferProfile(config.result());
        return true;
    case Plan::Var:
        if (!config.configTransferVar(1000, 1)) return false;
        setTransferProfile(config.result());
        return true;
    case Plan::Random:
        return configTransferRandom(500, 1000, 1);
    case Plan::FixAuto:
        return configTransferFixAuto(1000);
    case Plan::VarAuto:
        return configTransferVarAuto(1000);
    case Plan::Profile:
        configTransferAuto(limit, 0, 1000);
        return true;
    }
    return false;
}

void SignalSession::prepareSignal(double seconds) {
    const uint32_t frameBytes = sourceFormat.bytesPerFrame();
    framesPerSecond = frameBytes == 0 ? 0 : sourceFormat.bytesPerSecond() / frameBytes;
    blockFrames = static_cast<uint32_t>(std::max<uint64_t>(1, framesPerSecond / 100));
    totalFrames = static_cast<uint64_t>(std::ceil(seconds * 100)) * blockFrames;
    signal.resize(totalFrames * frameBytes);
    TestSignal(sourceFormat).render(0, static_cast<uint32_t>(totalFrames), signal.data());
    silence.assign(uint64_t{blockFrames} * frameBytes, sourceFormat.muteByte());
}

bool SignalSession::getNewStream(Stream& out) {
    if (state.load() == Disconnecting) return false; // the end of the audio
    const uint64_t first = handedOut.load();
    if (first >= totalFrames) {
        out = Stream{silence.data(), static_cast<uint32_t>(silence.size())};
        return true;
    }
    const uint64_t frames = std::min<uint64_t>(blockFrames, totalFrames - first);
    const uint32_t frameBytes = sourceFormat.bytesPerFrame();
    out = Stream{signal.data() + first * frameBytes, static_cast<uint32_t>(frames * frameBytes)};
    handedOut.store(first + frames);
    return true;
}

bool SignalSession::connect() {
    handedOut.store(0);
    return Sync::connect();
}

bool SignalSession::streamAll() {
    if (!connectPrepare() || !connect() || !connectWait() || state.load() != Streaming) return false;
    play();
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10) +
                       std::chrono::milliseconds(totalFrames * 1000 / std::max<uint64_t>(1, framesPerSecond));
    while (!signalTaken() && state.load() == Streaming && std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    const bool taken = signalTaken() && state.load() == Streaming;
    disconnect();
    return taken && state.load() == Idle && !workerThread.joinable();
}

} // namespace TESTING
