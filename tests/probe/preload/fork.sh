#!/bin/sh
# A HAL that forks while its other threads are in calls that are traced, recorded and under a rule:
# its children end as they do without all that.
# usage: fork.sh PROBE HAL LIBRARY
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
echo 'fault pcSimFamilyDBSetup where family 77 returns -9' >"$work/plan"
"$2" "$3" fork-busy >"$work/plain"
PCSIM_PROBE="--trace=$work/trace --record=$work/recording --plan=$work/plan" LD_PRELOAD=$1 \
    "$2" "$3" fork-busy >"$work/probed"
diff "$work/plain" "$work/probed"
grep -q '^> pcSimFamilyDBSetup family 0 -> 0' "$work/trace"
