#include "tools/receiver/StreamRun.h"

#include "tools/receiver/FeedbackWords.h"
#include "tools/receiver/TargetCommands.h"
#include "tools/receiver/TargetStreamMessages.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace TESSERA {

namespace {

namespace TW = TargetWire;

constexpr uint32_t kMostPerPass = 256;       // datagrams read per pass, so a flood can't stall play-out
constexpr uint64_t kPublishEveryUs = 50000;  // live report
constexpr uint64_t kJitterEveryUs = 1000000; // the deviation percentiles are the costly part
constexpr uint64_t kFarBehind = 40000;       // a resend request further back than any Host keeps
constexpr uint64_t kShortestRetryUs = 5000;
constexpr uint64_t kLongestRetryUs = 50000;

std::string packets(uint64_t n) {
    return std::to_string(n) + (n == 1 ? " packet" : " packets");
}

std::string hex32(uint32_t v) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", v);
    return text;
}

} // namespace

StreamRun::StreamRun(const OutputConfig& c, Log l, StreamFormat f, const BRINA::IPAddress& h)
    : config(c), log(std::move(l)), format(f), host(h),
      window([this](BRINA::BufferCS_const audio) { deliver(audio, now_); }),
      playoutClock(f.bytesPerSecond(), f.bytesPerFrame(), c.faults.driftPpm),
      playout(playoutClock, playoutClock.framesIn(c.startLevelMs)), verifier(f), faults(c.faults),
      flood(c.faults.floodPerSecond) {}

bool StreamRun::open(const BRINA::IPAddress& localAddress, uint16_t& port) {
    local = BRINA::IPAddress(localAddress.bytes(), 0, localAddress.scope());
    if (!socket.open(BRINA::Socket::IPv6Datagram) || !socket.bind(local)) return false;
    socket.receiveSize = 65536; // a repeat may be longer than the MTU that was agreed
    socket.setBlocking(false);  // the loop reads until nothing is left
    // A fast stream sends 20,000 packets a second: the system's usual queue holds 5 ms of them, too
    // little to ride out a moment in which this thread doesn't run.
    socket.setReceiveBuffer(kReceiveBufferBytes);
    port = streamPort = local.port();
    if (config.faults.floodPerSecond != 0) flooding = flood.open(localAddress);
    if (!config.outputPath.empty()) {
        writing = writer.open(config.outputPath, format);
        if (!writing) say("can't write the audio to " + config.outputPath);
    }
    return true;
}

void StreamRun::say(const std::string& line) {
    if (log) log(line);
}

bool StreamRun::silent(uint64_t now) const {
    return config.faults.silentAfterMs != 0 && now - startUs >= uint64_t{config.faults.silentAfterMs} * 1000;
}

bool StreamRun::inverted(uint64_t now) const {
    return config.invertAtStart ||
           (config.invertAtMs != 0 && now - startUs >= uint64_t{config.invertAtMs} * 1000);
}

bool StreamRun::phaseWish(uint64_t now) {
    const bool invert = inverted(now);
    // The verdict allows inverted audio from the moment the Target first sent its wish for it.
    if (invert) verifier.invertAsked();
    return invert;
}

void StreamRun::send(const Packet& message) {
    socket.sendTo(host, message.data(), message.size(), true);
}

void StreamRun::run(const std::atomic<bool>& stop, const Publish& publish) {
    startUs = lastHeardUs = lastPublishUs = now_ = clock.now();
    invertedLast = inverted(startUs);
    if (config.invertAtStart) verifier.invertAsked(); // CONNECT_ANS asked before any audio
    say("stream open on port " + std::to_string(streamPort) + " for " + host.toStringWithPort() +
        ": format " + hex32(format.type()) + " " + hex32(format.rateBits()) + ", " +
        std::to_string(format.rate()) + " Hz, " + std::to_string(format.channels()) + " channels");
    std::vector<uint8_t> datagram;
    while (end == End::None) {
        uint64_t now = clock.now();
        if (stop.load(std::memory_order_acquire)) {
            if (!silent(now)) send(TW::disconnectAnswer());
            end = End::ClosedByTarget;
            break;
        }
        const int waited = socket.wait(waitTime(now));
        now = clock.now();
        if (waited == BRINA::Socket::WaitError) end = End::SocketError;
        if (waited == BRINA::Socket::WaitReadable) receiveAll(now);
        while (end == End::None && faults.take(now, datagram))
            handle(datagram, now);
        if (end != End::None) break;
        serviceGaps(now);
        playOut(now);
        timedFaults(now);
        if (now - lastHeardUs >= kHostSilenceUs) end = End::HostSilent;
        if (now - lastPublishUs >= kPublishEveryUs) {
            lastPublishUs = now;
            publish(snapshot(now, false));
        }
    }
    publish(finish(clock.now()));
}

uint32_t StreamRun::waitTime(uint64_t now) const {
    const uint64_t due = faults.nextDueUs();
    if (due <= now) return 0;
    return static_cast<uint32_t>(std::min<uint64_t>(kLongestWaitUs, due - now));
}

void StreamRun::receiveAll(uint64_t now) {
    std::vector<uint8_t>& buffer = receiveBuffer;
    BRINA::IPAddress from;
    for (uint32_t i = 0; i < kMostPerPass; ++i) {
        if (!socket.receive(buffer, from)) {
            end = End::SocketError;
            return;
        }
        if (buffer.empty()) return;
        if (from != host || !Packet::isValid(BRINA::BufferCS_const(buffer))) {
            ++counts.foreignDatagrams;
            continue;
        }
        lastHeardUs = now;
        const bool streamData = PacketHeader(buffer.data()).command() == TW::STREAM_DATA;
        if (streamData)
            counts.largestDatagram = std::max(counts.largestDatagram, static_cast<uint32_t>(buffer.size()));
        // A copy of the datagram's own size: the receive buffer spans the largest datagram.
        faults.arrive(std::vector<uint8_t>(buffer.begin(), buffer.end()), streamData, now);
    }
}

void StreamRun::handle(const std::vector<uint8_t>& datagram, uint64_t now) {
    if (TW::readDisconnectRequest(BRINA::BufferCS_const(datagram))) {
        if (config.faults.ignoreDisconnect) return; // the stream runs on until the Host falls silent
        if (!silent(now)) send(TW::disconnectAnswer());
        end = End::ClosedByHost;
        return;
    }
    handleStreamData(datagram, now); // which passes over anything else: nothing else belongs in a stream
}

void StreamRun::handleStreamData(const std::vector<uint8_t>& datagram, uint64_t now) {
    TW::StreamData data;
    if (!TW::readStreamData(BRINA::BufferCS_const(datagram), data)) return;
    now_ = now;
    switch (window.accept(data.sequence, data.audio, now)) {
    case ReceiveWindow::Arrival::InOrder:
    case ReceiveWindow::Arrival::Held:
        ++counts.packets;
        // The first of its number to arrive, but one that was asked for again: the Host's repeat.
        if (tracker.wasAsked(window.last())) ++counts.repeats;
        if (data.cycleEnd()) {
            jitter.cycleEnd(now);
            if (config.onCycleArrival) config.onCycleArrival(now);
            // Two cycles give the Host time to read the request and repeat the packet in its next burst.
            const uint64_t cycle = jitter.typicalCycleUs();
            if (cycle != 0)
                tracker.setRetryInterval(std::clamp(2 * cycle, kShortestRetryUs, kLongestRetryUs));
        }
        break;
    case ReceiveWindow::Arrival::Repeat:
        ++counts.repeats;
        break;
    case ReceiveWindow::Arrival::OutOfRange:
        ++counts.foreignDatagrams;
        break;
    }
    if (data.infoRequest() && !silent(now)) sendFeedback(now);
    serviceGaps(now);
}

void StreamRun::deliver(BRINA::BufferCS_const audio, uint64_t now) {
    if (audio.size == 0) return;
    verifier.feed(audio.data, audio.size);
    if (writing && !writer.write(audio.data, audio.size)) {
        writing = false;
        say("writing the audio to " + config.outputPath + " failed");
    }
    bytesReceived += audio.size;
    const uint64_t frames = bytesReceived / std::max<uint32_t>(1, format.bytesPerFrame());
    playout.add(frames - framesCounted, now);
    framesCounted = frames;
}

void StreamRun::sendFeedback(uint64_t now) {
    // Levels in units of 100 microseconds: 6.5 s fit in 16 bits, and 0.1 ms is finer than any cycle.
    // The mean since the last feedback, not the level at this instant: a burst that came late, or the
    // moment within the cycle, would otherwise swing the Host's correction from one feedback to the next.
    const auto level =
        static_cast<uint32_t>(playoutClock.millisecondsOf(playout.meanLevelSinceLast(now)) * 10 + 0.5);
    const uint32_t target = std::min<uint32_t>(config.bufferTargetMs, 6553) * 10;
    const FeedbackWords words = FeedbackWords::make(config.feedbackKind, level, target);
    send(TW::feedback(words.word8, words.word10, words.word12, phaseWish(now)));
}

void StreamRun::serviceGaps(uint64_t now) {
    now_ = now;
    // Audio due for play-out can't wait for a repeat any longer.
    while (window.hasGap() && playout.runsDry(now))
        giveUpFirstGap("due for play-out");
    for (uint32_t guard = 0; guard < kMostPerPass; ++guard) {
        const bool gap = window.hasGap();
        const auto action = tracker.poll(gap, window.next(), gap ? window.firstGapSince() : 0, now);
        if (action == ResendTracker::Action::GiveUp) {
            giveUpFirstGap("no repeat came");
            continue; // the next gap may want a request of its own
        }
        if (action == ResendTracker::Action::Ask) askResend(now);
        return;
    }
}

void StreamRun::askResend(uint64_t now) {
    tracker.asked(now); // also while silent, so that the gap is given up in time
    if (silent(now)) return;
    const auto first = static_cast<uint16_t>(window.next());
    const auto missing = static_cast<uint16_t>(std::min<uint64_t>(window.missingCount(), 0xFFFF));
    send(TW::resendRequest(first, missing, phaseWish(now)));
    tracker.reached(window.end());
    ++counts.resendRequests;
    if (tracker.requests() == 1)
        say("gap: " + packets(missing) + " missing from " + std::to_string(first) + ", resend requested");
    else
        say("resend requested again from " + std::to_string(first) + " (request " +
            std::to_string(tracker.requests()) + ")");
}

void StreamRun::giveUpFirstGap(const char* why) {
    const auto first = static_cast<uint16_t>(window.next());
    verifier.markGap(); // before the audio behind the gap reaches the verifier
    const uint64_t skipped = window.skipFirstGap();
    counts.gapsNeverFilled += skipped;
    say("gap never filled: " + packets(skipped) + " from " + std::to_string(first) + " given up, " + why);
}

void StreamRun::playOut(uint64_t now) {
    const uint64_t before = playout.underruns();
    playout.drain(now);
    if (playout.underruns() != before)
        say("underrun: play-out buffer empty, waiting for " + std::to_string(config.startLevelMs) +
            " ms of audio");
}

void StreamRun::timedFaults(uint64_t now) {
    const bool invert = inverted(now);
    if (invert != invertedLast) {
        invertedLast = invert;
        say("phase: asking for inverted output");
    }
    const uint64_t elapsedMs = (now - startUs) / 1000;
    const StreamFaults& f = config.faults;
    if (f.resendBeyondAtMs != 0 && !resendBeyondDone && elapsedMs >= f.resendBeyondAtMs) {
        resendBeyondDone = true;
        if (!silent(now)) {
            const auto first = static_cast<uint16_t>(window.end() - static_cast<int64_t>(kFarBehind));
            send(TW::resendRequest(first, static_cast<uint16_t>(kFarBehind), phaseWish(now)));
            ++counts.resendRequests;
            say("resend requested from " + std::to_string(first) + ", further back than the Host keeps");
        }
    }
    if (flooding && !silent(now)) flood.send(host, now - startUs);
    if (f.closeAfterMs != 0 && elapsedMs >= f.closeAfterMs) {
        if (!silent(now)) send(TW::disconnectAnswer());
        end = End::ClosedByTarget;
    }
}

StreamReport StreamRun::finish(uint64_t now) {
    // What is still missing stays missing; the audio held behind it still counts.
    const bool outstanding = window.hasGap();
    now_ = now;
    while (window.hasGap())
        giveUpFirstGap("the stream ended");
    counts.closedByHost = end == End::ClosedByHost;
    counts.closedByTarget = end == End::ClosedByTarget;
    counts.hostSilent = end == End::HostSilent;
    counts.finalSeen = counts.closedByHost && !outstanding;
    if (writing && !writer.close()) say("writing the audio to " + config.outputPath + " failed");
    writing = false;
    switch (end) {
    case End::ClosedByHost:
        say("stream end: closed by the Host");
        break;
    case End::ClosedByTarget:
        say("stream end: closed by the Target");
        break;
    case End::HostSilent:
        say("stream end: nothing from the Host for " + std::to_string(kHostSilenceUs / 1000000) + " s");
        break;
    default:
        say("stream end: socket error " + std::to_string(socket.lastError.load()));
        break;
    }
    const StreamReport report = snapshot(now, true);
    say("stream report: " + packets(report.packets) + ", " + std::to_string(report.frames) + " frames, " +
        std::to_string(report.repeats) + " repeats, " + std::to_string(report.resendRequests) +
        " resend requests, " + std::to_string(report.gapsNeverFilled) + " never filled, " +
        std::to_string(report.underruns) + " underruns, " +
        (report.bitPerfect() ? "bit-perfect" : "not bit-perfect"));
    if (!config.reportPath.empty() && !writeReport(report))
        say("can't write the report to " + config.reportPath);
    return report;
}

bool StreamRun::writeReport(const StreamReport& report) const {
    std::FILE* file = std::fopen(config.reportPath.c_str(), "wb");
    if (!file) return false;
    const std::string json = report.toJson() + "\n";
    const bool written = std::fwrite(json.data(), 1, json.size(), file) == json.size();
    return std::fclose(file) == 0 && written;
}

StreamReport StreamRun::snapshot(uint64_t now, bool final) {
    StreamReport r = counts;
    r.sinkType = format.type();
    r.sinkRate = format.rateBits();
    r.frames = framesCounted;
    r.underruns = playout.underruns();
    r.droppedByFaults = faults.dropped();
    r.bufferMinMs = playout.minMs();
    r.bufferMeanMs = playout.meanMs();
    r.bufferMaxMs = playout.maxMs();
    if (final || now - lastJitterUs >= kJitterEveryUs) {
        lastJitterUs = now;
        lastDeviation = jitter.deviation();
    }
    r.arrivalP50Us = lastDeviation.p50;
    r.arrivalP99Us = lastDeviation.p99;
    r.arrivalP999Us = lastDeviation.p999;
    r.arrivalMaxUs = lastDeviation.max;
    r.durationSeconds = static_cast<double>(now - startUs) / 1e6;
    r.bufferNowMs = playoutClock.millisecondsOf(playout.level());
    r.playedFrames = framesCounted - playout.level();
    r.takenAtUs = now;
    r.verifier = verifier.result();
    return r;
}

} // namespace TESSERA
