#!/usr/bin/env bash
# The main job: installs what is missing, builds, and runs the demo.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh normal tessera-logdemo > /dev/null
exec build/normal/tools/logdemo/tessera-logdemo "$@"
