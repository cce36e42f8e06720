#include "tools/send/Sender.h"

#include "BRINA/ConsoleLog.h"
#include "BRINA/ProcessEnvironment.h"
#include "tools/common/FormatText.h"
#include "tools/send/SendSource.h"
#include "tools/send/StopRequest.h"
#include "tools/send/WarningWatch.h"
#include "transport/SessionSetup.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <thread>

namespace TESSERA {

namespace {

constexpr auto kTurn = std::chrono::milliseconds(50);     // how often the main loop looks at the stream
constexpr auto kRepaint = std::chrono::milliseconds(250); // the status line on a terminal
constexpr auto kPlainLine = std::chrono::seconds(1);      // the status as plain lines

std::string seconds(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f s", value);
    return text;
}

} // namespace

Sender::Sender(const SendOptions& o) : options(o), target(o.target.toStringWithPort()) {
    statusOnTerminal = !o.quiet && o.logLevel < 0 && BRINA::standardOutputIsTerminal();
}

int Sender::run() {
    StopRequest::install();
    WarningWatch::start(options.logLevel);
    uint32_t scope = 0;
    if (!scopeOf(scope)) return ExitUsage;
    SendSource source(options.signalFormat);
    std::string error;
    if (!options.wavPath.empty() && !source.openWav(options.wavPath, error))
        return fail(ExitFailed, "can't stream " + options.wavPath + ": " + error);
    if (const int status = negotiate(source, scope); status != ExitDone) return status;

    SyncBuffer& session = source.buffer();
    const StreamFormat host = session.getSourceFormat();
    framesPerSecond = static_cast<double>(host.bytesPerSecond()) / host.bytesPerFrame();
    uint64_t limitFrames = 0; // 0: without end
    if (options.seconds > 0 && (!source.isWav() || options.secondsGiven))
        limitFrames = std::max<uint64_t>(1, std::llround(options.seconds * framesPerSecond));
    if (source.isWav())
        limitFrames = limitFrames ? std::min(limitFrames, source.fileFrames()) : source.fileFrames();
    source.prepare(options.bufferSize, options.syncBufferCount, source.isWav() ? 0 : limitFrames);
    session.setHostPhase(options.phaseInvert);
    if (StopRequest::asked()) return fail(ExitDone, "stopped before the stream began");
    if (const int status = connect(session); status != ExitDone) return status;
    return stream(source, limitFrames);
}

bool Sender::scopeOf(uint32_t& scope) {
    if (options.interfaceName.empty()) return true;
    scope = BRINA::scopeOfInterface(options.interfaceName);
    if (scope != 0) return true;
    fail(ExitUsage, "no interface named " + options.interfaceName + " with an IPv6 address");
    return false;
}

int Sender::negotiate(SendSource& source, uint32_t scope) {
    SyncBuffer& session = source.buffer();
    if (!session.open(options.threadMode, options.infoCycle, static_cast<uint16_t>(scope), "tessera-send", 0))
        return fail(ExitFailed, "can't open the session's sockets");
    Patience patience;
    patience.stopped = [] { return StopRequest::asked(); };
    if (!SessionSetup::negotiate(session, options.target, options.latencyBuffer, options.nopBreak,
                                 patience)) {
        if (StopRequest::asked()) return fail(ExitDone, "stopped before the stream began");
        // A Target that answers without capabilities or latency can't be streamed to either, for another
        // reason.
        if (session.isAlive(options.target))
            return fail(ExitSilent, "the Target at " + target +
                                        " answered, but not every question of the negotiation (it names no "
                                        "formats, or no latency)");
        return fail(ExitSilent, "the Target at " + target +
                                    " is silent: no answer to the negotiation (is it running, and is this "
                                    "the control port of an Output?)");
    }
    char limits[160];
    std::snprintf(limits, sizeof limits, "latency %u us, packets of at most %u bytes, %u a cycle",
                  session.getLatency(), static_cast<unsigned>(session.getMaxPacketSize()),
                  static_cast<unsigned>(session.getMaxPacketCount()));
    say("tessera-send: the Target at " + target + " answered: " + limits);
    const StreamFormat format = source.format();
    if (!session.selectFormat(format.type(), format.rateBits()))
        return fail(ExitRefused, "the Target refused the format " + FormatText::describe(format) +
                                     " (it takes PCM " + FormatText::words(session.getPcmMask()) +
                                     ", DSD LSB " + FormatText::words(session.getDsdLsbMask()) +
                                     ", DSD MSB " + FormatText::words(session.getDsdMsbMask()) + ")");
    formatText = FormatText::describe(session.getSinkFormat());
    say("  format   " + FormatText::describe(format) +
        (session.getSinkFormat() == format ? "" : ", sent as " + formatText));
    if (!SessionSetup::plan(session, options.planSettings()))
        return fail(ExitFailed, std::string("no ") + SessionSetup::modeName(options.mode) +
                                    " plan fits a cycle of " + std::to_string(options.cycleTime) +
                                    " us within the Target's packet limits (see --mode, --cycle-time, "
                                    "--cycle-min-time, --fragment)");
    say("  plan     " + SessionSetup::describe(session));
    return ExitDone;
}

int Sender::connect(SyncBuffer& session) {
    if (!session.connectPrepare())
        return fail(ExitRefused, "the Target at " + target + " didn't take the stream");
    if (!session.connect()) {
        if (!session.getSinkFormat().isValid())
            return fail(ExitRefused,
                        "the format " + formatText + " can't be streamed: it is not valid on the wire");
        return fail(ExitFailed, "can't start the stream's threads");
    }
    session.connectWait();
    if (session.getState() != Sync::Streaming) {
        session.disconnect();
        return fail(ExitRefused, "the Target at " + target + " refused the stream");
    }
    return ExitDone;
}

int Sender::stream(SendSource& source, uint64_t limitFrames) {
    SyncBuffer& session = source.buffer();
    session.play();
    const auto started = std::chrono::steady_clock::now();
    lastPlainLine = started;
    SendProgress progress;
    progress.format = formatText;
    progress.total = limitFrames / framesPerSecond;
    bool endedEarly = false;
    for (auto nextRepaint = started;; std::this_thread::sleep_for(kTurn)) {
        const auto now = std::chrono::steady_clock::now();
        progress.elapsed = std::chrono::duration<double>(now - started).count();
        progress.frames = source.framesProduced();
        if (StopRequest::asked()) break;
        // The worker ends a stream by itself only when the Target fell silent or closed it.
        if (session.getState() == Sync::Idle) {
            endedEarly = true;
            break;
        }
        // The test signal without a length runs until Ctrl-C; a WAV file ends, even an empty one.
        if ((limitFrames != 0 || source.isWav()) && (source.finished() || progress.frames >= limitFrames))
            break;
        progress.warnings = WarningWatch::count();
        if (progress.warnings != 0) progress.lastWarning = WarningWatch::last();
        showStatus(progress, now >= nextRepaint);
        if (now >= nextRepaint) nextRepaint = now + kRepaint;
    }
    session.disconnect();
    if (options.logLevel >= 0) BRINA::ConsoleLog::drain();
    const std::string sent =
        seconds(progress.elapsed) + ", " +
        std::to_string(std::min<uint64_t>(source.framesProduced(), limitFrames ? limitFrames : UINT64_MAX)) +
        " frames of " + formatText;
    if (endedEarly)
        return fail(ExitEndedEarly,
                    "the stream ended early, after " + sent + ": the Target fell silent or closed it");
    if (source.readFailed()) return fail(ExitFailed, "reading " + options.wavPath + " failed after " + sent);
    clearStatus();
    const uint32_t warnings = WarningWatch::count();
    std::string warned;
    if (warnings != 0)
        warned = " (" + std::to_string(warnings) + (warnings == 1 ? " warning: " : " warnings, last: ") +
                 SendStatus::explain(WarningWatch::last()) + ")";
    if (StopRequest::asked())
        std::printf("tessera-send: stopped by Ctrl-C after %s; the stream is closed%s\n", sent.c_str(),
                    warned.c_str());
    else
        std::printf("tessera-send: streamed %s to %s; the stream is closed%s\n", sent.c_str(), target.c_str(),
                    warned.c_str());
    std::fflush(stdout);
    return ExitDone;
}

int Sender::fail(SendExit status, const std::string& message) {
    clearStatus();
    if (options.logLevel >= 0) BRINA::ConsoleLog::drain();
    std::fprintf(status == ExitDone ? stdout : stderr, "tessera-send: %s\n", message.c_str());
    return status;
}

void Sender::say(const std::string& line) {
    if (options.quiet) return;
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

void Sender::showStatus(const SendProgress& progress, bool due) {
    if (options.quiet || !due) return;
    if (statusOnTerminal) {
        std::printf("\r\033[K%s", SendStatus::text(progress).c_str());
        statusShown = true;
    } else {
        const auto now = std::chrono::steady_clock::now();
        if (now - lastPlainLine < kPlainLine) return;
        lastPlainLine = now;
        std::printf("%s\n", SendStatus::text(progress).c_str());
    }
    std::fflush(stdout);
}

void Sender::clearStatus() {
    if (!statusShown) return;
    std::fputs("\r\033[K", stdout);
    std::fflush(stdout);
    statusShown = false;
}

} // namespace TESSERA
