#!/bin/sh
# Runs a program with and without the probe: exit status, output and errors must be the same, and
# the probe must have counted what is expected of it.
# A name that both sides have counts for both.
# usage: same.sh PROBE [NAME=CALLS...] -- PROGRAM [ARGUMENT...]
set -u
probe=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
expected=
while [ "$1" != -- ]; do
    expected="$expected $1"
    shift
done
shift

"$@" >"$work/plain.out" 2>"$work/plain.err"
echo "status $?" >>"$work/plain.out"
LD_PRELOAD=$probe PCSIM_PROBE=$work/counts "$@" >"$work/probed.out" 2>"$work/probed.err"
echo "status $?" >>"$work/probed.out"

failed=0
for stream in out err; do
    diff "$work/plain.$stream" "$work/probed.$stream" || failed=1
done
for entry in $expected; do
    name=${entry%%=*} calls=${entry#*=}
    seen=$(awk -v name="$name" '$1 == name { calls += $2 } END { print calls }' "$work/counts")
    [ "$seen" = "$calls" ] || {
        echo "$name: $seen calls counted, not $calls"
        failed=1
    }
done
cat "$work/plain.out"
exit $failed
