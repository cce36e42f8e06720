#pragma once
// The Sync session: everything the Host holds for its stream to one Target: its sockets, what it learnt
// from the Target, the formats and the routine that copies between them, and the transfer plan.
#include "BRINA/Network/IPAddress.h"
#include "BRINA/Network/Socket.h"
#include "BRINA/Thread.h"
#include "format/CopyRoutines.h"
#include "format/Stream.h"
#include "format/StreamFormat.h"
#include "transport/TransferConfig.h"
#include "transport/TransferProfile.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace TESSERA {

class WorkerLoop;
class WorkerObserver;

// The session with one Target; its sockets, threads and negotiation live here too. The stream buffer
// derives from it.
class Sync {
public:
    // The states of a stream, shared by the caller's thread and the worker.
    enum SyncState : uint32_t { Idle = 0, Connecting = 1, Streaming = 2, Disconnecting = 3 };
    static constexpr uint32_t kReleaseNumber = 112;

    Sync();
    // Does what close does.
    virtual ~Sync();
    Sync(const Sync&) = delete;
    Sync& operator=(const Sync&) = delete;

    // The next block of audio for the worker; the stream buffer provides it.
    virtual bool getNewStream(Stream& out);
    // The worker used blocks in this cycle; the stream buffer refills.
    virtual bool streamTaken();
    // Starts workerThread on wthMain; false when the thread can't be made.
    virtual bool startWorker();

    // The life of one stream: tell the Target, start the worker, wait for the stream, play, end.
    bool connectPrepare();
    virtual bool connect();
    bool connectWait();
    bool is_connect() const { return state.load() != Idle; }
    virtual void disconnect();
    virtual void play();
    virtual void stop();

    // Opens both sockets on the unspecified address with the Target's scope; starts the Target log thread
    // at log level 6 or more.
    bool open(uint32_t threadMode, uint32_t infoCycle, uint16_t scope, const std::string& hostName,
              uint64_t productId);
    // Closes both sockets, then joins the threads.
    void close();
    // Every question of the negotiation, in order; false when a mandatory answer is missing.
    bool getInfo(const BRINA::IPAddress& target, uint32_t latencyMicroseconds, bool nopBreak);
    bool getSinkFormats(const BRINA::IPAddress& target);
    bool getProfile(const BRINA::IPAddress& target);
    // The Target answers the format overview: the session's Target, or the one given.
    bool isAlive() { return isAlive(target); }
    bool isAlive(const BRINA::IPAddress& to);
    // The probing form of the data size question; mtu in and out.
    bool probeMtu(const BRINA::IPAddress& target, uint16_t& mtu);
    void setDataSize(uint16_t mtu, uint16_t max);
    void setThreadMode(uint32_t value) { threadMode.store(value, std::memory_order_relaxed); }
    void setHostPhase(bool value) { hostPhaseInvert.store(value, std::memory_order_relaxed); }
    // Latency in microseconds: the agreed one and the Target's hardware.
    uint32_t getLatency() const { return (static_cast<uint32_t>(latency) + hwLatency) * 100u; }

    // Plans of the transfer: rows 0 and 1 from the Target's profile and two limits.
    void configTransferAuto(uint32_t limit, uint32_t cycle, uint32_t lowLimit);
    // One row: FixMode or VarMode for the cycle with at most maxCount packets (0: the Target's most).
    bool configTransferFix(uint32_t cycle, uint32_t maxCount);
    bool configTransferVar(uint32_t cycle, uint32_t maxCount);
    bool configTransferFixAuto(uint32_t cycle);
    bool configTransferVarAuto(uint32_t cycle);
    bool configTransferRandom(uint32_t limit, uint32_t cycle, uint32_t maxCount);
    void setTransferProfile(const TransferProfile& record);

    // Whether the Target takes this concrete format, by the capability mask that its kind and bit order pick.
    bool canFormat(uint32_t typeWord, uint32_t rateWord) const;
    // Settles sourceFormat, sinkFormat and copyRoutine for what the host delivers; on failure none changes.
    bool selectFormat(uint32_t typeWord, uint32_t rateWord);
    // Swaps copyRoutine for the member of its pair that hostInvert XOR targetInvert asks for.
    void setPlayPhase(bool hostInvert, bool targetInvert);

    // What the negotiation and selectFormat settled, for the caller between streams and for its reports.
    StreamFormat getSourceFormat() const { return sourceFormat; }
    StreamFormat getSinkFormat() const { return sinkFormat; }
    StreamFormat getPcmMask() const { return pcmMask; }
    StreamFormat getDsdLsbMask() const { return dsdLsbMask; }
    StreamFormat getDsdMsbMask() const { return dsdMsbMask; }
    // The agreed latency and the Target's hardware latency, microseconds.
    uint32_t getAgreedLatency() const { return latency * 100u; }
    uint32_t getHardwareLatency() const { return hwLatency * 100u; }
    uint16_t getMaxPacketSize() const { return maxPacketSize; }
    uint16_t getMaxPacketCount() const { return maxPacketCount; }
    // The plan's rows: row 0 first, the others its fallbacks.
    int32_t getProfileCount() const { return profileCount; }
    const TransferProfile& getTransferProfile(size_t row) const { return profiles[row]; }
    // The working record of the last plan, with the Target's profile.
    const TransferConfig& getConfig() const { return config; }
    const BRINA::IPAddress& getTarget() const { return target; }
    // The Target's log endpoint; read on the host's thread between negotiations.
    const BRINA::IPAddress& getTargetLog() const { return targetLog; }
    uint32_t getThreadMode() const { return threadMode.load(std::memory_order_relaxed); }
    SyncState getState() const { return static_cast<SyncState>(state.load()); }
    bool isPlaying() const { return playing.load(); }
    // The worker exists: running, or ended and not yet joined.
    bool hasWorker() const { return workerThread.joinable(); }
    std::thread::native_handle_type workerHandle() { return workerThread.native_handle(); }
    void setObserver(WorkerObserver* watcher) { observer.store(watcher); }
    // The Target's log lines are being fetched: open started the log thread.
    bool logsTarget() const { return logThread.joinable(); }

    // The depth of the feedback average that the mode word asks for, 1 to 8.
    static uint32_t feedbackDepth(uint32_t mode);

protected:
    // The worker thread: its set-up from the mode word, then the loop.
    void wthMain();
    void wthLoop();
    // Signals connectCondition; the worker's set-up and end, and a failed connectPrepare.
    void wakeConnectWait();
    // Starts workerThread on first, then wthMain: for a subclass that holds the worker back.
    bool startWorkerAfter(std::function<void()> first) {
        return BRINA::startThread(workerThread, [this, first = std::move(first)] {
            first();
            wthMain();
        });
    }
    // The state without a worker, for a subclass whose test drives the stream buffer's producer alone.
    void setState(SyncState value) { state.store(value); }
    // Ends a running worker's loop at its next pass and joins it; the state is then Idle.
    void endWorker() {
        state.store(Idle);
        if (workerThread.joinable()) workerThread.join();
    }

    // What the negotiation and selectFormat settled: the stream buffer reads them, a test session sets them.
    // Set by selectFormat on the host's thread before the worker exists, then switched and called by the
    // worker alone: never touched by two threads at once, so a plain pointer.
    CopyRoutine copyRoutine = copyPlain;
    // What Stream blocks hold. Written by selectFormat before the worker starts; read-only while it runs.
    StreamFormat sourceFormat;
    // What goes on the wire. Same writer and readers as sourceFormat.
    StreamFormat sinkFormat;
    // The Target's capabilities: PCM, DSD of bit order LSB, DSD of bit order MSB. Written by the
    // negotiation on the host's thread; read-only afterwards.
    StreamFormat pcmMask;
    StreamFormat dsdLsbMask;
    StreamFormat dsdMsbMask;

    // The Target's control endpoint, written by getInfo once every mandatory question was answered.
    BRINA::IPAddress target;
    uint16_t latency = 0;   // 100 us units, agreed with the Target
    uint16_t hwLatency = 0; // 100 us units, the Target's hardware

private:
    // config with the session's format and limits, and the given shortest cycle.
    void prepareConfig(uint32_t limitCycle);
    friend class WorkerLoop; // the worker reads what was negotiated and drives the control socket
    // The worker; started by connect, joined by disconnect, the next connect or close.
    std::thread workerThread;
    // Every control exchange and the stream itself: the host's thread until the worker exists, then the
    // worker.
    BRINA::Socket controlSocket;
    // The Target log exchange; used by logThread alone once it runs.
    BRINA::Socket logSocket;
    std::thread logThread;
    std::mutex connectMutex;
    std::condition_variable connectCondition;
    // Written by the caller's thread (connect, disconnect) and the worker; read by both at their next use.
    std::atomic<uint32_t> state{Idle};
    // Written by the caller's thread (play, stop); read by the worker at each filling of a packet.
    std::atomic<bool> playing{false};
    // The Target's address at the log port: written by getInfo before it raises logRestart, and read by
    // logThread after it has cleared the flag.
    BRINA::IPAddress targetLog;
    std::atomic<bool> logRestart{false};
    // Written by the host's thread between streams (and by the worker's set-up); read by the worker.
    std::atomic<uint32_t> threadMode{0};
    // Written by the host's thread at any time; read by the worker at each feedback.
    std::atomic<bool> hostPhaseInvert{false};
    // A watcher of the stream, or none. Set by the caller's thread between streams; the worker reads it when
    // a stream opens and calls it on its own thread.
    std::atomic<WorkerObserver*> observer{nullptr};
    uint32_t infoCycle = 0;      // microseconds between info requests
    uint16_t maxPacketSize = 0;  // largest STREAM_DATA payload
    uint16_t maxPacketCount = 0; // most packets in one cycle
    std::array<TransferProfile, 10> profiles{};
    int32_t profileCount = 0;
    TransferConfig config;
    // Written by the worker's set-up, read by its loop; the caller's thread reads it only between streams.
    bool lowCpu = false;
    std::string hostName;
    uint64_t productId = 0;

    void targetLogThread();
    // Set by close, read by the log thread at each bounded wait: it ends before its socket is closed.
    std::atomic<bool> logStop{false};
};

} // namespace TESSERA
