#!/usr/bin/env bash
# The whole test suite: installs what is missing, then builds and runs every test in a normal build,
# under ASan+UBSan and under TSan, runs each fuzz target for a bounded time, and builds the Release variants
# with GCC and clang (built, not run: they hold the code to both compilers' optimised warnings).
# Usage: scripts/test.sh [variant ...]   (default: normal address thread fuzz release release-clang)
set -uo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh || exit 1

variants=("$@")
[ ${#variants[@]} -eq 0 ] && variants=(normal address thread fuzz release release-clang)
fuzz_seconds=${FUZZ_SECONDS:-20}
jobs=$(nproc)
passed=0
failed=0
failures=()

run_ctest() {
    local variant=$1
    local log="build/$variant/ctest.log"
    # TSan needs the address space without the kernel's widest randomisation.
    local prefix=()
    [ "$variant" = thread ] && prefix=(setarch "$(uname -m)" -R)
    "${prefix[@]}" ctest --test-dir "build/$variant" -j "$jobs" --output-on-failure --timeout 600 2>&1 | tee "$log"
    local line
    line=$(grep -E '^[0-9]+% tests passed, [0-9]+ tests failed out of [0-9]+' "$log" | tail -n 1)
    if [ -z "$line" ]; then
        failures+=("$variant: ctest gave no summary")
        failed=$((failed + 1))
        return
    fi
    local f t
    f=$(echo "$line" | sed -E 's/.* ([0-9]+) tests failed out of ([0-9]+).*/\1/')
    t=$(echo "$line" | sed -E 's/.* tests failed out of ([0-9]+).*/\1/')
    passed=$((passed + t - f))
    failed=$((failed + f))
    [ "$f" -eq 0 ] || failures+=("$variant: $f of $t tests failed")
}

run_fuzz() {
    local dir=build/fuzz/fuzz
    for target in "$dir"/*; do
        [ -x "$target" ] && [ -f "$target" ] || continue
        local name corpus
        name=$(basename "$target")
        corpus=$(mktemp -d)
        echo "fuzz: $name for ${fuzz_seconds}s"
        if "$target" -max_total_time="$fuzz_seconds" -print_final_stats=0 "$corpus" > "build/fuzz/$name.log" 2>&1; then
            passed=$((passed + 1))
        else
            tail -n 40 "build/fuzz/$name.log"
            failures+=("fuzz: $name found a fault")
            failed=$((failed + 1))
        fi
        rm -rf "$corpus"
    done
}

for variant in "${variants[@]}"; do
    echo "=== $variant build ==="
    if ! scripts/build.sh "$variant"; then
        failures+=("$variant: build failed")
        failed=$((failed + 1))
        continue
    fi
    case "$variant" in
        fuzz) run_fuzz ;;
        release*) passed=$((passed + 1)) ;; # the build is the check
        *) run_ctest "$variant" ;;
    esac
done

echo
for f in "${failures[@]}"; do echo "FAILED: $f"; done
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
