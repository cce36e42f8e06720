#pragma once
// One Output's control port: the Host's questions before a stream (formats, latency, data size, profile),
// the preparation, and CONNECT_REQ, which opens the stream on the Output's StreamReceiver.
#include "BRINA/Network/IPAddress.h"
#include "BRINA/Network/Socket.h"
#include "tools/receiver/Capabilities.h"
#include "tools/receiver/HostRecord.h"
#include "tools/receiver/StreamReceiver.h"
#include "tools/receiver/TargetConfig.h"
#include "tools/receiver/TargetLog.h"
#include "transport/wire/Packet.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace TESSERA {

class OutputControl {
public:
    OutputControl(const OutputConfig& config, TargetLog& log, HostRecord& host);
    ~OutputControl();
    OutputControl(const OutputControl&) = delete;
    OutputControl& operator=(const OutputControl&) = delete;

    // Binds the control port on address (its port replaced by the configured one) and starts answering.
    bool start(const BRINA::IPAddress& address, std::string& error);
    // Closes a running stream, ends the thread within one wait, and closes the socket.
    void stop();
    uint16_t port() const { return boundPort; }
    const OutputConfig& config() const { return cfg; }
    StreamReceiver& receiver() { return *stream; }
    // Called on the receiver's thread when a stream has ended; set before start.
    std::function<void(const StreamReport&)> onStreamFinished;

private:
    void run();
    void handle(const std::vector<uint8_t>& datagram, const BRINA::IPAddress& from);
    void handleLatency(BRINA::BufferCS_const message, const BRINA::IPAddress& from);
    void handleDataSize(BRINA::BufferCS_const message, const BRINA::IPAddress& from);
    void handleConnect(BRINA::BufferCS_const message, const BRINA::IPAddress& from);
    void send(const Packet& packet, const BRINA::IPAddress& to);

    OutputConfig cfg;
    Capabilities caps;
    TargetLog& log;
    HostRecord& host;
    std::unique_ptr<StreamReceiver> stream;
    BRINA::Socket socket;
    BRINA::IPAddress local; // the bound address: the stream socket binds the same address, port 0
    uint16_t boundPort = 0;
    std::thread thread;
    std::atomic<bool> running{false}; // set by start, cleared by stop; read by the thread at each wait
    uint16_t agreedLatency = 0;       // the thread's own: 100 us units, the last one agreed
};

} // namespace TESSERA
