#!/usr/bin/env bash
# Installs the Debian packages that building, testing and the demos need; does nothing when all are there.
set -euo pipefail

packages=(
    g++ cmake ninja-build make            # the build
    libgtest-dev libgmock-dev             # tests
    libbenchmark-dev                      # benchmarks
    clang libclang-rt-14-dev              # fuzz targets (libFuzzer)
    rsyslog                               # a real syslog daemon for the log sink's test
    iproute2 util-linux                   # network namespaces for the discovery tests
    procps                                # pgrep/ps in the test scripts
    gnuplot-nox jq                        # the stream benchmark's plots and tables
)

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "setup: installing ${missing[*]}"
if [ "$(id -u)" -ne 0 ]; then
    sudo=sudo
else
    sudo=
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
