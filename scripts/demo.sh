#!/usr/bin/env bash
# The main job: installs what is missing, builds, starts the software Target on ::1, and lets the
# Host's session negotiate with it as the driver does before a stream. Extra arguments go to tessera-probe
# (for example --format 192000:24:2 or --latency 5000).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
echo "building ..."
scripts/build.sh normal tessera-target tessera-probe > /dev/null
target=build/normal/tools/target/tessera-target
probe=build/normal/tools/probe/tessera-probe

echo
echo "== the software Target on ::1, control port 19650 (it ends by itself after 30 s)"
"$target" --bind ::1 --control-port 19650 --duration 30 &
pid=$!
trap 'kill "$pid" 2>/dev/null || true; wait "$pid" 2>/dev/null || true' EXIT
sleep 0.5

echo
echo "== the Host asks, with its log on: its own lines, and the Target's as \"Target: \" lines"
"$probe" ::1,19650 --log "$@"
echo
echo "== the same Target, planning a DSD64 stream"
"$probe" ::1,19650 --format dsd:64:little:2
