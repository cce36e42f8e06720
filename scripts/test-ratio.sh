#!/usr/bin/env bash
# Lines of tests against lines of product code: non-blank lines of .cpp and .h under tests/ and any */tests/,
# against those of the product outside tests/, bench/ and fuzz/. Prints each module's pair and the whole.
set -euo pipefail
cd "$(dirname "$0")/.."
count() { find "$@" \( -name '*.cpp' -o -name '*.h' \) -print0 2>/dev/null | xargs -0 -r cat | grep -vc '^\s*$' || true; }
tests=$( { find tests -type d -prune -print; find . -path ./tests -prune -o -path ./build -prune -o -type d -name tests -print; } | sort -u)
product=$(find . -path ./tests -prune -o -path ./bench -prune -o -path ./fuzz -prune -o -path ./build -prune \
    -o -path ./.git -prune -o \( -name '*.cpp' -o -name '*.h' \) -print0 | xargs -0 cat | grep -vc '^\s*$')
# shellcheck disable=SC2086
testLines=$(count $tests)
for dir in tests/*/; do
    printf '%-22s %6s\n' "$dir" "$(count "$dir")"
done
awk -v t="$testLines" -v p="$product" 'BEGIN { printf "tests %d, product %d: %.2f\n", t, p, t / p }'
