#!/bin/sh
# Runs a namespace test in a process namespace of its own, with its own /proc, under a shell that is process 1
# there and stays in the machine's network namespace: the test can then compare its network namespace with
# process 1's even where the machine hides its own process 1.
# Without root there are no namespaces to make, and the test skips by itself.
if [ "$(id -u)" -eq 0 ] && command -v unshare > /dev/null; then
    # The shell must not hand its place to the test, or the test would be process 1 itself.
    exec unshare --pid --fork --mount-proc sh -c '"$@"; exit $?' sh "$@"
fi
exec "$@"
