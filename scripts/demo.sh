#!/usr/bin/env bash
# The main job: installs what is missing, builds, starts the software Target on ::1, streams 10 s of the
# test signal to it through tessera-send (or a WAV file: --wav FILE), and explains the Target's report.
# Other arguments go to tessera-send, for example --signal 192000:24:2 or --mode Var --cycle-time 2000.
set -euo pipefail
cd "$(dirname "$0")/.."

port=19650
wav=
send_args=()
while [ $# -gt 0 ]; do
    case "$1" in
        --wav)
            [ $# -ge 2 ] || { echo "demo.sh: --wav needs a file" >&2; exit 2; }
            wav=$2
            shift 2
            ;;
        -h|--help)
            echo "usage: scripts/demo.sh [--wav FILE] [tessera-send options]"
            echo "Streams 10 s of the test signal (or the whole WAV file) to the software Target on ::1"
            echo "and explains what the Target received. See tessera-send --help for the options."
            exit 0
            ;;
        *)
            send_args+=("$1")
            shift
            ;;
    esac
done

scripts/setup.sh
echo "building ..."
scripts/build.sh normal tessera-target tessera-send tessera-report > /dev/null
tools=build/normal/tools
work=build/demo
mkdir -p "$work"
report=$work/report.json
rm -f "$report"

target_args=(--bind ::1 --control-port "$port" --report "$report")
if [ -n "$wav" ]; then
    # Music is not the test signal: the Target can't check it, so it keeps what it received to listen to.
    target_args+=(--output "$work/received.wav")
    send_args=(--wav "$wav" "${send_args[@]}")
else
    # Later arguments win, so a --seconds of the user's replaces this one.
    send_args=(--seconds 10 "${send_args[@]}")
fi

pid=
stop_target() {
    if [ -n "$pid" ]; then
        kill "$pid" 2>/dev/null || true
        wait "$pid" 2>/dev/null || true
        pid=
    fi
}
trap stop_target EXIT
trap 'stop_target; exit 130' INT TERM

echo
echo "== the software Target on ::1, control port $port (its log: $work/target.log)"
# A session of its own: Ctrl-C at the terminal is for the sender, and the Target must see the stream close.
setsid "$tools/receiver/tessera-target" "${target_args[@]}" > "$work/target.log" 2>&1 &
pid=$!
for _ in $(seq 50); do
    grep -q "control port $port" "$work/target.log" 2>/dev/null && break
    if ! kill -0 "$pid" 2>/dev/null; then
        echo "demo.sh: the Target didn't start:" >&2
        cat "$work/target.log" >&2
        exit 1
    fi
    sleep 0.1
done

echo
echo "== tessera-send streams to it (Ctrl-C ends the stream early, cleanly)"
# Ctrl-C reaches tessera-send, which closes the stream; the demo goes on to the report.
trap ':' INT
status=0
"$tools/send/tessera-send" "::1,$port" "${send_args[@]}" || status=$?
trap 'stop_target; exit 130' INT

# The Target writes its report when the Host has closed the stream; a few seconds at most.
for _ in $(seq 50); do
    [ -s "$report" ] && break
    kill -0 "$pid" 2>/dev/null || break
    sleep 0.1
done
stop_target

echo
echo "== the Target's report"
if [ -s "$report" ]; then
    "$tools/receiver/report/tessera-report" "$report"
    [ -z "$wav" ] || echo "  (what it received is in $work/received.wav)"
else
    echo "The Target has no report of a stream: no stream reached it (see above, and $work/target.log)."
fi
exit "$status"
