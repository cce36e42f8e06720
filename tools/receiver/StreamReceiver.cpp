#include "tools/receiver/StreamReceiver.h"

#include "tools/receiver/StreamRun.h"
#include "tools/receiver/TargetCommands.h"

#include <atomic>
#include <mutex>
#include <thread>
#include <utility>

namespace TESSERA {

struct StreamReceiver::Impl {
    OutputConfig config;
    std::function<void(const std::string&)> log;
    std::thread thread;               // started by open, joined by close (or the next open)
    std::atomic<bool> stop{false};    // written by close, read by the stream's thread
    std::atomic<bool> running{false}; // written by open and by the stream's thread at its end; read by active
    mutable std::mutex reportMutex;   // guards published
    StreamReport published;           // written by the stream's thread, read by report
    uint32_t streams = 0;             // streams opened so far; open alone counts
};

StreamReceiver::StreamReceiver(const OutputConfig& config, std::function<void(const std::string&)> log)
    : impl(std::make_unique<Impl>()) {
    impl->config = config;
    impl->log = std::move(log);
}

StreamReceiver::~StreamReceiver() {
    close();
}

bool StreamReceiver::open(const BRINA::IPAddress& local, const BRINA::IPAddress& host,
                          StreamFormat sinkFormat, uint16_t& port) {
    close();
    // Each stream after the first writes files of its own, so that no stream's audio or report is lost.
    OutputConfig config = impl->config;
    if (++impl->streams > 1) {
        const std::string suffix = "-stream" + std::to_string(impl->streams);
        config.outputPath = pathWithSuffix(config.outputPath, suffix);
        config.reportPath = pathWithSuffix(config.reportPath, suffix);
    }
    auto run = std::make_unique<StreamRun>(config, impl->log, sinkFormat, host);
    if (!run->open(local, port)) {
        if (impl->log) impl->log("can't open a stream socket");
        return false;
    }
    {
        std::lock_guard<std::mutex> lock(impl->reportMutex);
        impl->published = StreamReport{};
        impl->published.sinkType = sinkFormat.type();
        impl->published.sinkRate = sinkFormat.rateBits();
    }
    impl->stop.store(false, std::memory_order_release);
    impl->running.store(true, std::memory_order_release);
    impl->thread = std::thread([this, stream = std::move(run)]() mutable {
        stream->run(impl->stop, [this](const StreamReport& live) {
            std::lock_guard<std::mutex> lock(impl->reportMutex);
            impl->published = live;
        });
        stream.reset(); // the sockets close before anyone hears of the end
        impl->running.store(false, std::memory_order_release);
        if (onFinished) onFinished(report());
    });
    return true;
}

uint16_t StreamReceiver::connectFlags() const {
    return TargetWire::phaseFlags(impl->config.invertAtStart) | TargetWire::Flag::HasContent;
}

void StreamReceiver::close() {
    if (!impl->thread.joinable()) return;
    impl->stop.store(true, std::memory_order_release);
    // Called from onFinished the stream has ended already; the next close or open joins the thread.
    if (impl->thread.get_id() == std::this_thread::get_id()) return;
    impl->thread.join();
}

bool StreamReceiver::active() const {
    return impl->running.load(std::memory_order_acquire);
}

StreamReport StreamReceiver::report() const {
    std::lock_guard<std::mutex> lock(impl->reportMutex);
    return impl->published;
}

} // namespace TESSERA
