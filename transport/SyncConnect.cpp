// The life of one stream on the caller's side: tell the Target, start the worker, wait, play, end.
#include "BRINA/LogStream.h"
#include "BRINA/Thread.h"
#include "transport/Sync.h"
#include "transport/wire/SendAck.h"
#include "transport/wire/SyncCommands.h"
#include "transport/wire/SyncMessages.h"

#include <chrono>
#include <vector>

namespace TESSERA {

bool Sync::connectPrepare() {
    std::vector<uint8_t> answer;
    if (!sendAck(controlSocket, target, SyncMessages::connectPrepareRequest(sinkFormat, latency),
                 CONNECTPRE_ANS, answer, kConnectPrepareTimeout)) {
        BRINA::LogStream(3, "wth CR send err");
        state.store(Idle);
        wakeConnectWait();
        return false;
    }
    if (answer.empty()) return true; // a Target that doesn't answer is tried all the same
    BRINA::LogStream(6, "CONNECTPRE_REQ latency=")
        << uint32_t{PacketHeader(answer.data()).word10()} * 100u << "us";
    return sendAck(controlSocket, target, SyncMessages::syncHostRequest(productId, hostName), SYNCHOST_ANS,
                   answer, kAckTimeout);
}

bool Sync::connect() {
    state.store(Idle);
    if (workerThread.joinable()) workerThread.join();
    if (!sinkFormat.isValid()) {
        BRINA::LogStream(3, "sinkConfig invalid");
        return false;
    }
    playing.store(false);
    state.store(Connecting);
    if (!startWorker()) {
        BRINA::LogStream(3, "Sync Worker Start Error");
        close();
        return false;
    }
    return true;
}

bool Sync::startWorker() {
    return BRINA::startThread(workerThread, [this] { wthMain(); });
}

bool Sync::connectWait() {
    const uint32_t now = state.load();
    if (now != Connecting && now != Streaming) return false;
    {
        std::unique_lock<std::mutex> lock(connectMutex);
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(50);
        const bool ended =
            connectCondition.wait_until(lock, limit, [this] { return state.load() != Connecting; });
        BRINA::LogStream(6, ended ? "connectWait notimeout" : "connectWait timeout");
    }
    BRINA::LogStream(6, "connectWait ") << state.load();
    return true;
}

void Sync::wakeConnectWait() {
    // Taken only for the moment of the signal, so that a waiter between its test and its wait can't miss it.
    { std::lock_guard<std::mutex> lock(connectMutex); }
    connectCondition.notify_all();
}

void Sync::disconnect() {
    uint32_t streaming = Streaming;
    if (!state.compare_exchange_strong(streaming, Disconnecting)) return;
    if (workerThread.joinable()) workerThread.join();
    BRINA::LogStream(6, "discone");
}

void Sync::play() {
    playing.store(true);
    BRINA::LogStream(6, "play ") << state.load();
}

void Sync::stop() {
    playing.store(false);
    BRINA::LogStream(6, "stop ") << state.load();
}

} // namespace TESSERA
