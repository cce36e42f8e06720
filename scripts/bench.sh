#!/usr/bin/env bash
# Runs the standard matrix of stream_bench on this machine (about 3 minutes) and prints its table and the
# goals. Results, one JSON file per run with its data files and plots, go to build/bench-results/.
# QUICK=1 runs every row for one second only, to try the script.
set -euo pipefail
cd "$(dirname "$0")/.."
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
    "drift+100|--drift 100 --seconds 10 --no-bare"
    "drift-100|--drift -100 --seconds 10 --no-bare"
    "drift+500|--drift 500 --seconds 10 --no-bare"
    "drift-500|--drift -500 --seconds 10 --no-bare"
)

table=$("$bench" --header)
failed=0
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
    if command -v gnuplot > /dev/null; then
        gnuplot -e "base='$out/$name'" bench/stream_plots.gp 2>> "$out/$name.log" || true
    fi
done

echo
echo "$table"
echo
# The goals, each from the run that shows it.
jq -rn --slurpfile pcm "$out/pcm-cadence.json" --slurpfile dsd "$out/dsd512-cadence.json" \
    --slurpfile wake "$out/pcm-wake-only.json" \
    --slurpfile l5 "$out/loss-5.json" --slurpfile l10 "$out/loss-10.json" \
    --slurpfile dp "$out/drift+500.json" --slurpfile dm "$out/drift-500.json" '
def mark(ok): if ok then "met" else "MISSED" end;
def pct(x): (x * 100 | round / 100 | tostring);
"| goal | measured | |",
"|---|---|---|",
"| mode 1 cadence p99 within 1.2 x the bare loop (44,100/16/2) | \($pcm[0].cadence.engine.p99Us) us against \($pcm[0].cadence.bare.p99Us) us: \(pct($pcm[0].cadence.p99Ratio)) x | \(mark($pcm[0].cadence.p99Ratio <= 1.2)) |",
"| mode 1 cadence p99 within 1.2 x the bare loop (DSD512) | \($dsd[0].cadence.engine.p99Us) us against \($dsd[0].cadence.bare.p99Us) us: \(pct($dsd[0].cadence.p99Ratio)) x | \(mark($dsd[0].cadence.p99Ratio <= 1.2)) |",
"| worker CPU below 3% at 44,100/16/2 | \(pct($pcm[0].cpu.workerPercent))% (bare loop \(pct($pcm[0].cpu.bareLoopPercent))%, its wake-ups alone \(pct($wake[0].cpu.bareLoopPercent))%) | \(mark($pcm[0].cpu.workerPercent < 3)) |",
"| worker CPU below 10% at DSD512 stereo | \(pct($dsd[0].cpu.workerPercent))% (bare loop \(pct($dsd[0].cpu.bareLoopPercent))%) | \(mark($dsd[0].cpu.workerPercent < 10)) |",
"| bit-perfect at 5% loss in every stream | \($l5[0].recovery.bitPerfect) of \($l5[0].recovery.streams) (every packet, mute tail too: \($l5[0].recovery.everyPacket)) | \(mark($l5[0].recovery.bitPerfect == $l5[0].recovery.streams)) |",
"| bit-perfect at 10% loss in 95% of streams | \($l10[0].recovery.bitPerfect) of \($l10[0].recovery.streams) (every packet: \($l10[0].recovery.everyPacket)) | \(mark($l10[0].recovery.bitPerfectShare >= 0.95)) |",
"| +500 ppm: no underrun after 2 s | \($dp[0].drift.underrunsAfter2s) | \(mark($dp[0].drift.underrunsAfter2s == 0)) |",
"| -500 ppm: no underrun after 2 s | \($dm[0].drift.underrunsAfter2s) | \(mark($dm[0].drift.underrunsAfter2s == 0)) |"'
echo
echo "bench: the matrix took $((SECONDS - start)) s; results in $out/"
exit $failed
