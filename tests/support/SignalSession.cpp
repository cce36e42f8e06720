#include "tests/support/SignalSession.h"

#include "tests/support/TestPatience.h"
#include "tools/signal/TestSignal.h"
#include "transport/SessionSetup.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

namespace TESTING {

using namespace TESSERA;

bool SignalSession::negotiate(const BRINA::IPAddress& control, StreamFormat hostFormat, Plan plan,
                              uint32_t mode, uint32_t limit, uint32_t infoCycle) {
    if (!open(mode, infoCycle, 0, "e2e test", 0)) return false;
    if (!SessionSetup::negotiate(*this, control, 0, false, kTestPatience) ||
        !selectFormat(hostFormat.type(), hostFormat.rateBits()))
        return false;
    // A cycle of a millisecond with one packet; Random's cycles from half of it.
    return SessionSetup::plan(*this, PlanSettings{plan, 1000, 500, limit, 1});
}

void SignalSession::prepareSignal(double seconds) {
    const uint32_t frameBytes = getSourceFormat().bytesPerFrame();
    framesPerSecond = frameBytes == 0 ? 0 : getSourceFormat().bytesPerSecond() / frameBytes;
    blockFrames = static_cast<uint32_t>(std::max<uint64_t>(1, framesPerSecond / 100));
    totalFrames = static_cast<uint64_t>(std::ceil(seconds * 100)) * blockFrames;
    signal.resize(totalFrames * frameBytes);
    TestSignal(getSourceFormat()).render(0, static_cast<uint32_t>(totalFrames), signal.data());
    silence.assign(uint64_t{blockFrames} * frameBytes, getSourceFormat().muteByte());
}

bool SignalSession::getNewStream(Stream& out) {
    if (getState() == Disconnecting) return false; // the end of the audio
    const uint64_t first = handedOut.load();
    if (first >= totalFrames) {
        out = Stream{silence.data(), static_cast<uint32_t>(silence.size())};
        return true;
    }
    const uint64_t frames = std::min<uint64_t>(blockFrames, totalFrames - first);
    const uint32_t frameBytes = getSourceFormat().bytesPerFrame();
    out = Stream{signal.data() + first * frameBytes, static_cast<uint32_t>(frames * frameBytes)};
    handedOut.store(first + frames);
    return true;
}

bool SignalSession::connect() {
    handedOut.store(0);
    return Sync::connect();
}

bool SignalSession::streamAll() {
    if (!connectPrepare() || !connect() || !connectWait() || getState() != Streaming) return false;
    play();
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10) +
                       std::chrono::milliseconds(totalFrames * 1000 / std::max<uint64_t>(1, framesPerSecond));
    while (!signalTaken() && getState() == Streaming && std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    const bool taken = signalTaken() && getState() == Streaming;
    disconnect();
    return taken && getState() == Idle && !hasWorker();
}

} // namespace TESTING
