#!/usr/bin/env bash
# Mutation check: puts one small deliberate fault at a time into the product code, rebuilds, runs the unit
# and then the integration tests (stopping at the first failure), and puts the source back. A fault that
# no test notices SURVIVED: the suite has a hole there. Slow (a rebuild and a test run per fault), so it is
# run by hand, never in CI. Builds in build/mutants and leaves build/normal alone.
# Usage: scripts/mutants.sh [--list] [--only ID] [--no-baseline] [--help]
set -uo pipefail
cd "$(dirname "$0")/.." || exit 2

build=build/mutants
jobs=${MUTANT_JOBS:-2}
timeout=${MUTANT_TIMEOUT:-120}

# One fault a line: id @@ file @@ original text (exactly once in the file) @@ replacement @@ what goes wrong.
table=$(
    cat <<'EOF'
1 @@ transport/wire/SyncMessages.cpp @@ info.resend = (h.flags() & PacketFlag::ResendRequest) != 0; @@ info.resend = (h.flags() & PacketFlag::InfoRequest) != 0; @@ flag bit: the Host looks for a resend request in the InfoRequest bit
2 @@ tools/receiver/TargetCommands.h @@ PhaseNormal = 0x0080; @@ PhaseNormal = 0x0040; @@ flag bit: the Target's PhaseNormal takes the CycleEnd bit
3 @@ transport/WorkerLoop.cpp @@ flags = PacketFlag::CycleEnd; @@ flags = 0; @@ flag bit: the last packet of a burst goes without CycleEnd
4 @@ transport/WorkerLoop.cpp @@ if (s.final) endPhase = EndFinalSent; @@ if (false) endPhase = EndFinalSent; @@ final missed: the worker never notes that its last packet went out
5 @@ transport/wire/Packet.cpp @@ const uint32_t pad = (0u - length) & 7u; @@ const uint32_t pad = (1u - length) & 7u; @@ size field: the pad in bits 0-2 is one off
6 @@ tools/receiver/TargetStreamMessages.cpp @@ message.data + PacketHeader::kSize, @@ message.data + 8, @@ header size: the Target takes the audio from byte 8 instead of 16
7 @@ transport/FeedbackControl.cpp @@ int32_t{change} * 1638) >> 14 @@ int32_t{change} * 3276) >> 14 @@ Q14 gain: the gain on the feedback's change is 0.2 instead of 0.1
8 @@ transport/FeedbackControl.cpp @@ std::clamp<int16_t>(next, kSlowest, kFastest) @@ std::clamp<int16_t>(next, -kFastest, kFastest) @@ clamp: the stream may slow by 3% only, not 10%
9 @@ transport/FeedbackControl.cpp @@ static_cast<int16_t>(adjust - correction) @@ static_cast<int16_t>(adjust + correction) @@ feedback sign: the correction goes the wrong way
10 @@ tools/receiver/FeedbackWords.cpp @@ static_cast<uint16_t>(8192 + v / 2) @@ static_cast<uint16_t>(8192 - v / 2) @@ feedback sign: the Target's offset form states the level upside down
11 @@ transport/WorkerReceive.cpp @@ if (info.resend) { @@ if (info.resend && false) { @@ resend dropped: the worker ignores a resend request
12 @@ tools/receiver/StreamRun.cpp @@ if (action == ResendTracker::Action::Ask) askResend(now); @@ if (action == ResendTracker::Action::Ask) tracker.asked(now); @@ resend dropped: the Target never sends its request
13 @@ transport/WorkerLoop.cpp @@ slot(static_cast<uint16_t>(sendSequence - resendCount)) @@ slot(static_cast<uint16_t>(sendSequence - resendCount + 1)) @@ resend: the worker repeats from one packet too late
14 @@ format/StreamFormat.cpp @@ ? 0x69 : 0x96; @@ ? 0x96 : 0x69; @@ mute byte: the two DSD silences swapped
15 @@ format/StreamFormat.cpp @@ if ((typeWord & FormatBits::DsdKinds) == 0) return 0; @@ if ((typeWord & FormatBits::DsdKinds) == 0) return 0x80; @@ mute byte: PCM (8-bit as all) silence is 0x80
16 @@ transport/SyncFormat.cpp @@ "DSD COVERT MSB Big -> LSB littele", copyReverse} @@ "DSD COVERT MSB Big -> LSB littele", copySwapReverse} @@ DSD conversion: MSB Big -> LSB little turns the bytes as well
17 @@ format/CopyRoutines.cpp @@ copyWords<true, true, false>(d, s, n); @@ copyWords<true, false, false>(d, s, n); @@ DSD conversion: copySwapReverse forgets to reverse the bits
18 @@ BRINA/Time.cpp @@ if (a > b) return (a - b) < 0x80000000u ? 1 : -1; @@ if (a > b) return 1; @@ clock wrap: a later value always counts as after, across the 32-bit wrap too
19 @@ transport/TransferConfig.cpp @@ std::ceil(1000000.0f / perMicrosecond) @@ std::floor(1000000.0f / perMicrosecond) @@ plan rounding: the cycle for a byte count is rounded down
20 @@ transport/TransferConfig.cpp @@ std::ceil(margin ? perCycle * 1.03f : perCycle) @@ std::floor(margin ? perCycle * 1.03f : perCycle) @@ plan rounding: the bytes of a cycle are rounded down
21 @@ BRINA/Network/Socket.cpp @@ scope != 0 ? scope : address.scope()); @@ scope != 0 ? scope : 0u); @@ address scope: the destination's link-local scope id is dropped
22 @@ transport/Sync.cpp @@ uint16_t mtu = 1500, max = 15000; @@ uint16_t mtu = 1400, max = 15000; @@ default: the MTU without a DATASIZE_ANS is 1400
23 @@ tools/send/SendOptions.h @@ uint32_t infoCycle = 100000; @@ uint32_t infoCycle = 10000; @@ default: the sender asks for feedback every 10 ms
24 @@ transport/WorkerLoop.cpp @@ ++sendSequence; @@ sendSequence += 2; @@ sequence: the number steps by two
25 @@ transport/wire/SyncMessages.cpp @@ static_cast<uint8_t>(122u + i); @@ static_cast<uint8_t>(121u + i); @@ check value: the MTU probe's bytes start at 121
26 @@ transport/wire/SendAck.cpp @@ tries < kAckTries; @@ tries < kAckTries - 1; @@ time-out: a request is given up after two tries
27 @@ streambuffer/SyncBuffer.cpp @@ readCursor.store(nextOf(read), std::memory_order_release); @@ readCursor.store(read + 1 == ring.size() ? 1 : read + 1, std::memory_order_release); @@ ring wrap: the worker's side skips slot 0 when it wraps
28 @@ tools/signal/SignalVerifier.cpp @@ ++res.differed; @@ ++res.matched; @@ verifier: a frame that differs counts as matched
29 @@ transport/WorkerLoop.cpp @@ BRINA::LogStream(6, "buffer Final "); @@ BRINA::LogStream(6, "buffer final "); @@ log text: the worker's last-block line is misspelt
30 @@ BRINA/LittleEndian.h @@ return static_cast<uint16_t>(p[0] | (p[1] << 8)); @@ return static_cast<uint16_t>((p[0] << 8) | p[1]); @@ byte order: 16-bit fields are read big-endian
EOF
)

usage() {
    cat <<'EOF'
Usage: scripts/mutants.sh [--list] [--only ID] [--no-baseline] [--help]

Puts each fault of the table in this script into the product code in turn, rebuilds build/mutants, runs
  ctest -L unit, then ctest -L integration (each with --stop-on-failure), and restores the source.
Prints KILLED, SURVIVED or NOT FOUND (its original text is no longer in the file exactly once) for each,
then "mutants: K killed, S survived, N not found"; exits 1 if any survived or was not found.

  --list         print the faults and whether each still applies; build and run nothing
  --only ID      run the fault with this id only
  --no-baseline  skip the test run of the unchanged source (it must pass, or a failure means nothing)
  --help         this text

MUTANT_JOBS (default 2) sets ninja's and ctest's -j, MUTANT_TIMEOUT (default 120) the seconds per test.
The product files in the table must have no uncommitted changes; the source is restored on any exit.
EOF
}

list=false
only=""
baseline=true
while [ $# -gt 0 ]; do
    case "$1" in
        --list) list=true ;;
        --only)
            only=${2:-}
            [[ "$only" =~ ^[0-9]+$ ]] || { echo "mutants.sh: --only needs an id" >&2; exit 2; }
            shift ;;
        --no-baseline) baseline=false ;;
        --help | -h) usage; exit 0 ;;
        *) echo "mutants.sh: unknown argument $1 (see --help)" >&2; exit 2 ;;
    esac
    shift
done

ids=() files=() originals=() replacements=() descriptions=()
while IFS= read -r line; do
    [ -z "$line" ] && continue
    IFS=$'\x1f' read -r id file original replacement description <<< "${line// @@ /$'\x1f'}"
    ids+=("$id") files+=("$file") originals+=("$original") replacements+=("$replacement")
    descriptions+=("$description")
done <<< "$table"

# How often text occurs in file: the fault applies only when it is exactly once.
occurrences() {
    python3 -c 'import sys; print(open(sys.argv[1], encoding="utf-8").read().count(sys.argv[2]))' "$1" "$2"
}

# Replaces the one occurrence; exit 3 when the text is missing or not unique.
replace_once() {
    python3 - "$1" "$2" "$3" <<'PY'
import sys
path, old, new = sys.argv[1:4]
with open(path, encoding="utf-8") as f:
    text = f.read()
if text.count(old) != 1:
    sys.exit(3)
with open(path, "w", encoding="utf-8") as f:
    f.write(text.replace(old, new, 1))
PY
}

selected=()
for i in "${!ids[@]}"; do
    [ -z "$only" ] || [ "${ids[$i]}" = "$only" ] && selected+=("$i")
done
if [ ${#selected[@]} -eq 0 ]; then
    echo "mutants.sh: no fault with id $only" >&2
    exit 2
fi

if $list; then
    for i in "${selected[@]}"; do
        f=${files[$i]}
        n=0
        [ -f "$f" ] && n=$(occurrences "$f" "${originals[$i]}")
        state=""
        [ "$n" = 1 ] || state="  [NOT FOUND: $n matches]"
        printf '%3s  %-40s %s%s\n       %s\n    -> %s\n' "${ids[$i]}" "$f" "${descriptions[$i]}" "$state" \
            "${originals[$i]}" "${replacements[$i]}"
    done
    exit 0
fi

# A fault put into a file with changes of its own would be restored over them, or tested with them.
mapfile -t product < <(printf '%s\n' "${files[@]}" | sort -u)
if ! git diff --quiet HEAD -- "${product[@]}"; then
    echo "mutants.sh: uncommitted changes in the files it mutates; commit or stash them first:" >&2
    git diff --stat HEAD -- "${product[@]}" >&2
    exit 2
fi

backup_dir=$(mktemp -d)
current=""
restore() {
    if [ -n "$current" ]; then
        # A plain copy: a new modification time, so that the next build compiles the original again.
        cp "$backup_dir/original" "$current"
        current=""
    fi
}
cleanup() {
    restore
    rm -rf "$backup_dir"
}
trap cleanup EXIT
trap 'echo; echo "mutants.sh: interrupted; the source is restored" >&2; exit 130' INT TERM

logs=$build/logs
build_tree() {
    cmake -S . -B "$build" -G Ninja -DTESSERA_WERROR=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DTESSERA_BENCH=OFF > "$1" 2>&1 && ninja -C "$build" -j "$jobs" >> "$1" 2>&1
}
# Runs one label; on a failure prints the names of the tests that failed.
run_label() {
    local label=$1 log=$2
    ctest --test-dir "$build" -L "^$label\$" --stop-on-failure -j "$jobs" --timeout "$timeout" \
        --output-on-failure >> "$log" 2>&1 && return 0
    local failed
    failed=$(sed -nE 's/^ *[0-9]+\/[0-9]+ Test +#[0-9]+: ([^ ]+) .*\*\*\*.*/\1/p' "$log" | sort -u | paste -sd, -)
    echo "${failed:-ctest} ($label)"
    return 1
}

mkdir -p "$build"
rm -rf "$logs"
mkdir -p "$logs"
echo "building the unchanged source in $build"
if ! build_tree "$logs/baseline.log"; then
    echo "mutants.sh: the unchanged source doesn't build; see $logs/baseline.log" >&2
    exit 2
fi
if $baseline; then
    echo "testing the unchanged source (unit, integration)"
    for label in unit integration; do
        if ! failed=$(run_label "$label" "$logs/baseline.log"); then
            echo "mutants.sh: the unchanged source fails $failed; see $logs/baseline.log" >&2
            exit 2
        fi
    done
fi

killed=0 survived=0 missing=0
for i in "${selected[@]}"; do
    id=${ids[$i]} file=${files[$i]} description=${descriptions[$i]}
    log="$logs/mutant-$id.log"
    start=$SECONDS
    if [ ! -f "$file" ]; then
        printf '%3s NOT FOUND  %s (no file %s)\n' "$id" "$description" "$file"
        missing=$((missing + 1))
        continue
    fi
    cp "$file" "$backup_dir/original"
    current=$file
    if ! replace_once "$file" "${originals[$i]}" "${replacements[$i]}"; then
        current=""
        printf '%3s NOT FOUND  %s (%s: the original text is not there exactly once)\n' "$id" "$description" "$file"
        missing=$((missing + 1))
        continue
    fi
    verdict="" by=""
    if ! build_tree "$log"; then
        verdict=KILLED by="the build"
    else
        for label in unit integration; do
            if ! by=$(run_label "$label" "$log"); then
                verdict=KILLED
                break
            fi
        done
        [ -n "$verdict" ] || verdict=SURVIVED
    fi
    restore
    if [ "$verdict" = KILLED ]; then
        killed=$((killed + 1))
        printf '%3s KILLED     %s, by %s [%ss]\n' "$id" "$description" "$by" $((SECONDS - start))
    else
        survived=$((survived + 1))
        printf '%3s SURVIVED   %s (%s) [%ss]\n' "$id" "$description" "$file" $((SECONDS - start))
    fi
done

echo "mutants: $killed killed, $survived survived, $missing not found"
[ "$survived" -eq 0 ] && [ "$missing" -eq 0 ]
