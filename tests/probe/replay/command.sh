#!/usr/bin/env bash
# A HAL that knows nothing of the probe is recorded by pcsim-probe and replayed by it; a recording
# without its end, and one that differs, end with 1, a wrong command line with 2.
#
# usage: command.sh PCSIM_PROBE HAL LIBRARY
set -euo pipefail
probe=$1 hal=$2 library=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export PCSIM_RUN_DIR=$scratch
fail() { echo "FAILED: $*"; exit 1; }

# ends STATUS TEXT COMMAND...: the command ends so, and says so.
ends() {
    local status=0 wanted=$1 text=$2
    shift 2
    "$@" >"$scratch/out" 2>&1 || status=$?
    [ "$status" -eq "$wanted" ] || { cat "$scratch/out"; fail "status $status of $*"; }
    grep -qF -- "$text" "$scratch/out" || { cat "$scratch/out"; fail "no '$text' of $*"; }
}

for shape in stack chassis; do
    "$hal" "$library" "$shape" >"$scratch/alone"
    "$probe" --record="$scratch/$shape.rec" -- "$hal" "$library" "$shape" >"$scratch/recorded"
    cmp "$scratch/alone" "$scratch/recorded" || fail "the HAL says something else"
    ends 0 " calls, no difference" "$probe" replay "$scratch/$shape.rec" --library "$library"
    grep -qE '^[1-9]' "$scratch/out" || fail "nothing was recorded"
done

head -c -30 "$scratch/stack.rec" >"$scratch/cut.rec"
ends 1 "cut.rec is cut short" "$probe" replay "$scratch/cut.rec" --library "$library"
ends 1 "is no recording" "$probe" replay "$library" --library "$library"
ends 1 "can't be loaded" "$probe" replay "$scratch/stack.rec" --library "$scratch/none.so"
ends 1 "can't be opened" "$probe" replay "$scratch/none.rec" --library "$library"
ends 2 "expected --library" "$probe" replay "$scratch/stack.rec"
ends 2 "expected one recording" "$probe" replay --library "$library"

LC_ALL=C sed 's/VORN-VM/VORN-XM/g' "$library" >"$scratch/changed.so"
ends 1 'info.modelName: expected "VORN-VM", seen "VORN-XM"' \
    "$probe" replay "$scratch/stack.rec" --library "$scratch/changed.so"
