// Transfers into a software Target's slot on ::1, by packet size, window limit and loss, and the CRC-16 that
// checks each transfer at its end. Nothing leaves the machine.
#include "BRINA/LogStream.h"
#include "discovery/Find.h"
#include "tools/receiver/SoftwareTarget.h"
#include "transport/wire/Crc16.h"

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace {

constexpr uint32_t kTransferBytes = 256 * 1024;

std::vector<uint8_t> someBytes(uint32_t count) {
    std::mt19937 random(count);
    std::vector<uint8_t> bytes(count);
    for (uint8_t& b : bytes)
        b = static_cast<uint8_t>(random());
    return bytes;
}

// Arguments: packet size, window limit (65535: none), and a packet lost once in every transfer (0 or 1).
void transfer(benchmark::State& state) {
    TESSERA::TargetConfig config;
    config.bindAddress.parse("::1");
    config.discoveryPort = 0;
    config.transfer.slots = 1;
    config.transfer.packetSize = static_cast<uint16_t>(state.range(0));
    config.transfer.windowLimit = static_cast<uint16_t>(state.range(1));
    config.transfer.blockLength = 64;
    config.transfer.blockCount = static_cast<uint16_t>(kTransferBytes / (64 * state.range(0)) + 1);
    const std::vector<uint8_t> data = someBytes(kTransferBytes);
    BRINA::logThreshold = -1;
    uint64_t failed = 0;
    for (auto _ : state) {
        state.PauseTiming();
        // A fresh Target each time, so that its fault plays once in every transfer.
        config.transfer.dropOnce = state.range(2) ? 100 : -1;
        TESSERA::SoftwareTarget target(config);
        std::string error;
        if (!target.start(error)) {
            state.SkipWithError(error.c_str());
            return;
        }
        BRINA::IPAddress address = config.bindAddress;
        address.setPort(target.discoveryPort());
        TESSERA::Find find(TESSERA::FindConfig{});
        find.open();
        state.ResumeTiming();
        failed += find.Transfer(address, 0, BRINA::BufferCS_const(data), 0) ? 0 : 1;
        state.PauseTiming();
        target.stop();
        state.ResumeTiming();
    }
    state.counters["failed"] = static_cast<double>(failed);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kTransferBytes);
}
BENCHMARK(transfer)
    ->ArgNames({"packet", "window", "loss"})
    ->Args({1000, 65535, 0})
    ->Args({1400, 65535, 0})
    ->Args({1000, 8000, 0})
    ->Args({1000, 2000, 0})
    ->Args({1000, 65535, 1})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void crc16(benchmark::State& state) {
    const std::vector<uint8_t> data = someBytes(static_cast<uint32_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(TESSERA::crc16Usb(BRINA::BufferCS_const(data)));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(crc16)->Arg(1000)->Arg(kTransferBytes);

} // namespace

BENCHMARK_MAIN();
