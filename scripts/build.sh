#!/usr/bin/env bash
# Configures and builds one variant into build/<variant>: normal, address (ASan+UBSan), thread (TSan)
# fuzz (clang with libFuzzer), release (GCC, as packagers build) or release-clang. Extra arguments go to ninja
# (targets).
set -euo pipefail
cd "$(dirname "$0")/.."
variant=${1:-normal}
shift || true

case "$variant" in
    normal)  args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo) ;;
    address) args=(-DCMAKE_BUILD_TYPE=Debug -DTESSERA_SANITIZE=address -DTESSERA_BENCH=OFF) ;;
    thread)  args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DTESSERA_SANITIZE=thread -DTESSERA_BENCH=OFF) ;;
    fuzz)    args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DTESSERA_FUZZ=ON -DCMAKE_CXX_COMPILER=clang++) ;;
    release) args=(-DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=g++) ;;
    release-clang) args=(-DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=clang++) ;;
    *) echo "build.sh: unknown variant $variant (normal, address, thread, fuzz, release, release-clang)" >&2; exit 2 ;;
esac

cmake -S . -B "build/$variant" -G Ninja -DTESSERA_WERROR=ON "${args[@]}" > /dev/null
ninja -C "build/$variant" "$@"
