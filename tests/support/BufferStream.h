#pragma once
// Streams through the stream buffer as the end-to-end tests drive them: a session negotiated with a plan
// of one packet a millisecond, and a source streamed until it has put everything into its ring.
#include "BRINA/Network/IPAddress.h"
#include "format/StreamFormat.h"
#include "tests/support/TestPatience.h"
#include "transport/SessionSetup.h"
#include "transport/Sync.h"

#include <chrono>
#include <thread>

namespace TESTING {

// Opens the session, negotiates and takes format with a plan of one packet a millisecond; the caller then
// prepares its ring.
inline bool negotiateOnePacketAMillisecond(TESSERA::Sync& session, const BRINA::IPAddress& control,
                                           TESSERA::StreamFormat format, const char* hostName) {
    return session.open(1, 10000, 0, hostName, 0) &&
           TESSERA::SessionSetup::negotiate(session, control, 0, false, kTestPatience) &&
           session.selectFormat(format.type(), format.rateBits()) && session.configTransferFix(1000, 1);
}

// Streams until the source says all is in the ring, then ends the stream: true when it got there and the
// session is Idle with its worker joined. Source is a stream buffer with finished().
template <typename Source> bool streamToTheEnd(Source& source) {
    if (!source.connectPrepare() || !source.connect() || !source.connectWait() ||
        source.getState() != TESSERA::Sync::Streaming)
        return false;
    source.play();
    for (int i = 0; i < 1000 && !source.finished(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    source.disconnect();
    return source.finished() && source.getState() == TESSERA::Sync::Idle && !source.hasWorker();
}

} // namespace TESTING
