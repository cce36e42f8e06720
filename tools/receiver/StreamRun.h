#pragma once
// One stream from its opening to its end, on the receiver's thread: the stream socket, the order of the
// packets and their repeats, play-out, feedback, faults, and the report.
#include "BRINA/Network/Socket.h"
#include "tools/receiver/ArrivalJitter.h"
#include "tools/receiver/FaultInjector.h"
#include "tools/receiver/FloodSender.h"
#include "tools/receiver/PlayoutBuffer.h"
#include "tools/receiver/ReceiveWindow.h"
#include "tools/receiver/ResendTracker.h"
#include "tools/receiver/StreamReport.h"
#include "tools/receiver/TargetConfig.h"
#include "tools/receiver/WideClock.h"
#include "tools/signal/AudioFileWriter.h"
#include "tools/signal/SignalVerifier.h"
#include "transport/wire/Packet.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace TESSERA {

class StreamRun {
public:
    using Log = std::function<void(const std::string&)>;
    using Publish = std::function<void(const StreamReport&)>;

    // A Host silent this long has gone: the stream ends.
    static constexpr uint64_t kHostSilenceUs = 2000000;
    // The longest wait in the socket, so that stop requests, play-out and repeats are served promptly.
    static constexpr uint32_t kLongestWaitUs = 2000;
    // The stream socket's receive queue: a fifth of a second of the fastest streams.
    static constexpr uint32_t kReceiveBufferBytes = 4 << 20;

    StreamRun(const OutputConfig& config, Log log, StreamFormat sinkFormat, const BRINA::IPAddress& host);

    // Opens the stream socket on local's address with a port of the system's choice; gives that port.
    bool open(const BRINA::IPAddress& local, uint16_t& port);
    // Receives until the stream ends, or until stop is set (then DSICONNECT_ANS tells the Host).
    // publish gets the live report now and then, and the final one at the end.
    void run(const std::atomic<bool>& stop, const Publish& publish);

private:
    enum class End { None, ClosedByHost, ClosedByTarget, HostSilent, SocketError };

    void receiveAll(uint64_t now);
    void handle(const std::vector<uint8_t>& datagram, uint64_t now);
    void handleStreamData(const std::vector<uint8_t>& datagram, uint64_t now);
    void deliver(BRINA::BufferCS_const audio, uint64_t now);
    void serviceGaps(uint64_t now);
    void giveUpFirstGap(const char* why);
    void playOut(uint64_t now);
    void timedFaults(uint64_t now);
    uint32_t waitTime(uint64_t now) const;

    bool silent(uint64_t now) const;
    bool inverted(uint64_t now) const;
    // The phase wish of a STREAM_INFO going out at now; an inverting one is told to the verifier.
    bool phaseWish(uint64_t now);
    void send(const Packet& message);
    void sendFeedback(uint64_t now);
    void askResend(uint64_t now);
    // Gives up what is still missing, closes the file, logs the end and writes the report.
    StreamReport finish(uint64_t now);
    bool writeReport(const StreamReport& report) const;
    StreamReport snapshot(uint64_t now, bool final);
    void say(const std::string& line);

    OutputConfig config;
    Log log;
    StreamFormat format;
    BRINA::IPAddress host;
    BRINA::Socket socket;
    BRINA::IPAddress local;
    uint16_t streamPort = 0;
    std::vector<uint8_t> receiveBuffer; // spans the largest datagram, kept from pass to pass

    WideClock clock;
    uint64_t startUs = 0;
    uint64_t lastHeardUs = 0;
    End end = End::None;

    ReceiveWindow window;
    ResendTracker tracker;
    PlayoutClock playoutClock;
    PlayoutBuffer playout;
    ArrivalJitter jitter;
    SignalVerifier verifier;
    AudioFileWriter writer;
    bool writing = false;
    FaultInjector faults;
    FloodSender flood;
    bool flooding = false;

    uint64_t bytesReceived = 0; // audio bytes handed over in order
    uint64_t framesCounted = 0;
    uint64_t now_ = 0; // the time of the datagram being handled, for the window's callback
    bool invertedLast = false;
    bool resendBeyondDone = false;
    uint64_t lastPublishUs = 0;
    uint64_t lastJitterUs = 0;
    ArrivalJitter::Deviation lastDeviation;
    StreamReport counts; // the counters, kept up to date as things happen
};

} // namespace TESSERA
