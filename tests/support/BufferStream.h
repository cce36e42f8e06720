#pragma once
// Streams through the stream buffer as the end-to-end tests drive them: a session negotiated with a plan
// of one packet a millisecond, and a source streamed until it has put everything into its ring.
#include "BRINA/Network/IPAddress.h"
#include "format/StreamFormat.h"
#include "tests/support/PatientNegotiation.h"
#include "transport/Sync.h"

#include <chrono>
#include <thread>

namespace TESTING {

// Opens the session, negotiates and takes format with a plan of one packet a millisecond; the caller then
// prepares its ring.
inline bool negotiateOnePacketAMillisecond(TESSERA::Sync& session, const BRINA::IPAddress& control,
                                           TESSERA::StreamFormat format, const char* hostName) {
    if (!session.open(1, 10000, 0, hostName, 0) || !getInfoPatiently(session, control) ||
        !session.selectFormat(format.type(), format.rateBits()))
        return false;
    session.prepareConfig(400);
    if (!session.config.configTransferFix(1000, 1)) return false;
    session.setTransferProfile(session.config.result());
    return true;
}

// Streams until the source says all is in the ring, then ends the stream: true when it got there and the
// session is Idle with its worker joined. Source is a stream buffer with finished().
template <typename Source> bool streamToTheEnd(Source& source) {
    if (!source.connectPrepare() || !source.connect() || !source.connectWait() ||
        source.state.load() != TESSERA::Sync::Streaming)
        return false;
    source.play();
    for (int i = 0; i < 1000 && !source.finished(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    source.disconnect();
    return source.finished() && source.state.load() == TESSERA::Sync::Idle && !source.workerThread.joinable();
}

} // namespace TESTING
