#pragma once
// The process-wide log sink: every finished line leaves as one syslog-style datagram to [::1]:port.
#include "BRINA/Network/IPAddress.h"
#include "BRINA/Network/Socket.h"

#include <atomic>
#include <cstdint>

namespace BRINA {

using LogCallback = void (*)(const char* text);

class LogSink {
public:
    LogSink(uint32_t facility, LogCallback callback, uint16_t port);

    // Stamps priority and local time into the line's header, sends it and hands it to the callback.
    void send(uint8_t priority, char* text, uint32_t length);
    // Opens the socket on ::1 with a port of the system's choice; does nothing when it is open.
    bool openSocket();

    const uint32_t facility;
    const LogCallback callback;

private:
    Socket socket;
    std::atomic<bool> socketOpen{false}; // set once by the thread that opened the socket; read by all senders
    const uint16_t port;
};

// Null until initLog; set once, never torn down.
extern std::atomic<LogSink*> logSink;

// Creates the sink; without a callback it opens its socket at once. A second call changes nothing.
void initLog(uint32_t facility, LogCallback callback, uint16_t port);
// Sets the threshold and opens the sink's socket if there is a sink.
void setLogLevel(int32_t level);

// Writes the header of a line of the given priority at the given time into text; returns where the
// datagram starts. Exposed for tests of the header.
uint32_t stampLogHeader(char* text, uint8_t priority, int64_t wallSeconds);

} // namespace BRINA
