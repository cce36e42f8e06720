#!/usr/bin/env bash
# Runs the standard matrix of stream_bench on this machine (about 4 minutes) and prints its table and the
# goals. Results, one JSON file per run with its data files and plots, go to build/bench-results/.
# QUICK=1 runs every row for one second only, to try the script.
# "scripts/bench.sh discovery" instead runs discovery_link_bench (as root): the search, Transfer and the
# watch on a private link that it makes in a network namespace of its own and that goes with it.
set -euo pipefail
cd "$(dirname "$0")/.."
if [ "${1:-}" = discovery ]; then
    [ "$(id -u)" -eq 0 ] || { echo "bench: discovery needs root, for its namespaces" >&2; exit 1; }
    scripts/build.sh normal discovery_link_bench > /dev/null
    mkdir -p build/bench-results
    # Its own process namespace too, so that it can tell its network namespace from the machine's.
    exec tests/support/in-own-processes.sh build/normal/bench/discovery_bench/discovery_link_bench \
        --out build/bench-results/discovery.json "${@:2}"
fi
scripts/setup.sh
scripts/build.sh normal stream_bench > /dev/null
bench=build/normal/bench/stream_bench/stream_bench
out=build/bench-results
rm -rf "$out"
mkdir -p "$out"
start=$SECONDS

# name | arguments
matrix=(
    "pcm-cadence|--format 44100:16:2 --seconds 15"
    "pcm-wake-only|--format 44100:16:2 --seconds 8 --bare-packets 0"
    "dsd512-cadence|--format dsd:512:little:2 --seconds 10"
    "loss-0.1|--loss 0.1 --streams 6 --seconds 2 --warmup 0.5 --no-bare"
    "loss-1|--loss 1 --streams 6 --seconds 2 --warmup 0.5 --no-bare"
    "loss-5|--loss 5 --streams 20 --seconds 2 --warmup 0.5 --no-bare"
    "loss-10|--loss 10 --streams 20 --seconds 2 --warmup 0.5 --no-bare"
    # A Target level of 12 ms: 500 ppm over 30 s (15 ms) empties it without the feedback's correction.
    "drift+100|--drift 100 --seconds 15 --target-ms 12 --no-bare"
    "drift-100|--drift -100 --seconds 15 --target-ms 12 --no-bare"
    "drift+500|--drift 500 --seconds 30 --target-ms 12 --no-bare"
    "drift-500|--drift -500 --seconds 30 --target-ms 12 --no-bare"
)

table=$("$bench" --header)
failed=0
command -v gnuplot > /dev/null || echo "bench: gnuplot is missing: no plots" >&2
for row in "${matrix[@]}"; do
    name=${row%%|*}
    args=${row#*|}
    # shellcheck disable=SC2086
    [ "${QUICK:-0}" = 1 ] && args="$args --seconds 1 --warmup 0.2"
    echo "bench: $name ($args)" >&2
    # shellcheck disable=SC2086
    if line=$("$bench" $args --name "$name" --out "$out" --row 2> "$out/$name.log"); then :; else
        failed=1
        echo "bench: $name: a stream failed, see $out/$name.log" >&2
    fi
    table+=$'\n'"$line"
    if command -v gnuplot > /dev/null && ! gnuplot -e "base='$out/$name'" bench/stream_plots.gp 2>> "$out/$name.log"; then
        echo "bench: $name: gnuplot failed, see $out/$name.log" >&2
    fi
    for plot in deviation feedback; do
        if [ ! -s "$out/$name.$plot.png" ]; then
            failed=1
            echo "bench: $name: the plot $out/$name.$plot.png is missing" >&2
        fi
    done
done

echo
echo "$table"
echo
# The goals, each from the run that shows it.
jq -rn --slurpfile pcm "$out/pcm-cadence.json" --slurpfile dsd "$out/dsd512-cadence.json" \
    --slurpfile wake "$out/pcm-wake-only.json" \
    --slurpfile l5 "$out/loss-5.json" --slurpfile l10 "$out/loss-10.json" \
    --slurpfile dp "$out/drift+500.json" --slurpfile dm "$out/drift-500.json" \
    --slurpfile dp1 "$out/drift+100.json" --slurpfile dm1 "$out/drift-100.json" '
def mark(ok): if ok then "met" else "MISSED" end;
def ran(r): r.recovery.streamsRan == r.recovery.streams and r.cpu.audioSeconds > 0; # a failed run meets nothing
def pct(x): (x * 100 | round / 100 | tostring);
def q14(x): (x * 10 | round / 10 | tostring);
def drift(r): "\(q14(r.drift.rateAdjustMeanQ14After2s)) steps (expected \(q14(r.drift.rateAdjustExpectedQ14)) +- \(q14(r.drift.settleBandQ14))), \(if r.drift.settleSeconds < 0 then "never settled" else "settled at \(r.drift.settleSeconds * 100 | round / 100) s" end), in band \(pct(r.drift.inBandShareAfterSettling * 100))% after";
"| goal | measured | |",
"|---|---|---|",
"| mode 1 cadence p99 within 1.2 x the bare loop (44,100/16/2) | \($pcm[0].cadence.engine.p99Us) us against \($pcm[0].cadence.bare.p99Us) us: \(pct($pcm[0].cadence.p99Ratio)) x | \(mark(ran($pcm[0]) and $pcm[0].cadence.p99Ratio <= 1.2)) |",
"| mode 1 cadence p99 within 1.2 x the bare loop (DSD512) | \($dsd[0].cadence.engine.p99Us) us against \($dsd[0].cadence.bare.p99Us) us: \(pct($dsd[0].cadence.p99Ratio)) x | \(mark(ran($dsd[0]) and $dsd[0].cadence.p99Ratio <= 1.2)) |",
"| worker thread CPU below 3% at 44,100/16/2 | \(pct($pcm[0].cpu.workerPercent))% (BufferWorker \(pct($pcm[0].cpu.bufferWorkerPercent))%; bare loop \(pct($pcm[0].cpu.bareLoopPercent))%, its wake-ups alone \(pct($wake[0].cpu.bareLoopPercent))%; whole process \(pct($pcm[0].cpu.processPercent))%) | \(mark(ran($pcm[0]) and $pcm[0].cpu.workerPercent < 3)) |",
"| worker thread CPU below 10% at DSD512 stereo | \(pct($dsd[0].cpu.workerPercent))% (BufferWorker with the test signal \(pct($dsd[0].cpu.bufferWorkerPercent))%; bare loop \(pct($dsd[0].cpu.bareLoopPercent))%; whole process \(pct($dsd[0].cpu.processPercent))%) | \(mark(ran($dsd[0]) and $dsd[0].cpu.workerPercent < 10)) |",
"| bit-perfect at 5% loss in every stream | \($l5[0].recovery.bitPerfect) of \($l5[0].recovery.streams) (every packet, mute tail too: \($l5[0].recovery.everyPacket)) | \(mark($l5[0].recovery.bitPerfect == $l5[0].recovery.streams)) |",
"| bit-perfect at 10% loss in 95% of streams | \($l10[0].recovery.bitPerfect) of \($l10[0].recovery.streams) (every packet: \($l10[0].recovery.everyPacket)) | \(mark($l10[0].recovery.bitPerfectShare >= 0.95)) |",
"| +500 ppm: no underrun after 2 s (Target level 12 ms) | \($dp[0].drift.underrunsAfter2s) (longest gap between cycles at the Target \($dp[0].cadence.arrival.maxUs / 1000 | round) ms), level \(q14($dp[0].drift.bufferMinMsAfter2s)) to \(q14($dp[0].drift.bufferMaxMsAfter2s)) ms | \(mark(ran($dp[0]) and $dp[0].drift.underrunsAfter2s == 0)) |",
"| -500 ppm: no underrun after 2 s (Target level 12 ms) | \($dm[0].drift.underrunsAfter2s) (longest gap between cycles at the Target \($dm[0].cadence.arrival.maxUs / 1000 | round) ms), level \(q14($dm[0].drift.bufferMinMsAfter2s)) to \(q14($dm[0].drift.bufferMaxMsAfter2s)) ms | \(mark(ran($dm[0]) and $dm[0].drift.underrunsAfter2s == 0)) |",
"| +500 ppm: rateAdjust corrects it | \(drift($dp[0])) | \(mark(ran($dp[0]) and $dp[0].drift.correctionMet)) |",
"| -500 ppm: rateAdjust corrects it | \(drift($dm[0])) | \(mark(ran($dm[0]) and $dm[0].drift.correctionMet)) |",
"| +100 ppm: rateAdjust corrects it | \(drift($dp1[0])) | \(mark(ran($dp1[0]) and $dp1[0].drift.correctionMet)) |",
"| -100 ppm: rateAdjust corrects it | \(drift($dm1[0])) | \(mark(ran($dm1[0]) and $dm1[0].drift.correctionMet)) |"'
echo
echo "bench: the matrix took $((SECONDS - start)) s in all (stream_bench's runs and the plots; the build before it not counted); results in $out/"
exit $failed
