// Throughput of every copy routine beside memcpy, on one packet payload (1,428 bytes) and on 64 KiB.
#include "format/CopyReference.h"
#include "format/CopyRoutines.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

namespace {

using namespace TESSERA;

void memcpyRoutine(uint8_t* destination, const uint8_t* source, uint32_t count) {
    std::memcpy(destination, source, count);
}

void copyBench(benchmark::State& state, CopyRoutine routine) {
    const auto count = static_cast<uint32_t>(state.range(0));
    std::vector<uint8_t> source(count), destination(count);
    for (uint32_t i = 0; i < count; ++i)
        source[i] = static_cast<uint8_t>(i * 7 + 0x69);
    for (auto _ : state) {
        routine(destination.data(), source.data(), count);
        benchmark::DoNotOptimize(destination.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * count);
}

#define COPY_BENCH(routine) BENCHMARK_CAPTURE(copyBench, routine, routine)->Arg(1428)->Arg(65536)

COPY_BENCH(memcpyRoutine);
COPY_BENCH(copyPlain);
COPY_BENCH(copyPlainInverted);
COPY_BENCH(copySwap);
COPY_BENCH(copySwapInverted);
COPY_BENCH(copyReverse);
COPY_BENCH(copyReverseInverted);
COPY_BENCH(copySwapReverse);
COPY_BENCH(copySwapReverseInverted);
// The per-byte table forms, to show what the word arithmetic gains.
COPY_BENCH(tableCopyPlainInverted);
COPY_BENCH(tableCopySwap);
COPY_BENCH(tableCopyReverse);
COPY_BENCH(tableCopySwapReverseInverted);

} // namespace

BENCHMARK_MAIN();
