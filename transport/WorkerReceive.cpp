// The worker's receiving side: what the Target sends back in the stream, and the closing exchange.
#include "BRINA/LogStream.h"
#include "BRINA/Time.h"
#include "transport/FeedbackLine.h"
#include "transport/ThreadMode.h"
#include "transport/WorkerLoop.h"
#include "transport/wire/SendAck.h"
#include "transport/wire/SyncMessages.h"

namespace TESSERA {

bool WorkerLoop::receive(uint32_t now) {
    if (now - lastReceiveTime >= receiveTimeout) {
        BRINA::LogStream(6, "   timeout ") << now - lastReceiveTime;
        return false;
    }
    if (waitStatus == BRINA::Socket::WaitTimeout) return true;
    BRINA::IPAddress from;
    if (!sync.controlSocket.receive(received, from)) {
        BRINA::LogStream(6, "udp rcv error ");
        return false;
    }
    const BRINA::BufferCS_const message(received);
    if (received.empty() || from != peer || !Packet::isValid(message)) return true; // dropped
    lastReceiveTime = now;
    switch (PacketHeader(received.data()).command()) {
    case STREAM_INFO:
        return streamInfo(message);
    case DSICONNECT_ANS:
        BRINA::LogStream(6, "DSICONNECT_ANS "); // the Target has closed the stream
        return false;
    default:
        return true;
    }
}

bool WorkerLoop::streamInfo(BRINA::BufferCS_const message) {
    SyncMessages::StreamInfo info;
    if (!SyncMessages::readStreamInfo(message, info)) return true;
    if (endPhase == EndInfoAsked) endPhase = EndConfirmed;
    const TransferProfile& plan = profile();
    const bool catchUp = !(sync.threadMode.load(std::memory_order_relaxed) & NOFASTFEEDBACK);
    if (info.resend) {
        const auto count = static_cast<uint16_t>(sendSequence - info.resendFrom);
        if (!lateness.resend(count, static_cast<uint32_t>(ring.size()), catchUp, cycleTime, plan.packetCount,
                             resendCount)) {
            BRINA::LogStream(6, "   cout error ")
                << info.resendFrom << "   " << info.resendNote << " " << count;
            return false; // those packets have left the ring
        }
        BRINA::LogStream(6, "   cout resend ") << info.resendFrom << "   " << info.resendNote << " " << count;
        return true;
    }

    const int16_t rateAdjust = control.take(info.feedback.value);
    if (observer) observer->feedbackTaken(info.feedback.value, rateAdjust);
    if (lateness.overTimeScore >= 200 && sync.profileCount > 1 &&
        currentProfile != static_cast<uint32_t>(sync.profileCount - 1)) {
        const uint32_t last = static_cast<uint32_t>(sync.profileCount - 1);
        BRINA::LogStream(4, "over time change profile ") << currentProfile << " to " << last;
        currentProfile = last;
        framesQ14Now = static_cast<int32_t>(profile().framesQ14);
        cycleTime = profile().cycle;
    }
    const TransferProfile& now = profile();
    if (now.fixedPacketBytes != 0)
        cycleTime = FeedbackControl::adjustCycle(now.cycle, rateAdjust);
    else
        framesQ14Now = FeedbackControl::adjustFrames(static_cast<int32_t>(now.framesQ14), rateAdjust);

    const bool host = sync.hostPhaseInvert.load(std::memory_order_relaxed);
    if (info.invert != targetInvert || host != hostInvert) {
        targetInvert = info.invert;
        hostInvert = host;
        sync.setPlayPhase(hostInvert, targetInvert);
    }
    if (BRINA::LogStream line(6); line.active())
        line << feedbackLine(info.feedback.kind, info.feedback.value, control.average(), rateAdjust,
                             now.fixedPacketBytes != 0, cycleTime,
                             uint64_t{now.packetCount} * static_cast<uint64_t>(framesQ14Now));
    return true;
}

void WorkerLoop::closingExchange() {
    const Packet request = SyncMessages::disconnectRequest();
    for (uint32_t i = 0; i < kDisconnectTries; ++i) {
        if (!sync.controlSocket.send(request.data(), request.size(), true)) break;
        // A late STREAM_INFO ahead of the answer doesn't use up the try: its half second is waited out.
        const uint32_t sent = BRINA::nowMicroseconds();
        int waited = BRINA::Socket::WaitTimeout;
        for (uint32_t spent = 0; spent < kDisconnectTimeout; spent = BRINA::nowMicroseconds() - sent) {
            waited = waitAtMost(kDisconnectTimeout - spent);
            if (sync.state.load() == Sync::Idle) return; // let go by close: it doesn't wait for the answer
            if (waited != BRINA::Socket::WaitReadable) break;
            BRINA::IPAddress from;
            if (!sync.controlSocket.receive(received, from)) {
                waited = BRINA::Socket::WaitError;
                break;
            }
            const BRINA::BufferCS_const message(received);
            if (from == peer && Packet::isValid(message) &&
                PacketHeader(received.data()).command() == DSICONNECT_ANS)
                return; // closed cleanly
        }
        if (waited == BRINA::Socket::WaitError) break;
    }
    BRINA::LogStream(6, "DSICONNECT_REQ ERROR ");
}

} // namespace TESSERA
