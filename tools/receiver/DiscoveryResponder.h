#pragma once
// The Target's discovery port: who it is, its Outputs, its information text, the Host's greeting, the
// log request, and NOTIFY. Answers go from this port to the asker.
#include "BRINA/Network/IPAddress.h"
#include "BRINA/Network/Socket.h"
#include "tools/receiver/HostRecord.h"
#include "tools/receiver/TargetLog.h"
#include "transport/wire/Packet.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace TESSERA {

class DiscoveryResponder {
public:
    // What discovery tells of one Output.
    struct Output {
        std::string name;
        uint16_t controlPort = 0;
        uint16_t protocolVersion = 1;
    };
    struct Identity {
        std::string name;
        uint64_t productId = 0;
        std::string infoText;
        std::vector<Output> outputs;
    };

    DiscoveryResponder(TargetLog& log, HostRecord& host);
    ~DiscoveryResponder();
    DiscoveryResponder(const DiscoveryResponder&) = delete;
    DiscoveryResponder& operator=(const DiscoveryResponder&) = delete;

    // Binds address (port 0: the system picks) and starts answering. notifyCount above 0 also sends that
    // many NOTIFY, one a second; the caller has made sure that the process may multicast.
    bool start(const BRINA::IPAddress& address, Identity identity, uint32_t notifyCount, std::string& error);
    // Ends the thread within one wait and closes the socket.
    void stop();
    uint16_t port() const { return boundPort; }
    // Requests beyond discovery's own (the settings list, the texts, the transfer): true when the handler
    // took the datagram, with the answers to send back. Set before start; runs on the discovery thread.
    using ExtraHandler =
        std::function<bool(BRINA::BufferCS_const, const BRINA::IPAddress&, std::vector<Packet>&)>;
    void setExtraHandler(ExtraHandler handler) { extra = std::move(handler); }
    // One line of the Target's log to the Host that asked for it, if any, from the discovery port.
    void sendLogLine(const std::string& text);

private:
    void run();
    void handle(const std::vector<uint8_t>& datagram, const BRINA::IPAddress& from);
    void answerOutput(uint16_t index, const BRINA::IPAddress& from);
    void handleLogRequest(bool on, const BRINA::IPAddress& from);
    void sendNotify();
    bool send(const Packet& packet, const BRINA::IPAddress& to);

    TargetLog& log;
    HostRecord& host;
    ExtraHandler extra;
    Identity id;
    BRINA::Socket socket;
    uint16_t boundPort = 0;
    std::thread thread;
    std::atomic<bool> running{false}; // set by start, cleared by stop; read by the thread at each wait

    std::mutex sendMutex;     // one send at a time: Socket::sendTo borrows the socket's peer
    bool logWanted = false;   // under sendMutex: a Host asked for the log lines
    BRINA::IPAddress logHost; // under sendMutex: where they go

    uint32_t notifyLeft = 0;            // the thread's own: NOTIFY still to send
    uint16_t notifyCounter = 0;         // the thread's own: word8 of the next NOTIFY
    std::vector<uint32_t> notifyFailed; // the thread's own: interfaces whose failure was logged once
};

} // namespace TESSERA
