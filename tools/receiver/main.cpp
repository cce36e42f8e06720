// tessera-target: the software Target as a program, for tests, demos and Linux users.
#include "BRINA/ProcessEnvironment.h"
#include "tools/receiver/ReportText.h"
#include "tools/receiver/SoftwareTarget.h"
#include "tools/receiver/StatusLine.h"
#include "tools/receiver/TargetOptions.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace TESSERA;

volatile std::sig_atomic_t stopAsked = 0;

void onSignal(int) {
    stopAsked = 1;
}

// Reports handed over by the receivers' threads, printed by the main thread.
struct FinishedStreams {
    std::mutex mutex;
    std::vector<std::pair<size_t, StreamReport>> waiting;
    uint32_t count = 0;
};

std::string productText(uint64_t id) {
    std::string text;
    for (int i = 0; i < 8; ++i) {
        const char c = static_cast<char>(id >> (8 * i));
        if (c < 0x20 || c > 0x7E) {
            char hex[24];
            std::snprintf(hex, sizeof hex, "0x%016llX", static_cast<unsigned long long>(id));
            return hex;
        }
        text += c;
    }
    return text;
}

// Prints the reports that have come in; gives the number of streams ended so far.
uint32_t printFinished(FinishedStreams& finished, const SoftwareTarget& target, bool clearLine) {
    std::vector<std::pair<size_t, StreamReport>> reports;
    uint32_t count = 0;
    {
        std::lock_guard<std::mutex> lock(finished.mutex);
        reports.swap(finished.waiting);
        count = finished.count;
    }
    for (const auto& [index, report] : reports) {
        if (clearLine) std::fputs("\r\033[K", stdout);
        std::fputs(ReportText::text(target.config().outputs[index].name, report).c_str(), stdout);
    }
    std::fflush(stdout);
    return count;
}

} // namespace

int main(int argc, char** argv) {
    TargetOptions options;
    std::string error;
    if (!options.parse(std::vector<std::string>(argv + 1, argv + argc), error)) {
        std::fprintf(stderr, "tessera-target: %s (see --help)\n", error.c_str());
        return 2;
    }
    if (options.helpAsked) {
        std::fputs(TargetOptions::help().c_str(), stdout);
        return 0;
    }

    SoftwareTarget target(options.config);
    target.logger().setVerbose(options.verbose);
    FinishedStreams finished;
    target.onStreamFinished = [&finished](size_t index, const StreamReport& report) {
        std::lock_guard<std::mutex> lock(finished.mutex);
        finished.waiting.emplace_back(index, report);
        ++finished.count;
    };
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    if (!target.start(error)) {
        std::fprintf(stderr, "tessera-target: %s\n", error.c_str());
        return 1;
    }

    const TargetConfig& config = target.config();
    std::printf("tessera-target: \"%s\" (product %s) on %s, discovery port %u\n", config.name.c_str(),
                productText(config.productId).c_str(), config.bindAddress.toString().c_str(),
                static_cast<unsigned>(target.discoveryPort()));
    for (size_t i = 0; i < config.outputs.size(); ++i)
        std::printf("  Output %zu \"%s\": control port %u\n", i + 1, config.outputs[i].name.c_str(),
                    static_cast<unsigned>(target.controlPort(i)));
    std::fflush(stdout);

    const bool statusShown = BRINA::standardOutputIsTerminal();
    const auto started = std::chrono::steady_clock::now();
    const auto end = started + std::chrono::seconds(options.durationSeconds);
    while (!stopAsked) {
        const uint32_t streams = printFinished(finished, target, statusShown);
        if (options.streamLimit != 0 && streams >= options.streamLimit) break;
        if (options.durationSeconds != 0 && std::chrono::steady_clock::now() >= end) break;
        if (statusShown) {
            std::printf("\r\033[K%s", StatusLine::text(target.status()).c_str());
            std::fflush(stdout);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
    }
    target.stop();
    if (statusShown) std::fputs("\r\033[K", stdout);
    printFinished(finished, target, false);
    return 0;
}
