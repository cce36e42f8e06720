#pragma once
// The receiving end of one Output's stream: its own socket and thread, the play-out model, the feedback,
// the resend requests, the faults, and the report.
#include "BRINA/Network/IPAddress.h"
#include "format/StreamFormat.h"
#include "tools/receiver/StreamReport.h"
#include "tools/receiver/TargetConfig.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace TESSERA {

class StreamReceiver {
public:
    // log: the Target's own log, which the control side forwards to a Host that asked for it.
    StreamReceiver(const OutputConfig& config, std::function<void(const std::string&)> log);
    ~StreamReceiver();

    // Opens a stream socket on local (port 0) for the Host at host, in sinkFormat, and starts receiving.
    // Gives the port for CONNECT_ANS; false when the socket can't be opened. A stream still open is closed.
    bool open(const BRINA::IPAddress& local, const BRINA::IPAddress& host, StreamFormat sinkFormat,
              uint16_t& port);
    // The phase bits and HasContent of CONNECT_ANS.
    uint16_t connectFlags() const;
    // Ends the stream now (unasked, or at shutdown) and joins the thread; writes the report.
    void close();
    bool active() const;
    // Live numbers while streaming; the final ones after the end.
    StreamReport report() const;
    // Called on the receiver's thread when a stream has ended, with its report.
    std::function<void(const StreamReport&)> onFinished;

private:
    struct Impl;
    std::unique_ptr<Impl> impl;
};

} // namespace TESSERA
