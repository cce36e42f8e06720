#include "transport/WorkerLoop.h"

#include "BRINA/LogStream.h"
#include "BRINA/Thread.h"
#include "BRINA/Time.h"
#include "transport/SlotRing.h"
#include "transport/ThreadMode.h"
#include "transport/wire/SendAck.h"
#include "transport/wire/SyncCommands.h"
#include "transport/wire/SyncMessages.h"

#include <algorithm>
#include <cstring>

namespace TESSERA {

namespace {

constexpr uint32_t kMostEmptyBlocks = 64; // blocks of 0 bytes in a row before a packet is padded instead
constexpr uint32_t kShortWait = 100;      // microseconds; spun instead of slept under NOSHORTSLEEP

// The session still wants the worker: close and connect let it go by storing Idle.
bool stillWanted(const void* session) {
    return static_cast<const Sync*>(session)->getState() != Sync::Idle;
}

} // namespace

WorkerLoop::WorkerLoop(Sync& session)
    : sync(session), control(Sync::feedbackDepth(session.threadMode.load(std::memory_order_relaxed))) {}

void WorkerLoop::run() {
    if (!open()) return;
    for (;;) {
        const uint32_t state = sync.state.load();
        if (state != Sync::Streaming && state != Sync::Disconnecting) return;
        if (endPhase == EndConfirmed) return closingExchange();
        uint32_t now = BRINA::nowMicroseconds();
        waitStatus = BRINA::Socket::WaitTimeout;
        uint32_t waited = 0;
        if (BRINA::timeAfter(nextSendTime, now)) {
            const uint32_t mode = sync.threadMode.load(std::memory_order_relaxed);
            if (mode & SLEEP0ALWAYS) {
                BRINA::yieldThread();
                sleepDone = true;
            } else if ((mode & SLEEP0ONCE) && !sleepDone) {
                sleepDone = true;
                BRINA::yieldThread();
            }
            if (mode & (NOSLEEP4CORE | NOSLEEPFORCE)) continue; // spins until the cycle is due
            waited = nextSendTime - now;
            if ((mode & NOSHORTSLEEP) && waited <= kShortWait) continue;
            // The wait for the clock is also the wait for the Target: a datagram ends it early.
            waitStatus = waitAtMost(waited);
            if (waitStatus == BRINA::Socket::WaitError) {
                BRINA::LogStream(3, "wth udp wait error");
                return;
            }
            now = BRINA::nowMicroseconds();
            if (BRINA::timeAfter(nextSendTime, now)) {
                if (!receive(now)) return;
                continue;
            }
        } else {
            sleepDone = false;
        }
        if (!cycle(now, waited) || !receive(now)) return;
    }
}

bool WorkerLoop::open() {
    const TransferProfile& first = sync.profiles[0];
    // Without a cycle or packets there is no schedule: the loop would send without pause.
    bool fits = sync.profileCount >= 1 && sync.profileCount <= static_cast<int32_t>(sync.profiles.size());
    // A steady packet larger than the data size would outgrow its slot and the path's MTU.
    for (int32_t i = 0; fits && i < sync.profileCount; ++i)
        fits = sync.profiles[static_cast<size_t>(i)].fixedPacketBytes <= sync.maxPacketSize;
    if (first.cycle == 0 || first.packetCount == 0 || !fits) {
        BRINA::LogStream(3, "wth profile invalid");
        return false;
    }
    ring.resize(slotRingSize(first.cycle, first.packetCount));
    ringMask = static_cast<uint32_t>(ring.size()) - 1;
    // Storage for the largest payload and a repeat's two spare bytes, so that sending never allocates.
    for (PacketSlot& s : ring)
        s.packet.setPayloadPadded(0, sync.maxPacketSize + 2u);
    received.reserve(sync.controlSocket.receiveSize);
    receiveTimeout = std::max<uint32_t>(8 * sync.infoCycle, 1000000);
    frameBytes = sync.sinkFormat.bytesPerFrame();
    tracing = BRINA::logThreshold.load(std::memory_order_relaxed) >= 6;
    observer = sync.observer.load();

    generator.seed(5489u);
    if (first.transferMode == RandomMode) {
        std::random_device device;
        generator.seed(device());
    }
    if (sync.lowCpu && sync.profileCount > 1) {
        currentProfile = static_cast<uint32_t>(sync.profileCount - 1);
        BRINA::LogStream(6, "low cpu change profile ") << currentProfile;
    }
    framesQ14Now = static_cast<int32_t>(profile().framesQ14);
    cycleTime = profile().cycle;
    prefillLeft = profile().packetCount > 0 ? profile().packetCount - 1u : 0u;

    std::vector<uint8_t> answer;
    if (!sendAck(sync.controlSocket, sync.target, SyncMessages::connectRequest(sync.sinkFormat), CONNECT_ANS,
                 answer, kConnectTimeout, stillWanted, &sync)) {
        BRINA::LogStream(3, "wth CR send err");
        return false;
    }
    if (!stillWanted(&sync)) return false; // let go while it asked: no stream, and nothing to say
    uint16_t streamPort = 0;
    if (answer.empty() ||
        !SyncMessages::readConnectAnswer(BRINA::BufferCS_const(answer), streamPort, targetInvert)) {
        BRINA::LogStream(6, "wth CR ack none");
        return false;
    }
    hostInvert = sync.hostPhaseInvert.load(std::memory_order_relaxed);
    sync.setPlayPhase(hostInvert, targetInvert);
    prefill();

    // Only a stream still asked for goes on: close may have given up on it meanwhile.
    uint32_t connecting = Sync::Connecting;
    if (!sync.state.compare_exchange_strong(connecting, Sync::Streaming)) return false;
    peer = sync.target;
    peer.setPort(streamPort);
    sync.controlSocket.setPeer(peer);
    sync.wakeConnectWait();

    const uint32_t now = BRINA::nowMicroseconds();
    nextSendTime = now - cycleTime / 2; // the first cycle is due at once
    lastReceiveTime = lastInfoTime = now;
    BRINA::LogStream(6, "redy to play loop start") << uint32_t{sync.playing.load()};
    return true;
}

int WorkerLoop::waitAtMost(uint32_t microseconds) {
    // In slices, so that a session let go meanwhile holds the worker no longer than one of them.
    for (;;) {
        const uint32_t slice = std::min(microseconds, kAckSlice);
        const int waited = sync.controlSocket.wait(slice);
        microseconds -= slice;
        if (waited != BRINA::Socket::WaitTimeout || microseconds == 0 || !stillWanted(&sync)) return waited;
    }
}

void WorkerLoop::prefill() {
    // The first packets follow the Target's phase alone: the host's has not been applied to silence yet.
    const uint8_t mute =
        targetInvert ? static_cast<uint8_t>(~sync.sinkFormat.muteByte()) : sync.sinkFormat.muteByte();
    const uint32_t bytes = static_cast<uint32_t>(framesQ14Now >> 14) * frameBytes;
    for (uint32_t i = 0; i < profile().packetCount && i <= ringMask; ++i) {
        Packet& p = ring[i].packet;
        SyncMessages::setStreamDataHeader(p.header(), static_cast<uint16_t>(i), 0);
        p.setPayloadSize(bytes);
        if (bytes != 0) std::memset(p.payload(), mute, bytes);
        p.writeHeader();
    }
}

bool WorkerLoop::cycle(uint32_t now, uint32_t waited) {
    const TransferProfile& plan = profile();
    randomRatio = 1.0f;
    const uint32_t due = nextSendTime;
    uint32_t step = cycleTime;
    if (plan.transferMode == RandomMode && cycleTime > plan.randomLimit) {
        const uint32_t span = cycleTime - plan.randomLimit;
        step = cycleTime - static_cast<uint32_t>(generator() % (uint64_t{span} + 1));
        randomRatio = static_cast<float>(step) / static_cast<float>(cycleTime);
    }
    nextSendTime += step;

    const uint32_t mode = sync.threadMode.load(std::memory_order_relaxed);
    const bool catchUp = !(mode & NOFASTFEEDBACK);
    uint32_t over = 0;
    if (lateness.check(now, cycleTime, catchUp, nextSendTime, over))
        BRINA::LogStream(4, "over time ")
            << over << " " << waited << " " << lateness.lateTime << " " << lateness.overTimeScore;
    const uint32_t burst = lateness.burst(plan.packetCount, sync.maxPacketCount, cycleTime);
    // All packets of a burst but the last go out without blocking; a burst of one leaves the socket alone.
    const bool toggle = !(mode & SOCKETNOBLOCK) && burst > 1;
    if (toggle) sync.controlSocket.setBlocking(false);
    const bool infoDue = now - lastInfoTime >= sync.infoCycle;
    takenThisCycle = false;
    uint32_t repeats = 0;
    for (uint32_t i = 1; i <= burst; ++i) {
        const bool last = i == burst;
        if (toggle && last) sync.controlSocket.setBlocking(true);
        if (resendCount != 0) {
            repeat(last, now);
            ++repeats;
        } else if (!sendNew(last, infoDue, now)) {
            return false;
        }
    }
    if (observer) observer->burstSent(due, now, burst, repeats);
    if (takenThisCycle) sync.streamTaken();
    if (waitStatus == BRINA::Socket::WaitTimeout) {
        waitStatus = sync.controlSocket.wait(0);
        if (waitStatus == BRINA::Socket::WaitError) {
            BRINA::LogStream(3, "wth udp wait2 error");
            return false;
        }
    }
    return true;
}

bool WorkerLoop::sendNew(bool last, bool infoDue, uint32_t now) {
    PacketSlot& s = slot(sendSequence);
    uint16_t flags = 0;
    if (last) {
        flags = PacketFlag::CycleEnd;
        if (infoDue) {
            flags |= PacketFlag::InfoRequest;
            lastInfoTime = now;
            BRINA::LogStream(6, "Request Info ") << now;
            if (endPhase == EndFinalSent) endPhase = EndInfoAsked;
        }
    }
    PacketHeader& head = s.packet.header();
    head.setFlags(
        static_cast<uint16_t>((head.flags() & ~(PacketFlag::CycleEnd | PacketFlag::InfoRequest)) | flags));
    s.packet.writeHeader();
    if (!sync.controlSocket.send(s.packet.data(), s.packet.size(), true)) {
        BRINA::LogStream(3, "wth udp send error ") << sync.controlSocket.lastError.load();
        return false;
    }
    if (tracing) trace.add(now, s.packet.size());
    if (s.final) endPhase = EndFinalSent;
    const uint32_t size = nextPayloadSize();
    ++sendSequence;
    if (prefillLeft != 0) {
        --prefillLeft;
        return true;
    }
    // Filled one turn ahead: a slow block source delays the packet after this send, not this one.
    PacketSlot& next = slot(sendSequence);
    next.final = false;
    SyncMessages::setStreamDataHeader(next.packet.header(), sendSequence, 0);
    next.packet.setPayloadSize(size);
    const bool filled = size == 0 || fill(next, next.packet.payload(), size);
    next.packet.writeHeader();
    return filled;
}

uint32_t WorkerLoop::nextPayloadSize() {
    const TransferProfile& plan = profile();
    if (plan.fixedPacketBytes != 0) return plan.fixedPacketBytes;
    const int32_t count =
        plan.transferMode == RandomMode ? frames.next(framesQ14Now, randomRatio) : frames.next(framesQ14Now);
    return payloadBytes(count, frameBytes, sync.maxPacketSize);
}

void WorkerLoop::repeat(bool last, uint32_t now) {
    PacketSlot& s = slot(static_cast<uint16_t>(sendSequence - resendCount));
    const uint32_t length = s.packet.payloadLength();
    // Two spare bytes, rounded up to eight: the sizeField stays, the payload is sent as it was.
    s.packet.setPayloadPadded(length, length + 2);
    PacketHeader& head = s.packet.header();
    const uint16_t cleared = head.flags() & ~(PacketFlag::CycleEnd | PacketFlag::InfoRequest);
    head.setFlags(last ? static_cast<uint16_t>(cleared | PacketFlag::CycleEnd) : cleared);
    s.packet.writeHeader();
    const BRINA::BufferCS_const whole = s.packet.datagram();
    sync.controlSocket.send(whole.data, static_cast<uint32_t>(whole.size), true); // a lost repeat isn't fatal
    if (tracing) trace.add(now, static_cast<uint32_t>(whole.size));
    --resendCount;
}

uint8_t WorkerLoop::muteByte() const {
    const uint8_t mute = sync.sinkFormat.muteByte();
    return hostInvert != targetInvert ? static_cast<uint8_t>(~mute) : mute;
}

bool WorkerLoop::fill(PacketSlot& s, uint8_t* out, uint32_t bytes) {
    uint32_t empty = 0;
    while (bytes > 0) {
        if (streamOffset >= current.size) {
            const bool disconnecting = sync.state.load() == Sync::Disconnecting;
            const bool ending =
                endPhase == EndFinalQueued || endPhase == EndFinalSent || endPhase == EndInfoAsked;
            if (!sync.playing.load() || ending || empty == kMostEmptyBlocks) {
                streamOffset = current.size;
                std::memset(out, muteByte(), bytes);
                if (disconnecting && endPhase == EndNone) {
                    BRINA::LogStream(6, "buffer disconnect ");
                    endPhase = EndFinalQueued;
                    s.final = true;
                }
                return true;
            }
            takenThisCycle = true;
            streamOffset = 0;
            if (!sync.getNewStream(current)) {
                current = Stream{};
                if (sync.state.load() == Sync::Disconnecting) {
                    BRINA::LogStream(6, "buffer Final ");
                    endPhase = EndFinalQueued;
                    std::memset(out, muteByte(), bytes);
                    s.final = true;
                    return true;
                }
                BRINA::LogStream(4, "buffer timeout ");
                return false;
            }
            if (current.size == 0) ++empty; // asked for again at once, a bounded number of times
            continue;
        }
        const uint32_t m = std::min(bytes, current.size - streamOffset);
        sync.copyRoutine(out, current.data + streamOffset, m);
        out += m;
        bytes -= m;
        streamOffset += m;
    }
    return true;
}

} // namespace TESSERA
