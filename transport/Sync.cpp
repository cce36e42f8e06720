#include "transport/Sync.h"

#include "BRINA/LittleEndian.h"
#include "BRINA/LogStream.h"
#include "BRINA/Time.h"
#include "transport/ThreadMode.h"
#include "transport/wire/Packet.h"
#include "transport/wire/SendAck.h"
#include "transport/wire/SyncCommands.h"
#include "transport/wire/SyncMessages.h"

#include <algorithm>
#include <vector>

namespace TESSERA {

using namespace SyncMessages;

namespace {

constexpr uint32_t kIpUdpHeaders = 48; // IPv6 (40) and UDP (8) in front of every datagram
// A payload of size bytes repeats in ((size + 25) AND 0xFFF8) bytes: size + 18, rounded up to 8.
constexpr uint32_t kRepeatOverhead = 18;

bool hasContent(const std::vector<uint8_t>& answer) {
    return answer.size() >= PacketHeader::kSize &&
           (BRINA::readLE16(answer.data() + 6) & PacketFlag::HasContent);
}

uint16_t word(const std::vector<uint8_t>& answer, uint32_t offset) {
    return BRINA::readLE16(answer.data() + offset);
}

uint64_t value64(const std::vector<uint8_t>& answer) {
    return BRINA::readLE64(answer.data() + 8);
}

} // namespace

Sync::Sync() {
    config.cycle = 1000000;
    config.packetCount = 1;
}

Sync::~Sync() {
    close();
}

bool Sync::getNewStream(Stream& out) {
    out = Stream{};
    BRINA::LogStream(3, "getNewStream not set err");
    return false;
}

bool Sync::streamTaken() {
    return true;
}

bool Sync::open(uint32_t mode, uint32_t info, uint16_t scope, const std::string& name, uint64_t product) {
    BRINA::LogStream(6, "Tessera Sync Library ReleaseNo : ") << kReleaseNumber << " [" << scope << "]";
    threadMode.store(mode, std::memory_order_relaxed);
    infoCycle = info;
    hostPhaseInvert.store(false, std::memory_order_relaxed);

    BRINA::IPAddress any;
    any.setScope(scope);
    controlSocket.receiveSize = 4096;
    if (!controlSocket.open(BRINA::Socket::IPv6Datagram) || !controlSocket.bind(any)) return false;
    if ((mode & SOCKETNOBLOCK) && !controlSocket.setBlocking(false)) return false;
    setDataSize(1500, 15000);
    hostName = name;
    productId = product;
    state.store(Idle);
    playing.store(false);

    BRINA::IPAddress anyLog;
    anyLog.setScope(scope);
    if (!logSocket.open(BRINA::Socket::IPv6Datagram) || !logSocket.bind(anyLog)) return false;
    logRestart.store(false);
    logStop.store(false, std::memory_order_relaxed);
    if (BRINA::logThreshold.load(std::memory_order_relaxed) >= 6 && !logThread.joinable())
        logThread = std::thread(&Sync::targetLogThread, this);
    return true;
}

void Sync::close() {
    // The threads end by their flag within one bounded wait, and only then are the sockets closed: closing a
    // socket under a waiting thread would let the system hand its number to a new socket meanwhile.
    logStop.store(true, std::memory_order_relaxed);
    // A worker still running leaves its loop at its next pass; one still connecting stays out of it.
    state.store(Idle);
    if (workerThread.joinable()) workerThread.join();
    if (logThread.joinable()) logThread.join();
    controlSocket.close();
    logSocket.close();
}

void Sync::setDataSize(uint16_t mtu, uint16_t max) {
    // 0xFFF6 clears bit 3 as well as bit 0: an MTU of 1500 gives 1428, not 1432.
    // An MTU of 64 or less leaves no room for a packet: the size is 0, which every plan refuses.
    const uint32_t masked = mtu > 64 ? (mtu - 64u) & 0xFFF6u : 0u;
    // The payload leaves room for the header, the pad and the 8 bytes a repeat may add, so that no datagram
    // of the stream, new or repeated, is longer than the MTU less the IPv6 and UDP headers.
    const uint32_t datagram = mtu > kIpUdpHeaders ? (mtu - kIpUdpHeaders) & 0xFFF8u : 0u;
    const uint32_t repeatable = datagram > kRepeatOverhead ? datagram - kRepeatOverhead : 0u;
    maxPacketSize = static_cast<uint16_t>(std::min(masked, repeatable));
    // A Target that reports an MTU of 0 gives nothing to divide by: the count then stays unlimited.
    maxPacketCount = (max == 0xFFFF || mtu == 0) ? uint16_t{0xFFFF} : static_cast<uint16_t>(max / mtu);
}

bool Sync::getSinkFormats(const BRINA::IPAddress& to) {
    std::vector<uint8_t> answer;
    auto ask = [&](uint64_t selector, uint64_t& result) {
        if (!sendAck(controlSocket, to, formatRequest(selector), NOPBREAK_ANS, answer, kAckTimeout) ||
            !hasContent(answer))
            return false;
        result = value64(answer);
        return true;
    };
    uint64_t overview = 0;
    if (!ask(0, overview) || overview == 0) return false;
    uint64_t pcm = 0, lsb = 0, msb = 0;
    if ((overview & FormatBits::PcmKinds) && !ask(pcmSelector(overview), pcm)) return false;
    if (overview & FormatBits::DsdKinds) {
        if ((overview & FormatBits::DsdLsb) && !ask(kFormatDsdLsb, lsb)) return false;
        if ((overview & FormatBits::DsdMsb) && !ask(kFormatDsdMsb, msb)) return false;
    }
    pcmMask = StreamFormat::fromU64(pcm);
    dsdLsbMask = StreamFormat::fromU64(lsb);
    dsdMsbMask = StreamFormat::fromU64(msb);
    return pcm != 0 || lsb != 0 || msb != 0;
}

bool Sync::getProfile(const BRINA::IPAddress& to) {
    std::vector<uint8_t> answer;
    if (!sendAck(controlSocket, to, profileRequest(sinkFormat), PROFILE_ANS, answer, kAckTimeout))
        return false;
    const bool content = hasContent(answer);
    config.profileMin = content ? word(answer, 8) : 0;
    config.profileMax = content ? word(answer, 10) : 0;
    config.profileFlags = content ? word(answer, 12) : 0;
    config.cycle = 0;
    return true;
}

bool Sync::getInfo(const BRINA::IPAddress& to, uint32_t latencyMicroseconds, bool nopBreak) {
    // A negotiation that fails on the way leaves no capabilities of an earlier one behind.
    pcmMask = dsdLsbMask = dsdMsbMask = StreamFormat();
    std::vector<uint8_t> answer;
    if (nopBreak && !sendAck(controlSocket, to, nopBreakRequest(), NOPBREAK_ANS, answer, kAckTimeout))
        return false;
    if (!getSinkFormats(to)) return false;
    if (!getProfile(to)) return false;

    if (!sendAck(controlSocket, to, latencyRequest(0), LATENCY_ANS, answer, kAckTimeout) ||
        !hasContent(answer))
        return false;
    hwLatency = word(answer, 10);
    const uint16_t request = static_cast<uint16_t>(latencyMicroseconds / 100u);
    if (request != 0) {
        if (!sendAck(controlSocket, to, latencyRequest(request), LATENCY_ANS, answer, kAckTimeout) ||
            !hasContent(answer))
            return false;
        latency = word(answer, 8);
        BRINA::LogStream(6, "LATENCY_REQ hw=")
            << uint32_t{hwLatency} * 100u << "us request=" << uint32_t{request} * 100u
            << "us latency=" << uint32_t{latency} * 100u << "us";
    } else {
        latency = word(answer, 8);
        BRINA::LogStream(6, "LATENCY_REQ hw=")
            << uint32_t{hwLatency} * 100u << "us latency=" << uint32_t{latency} * 100u << "us";
    }

    uint16_t mtu = 1500, max = 15000;
    if (sendAck(controlSocket, to, dataSizeRequest(), DATASIZE_ANS, answer, kAckTimeout) &&
        hasContent(answer)) {
        mtu = word(answer, 8);
        max = word(answer, 10);
        BRINA::LogStream(6, "DATASIZE_REQ mtu=") << mtu << " max=" << max;
    }
    setDataSize(mtu, max);

    target = to;
    BRINA::IPAddress logAddress = to;
    logAddress.setPort(kTargetLogPort);
    targetLog = logAddress; // written before the flag, which the log thread clears before it reads
    logRestart.store(true, std::memory_order_release);
    if (BRINA::logThreshold.load(std::memory_order_relaxed) >= 6) BRINA::sleepMilliseconds(110);
    return true;
}

bool Sync::isAlive(const BRINA::IPAddress& to) {
    std::vector<uint8_t> answer;
    return sendAck(controlSocket, to, formatRequest(0), NOPBREAK_ANS, answer, kAckTimeout) &&
           hasContent(answer);
}

bool Sync::probeMtu(const BRINA::IPAddress& to, uint16_t& mtu) {
    uint16_t sum = 0;
    const Packet probe = dataSizeProbe(mtu, sum);
    mtu = 0;
    std::vector<uint8_t> answer;
    const bool sent = sendAck(controlSocket, to, probe, DATASIZE_ANS, answer, kAckTimeout);
    if (sent && hasContent(answer) && word(answer, 14) == sum)
        mtu = static_cast<uint16_t>(word(answer, 12) + 64u);
    return sent;
}

void Sync::targetLogThread() {
    std::vector<uint8_t> datagram;
    BRINA::IPAddress from;
    while (!logStop.load(std::memory_order_relaxed)) {
        if (logRestart.exchange(false, std::memory_order_acquire)) {
            std::vector<uint8_t> answer;
            const bool on = BRINA::logThreshold.load(std::memory_order_relaxed) >= 6;
            sendAck(logSocket, targetLog, targetLogRequest(on), TARGETLOG_ANS, answer, kAckTimeout);
        }
        const int waited = logSocket.wait(100000);
        if (waited == BRINA::Socket::WaitError) return;
        if (waited == BRINA::Socket::WaitTimeout) continue;
        if (!logSocket.receive(datagram, from)) return;
        std::string text;
        if (readTargetLogLine(BRINA::BufferCS_const(datagram), text)) BRINA::LogStream(6, "Target: ") << text;
    }
}

} // namespace TESSERA
