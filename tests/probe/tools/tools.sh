#!/usr/bin/env bash
# What pcsim-probe does with recordings, on a run of random calls over all tables: what is trimmed
# is whole, what is exported compiles and says the same, and a planted difference comes down to a
# few calls.
# usage: tools.sh PCSIM-PROBE RANDOM-HOST LIBRARY PLANTED-READING PLANTED-MASK PLANTED-CRASH INCLUDE
set -u
probe=$1 host=$2 library=$3 reading=$4 mask=$5 crash=$6 include=$7
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
seed=${PCSIM_SEED:-1}
failures=0

fail() {
    echo "seed $seed: $*" >&2
    failures=$((failures + 1))
}

# gives STATUS PATTERN WORDS...: pcsim-probe ends with the status, and its output has the pattern.
gives() {
    local status=$1 pattern=$2
    shift 2
    "$probe" "$@" >"$scratch/out" 2>"$scratch/err"
    local got=$?
    [ $got = "$status" ] || fail "$*: status $got, expected $status: $(cat "$scratch/err")"
    cat "$scratch/out" "$scratch/err" >"$scratch/both"
    [ -z "$pattern" ] || grep -qE -- "$pattern" "$scratch/both" ||
        fail "$*: expected '$pattern', seen: $(head -5 "$scratch/both")"
}

# built NAME: exports a recording, and compiles that as a stranger would.
built() {
    gives 0 '' export "$scratch/$1.rec" --c -o "$scratch/$1.c"
    gcc -m32 -Wall -Wextra -Werror -rdynamic -I "$include" "$scratch/$1.c" -o "$scratch/$1" -ldl ||
        fail "$1.c doesn't compile"
}

# runs STATUS PATTERN NAME LIBRARY: an exported host on a library.
runs() {
    "$scratch/$3" "$4" >"$scratch/out" 2>&1
    local got=$?
    [ $got = "$1" ] || fail "exported $3 on $4: status $got, expected $1"
    grep -qE -- "$2" "$scratch/out" || fail "exported $3: expected '$2': $(head -5 "$scratch/out")"
}

"$host" "$library" "$scratch/run.rec" 10000 "$seed" 2>/dev/null || fail "no recording"
"$host" "$library" "$scratch/again.rec" 500 "$seed" 2>/dev/null || fail "no recording"
"$host" "$library" "$scratch/short.rec" 500 "$seed" 2>/dev/null || fail "no recording"
"$host" "$reading" "$scratch/other.rec" 500 "$seed" 2>/dev/null || fail "no recording"

# Two runs of the same are the same, wherever things lie in them.
gives 0 '^[0-9]+ calls, no difference$' diff "$scratch/short.rec" "$scratch/again.rec"
gives 1 '^call [0-9]+ pcSimStackFanReadRpm: rpm: 1000., then 1000.$' \
    diff "$scratch/short.rec" "$scratch/other.rec"
gives 1 "pcSimStackFanReadRpm: rpm" diff --keep-going "$scratch/short.rec" "$scratch/other.rec"

gives 0 '^> pcSimPCFamIPv4FibAddEntry vr [12] 10\.' show "$scratch/short.rec"
gives 0 '"name": "platformSystemInit"' show --json "$scratch/short.rec"
"$probe" show --json "$scratch/short.rec" | python3 -c '
import json, sys
for line in sys.stdin: json.loads(line)' || fail "show --json is no JSON"
gives 0 '^# library: ' show --facts "$scratch/short.rec"
gives 0 '^> pcSimStackFanReadRpm' show --calls '@fanReadRpm' "$scratch/short.rec"
"$probe" show "$scratch/short.rec" >"$scratch/whole"
head -c 20000 "$scratch/short.rec" >"$scratch/cut.rec"
gives 1 '^pcsim-probe: recording .*cut.rec is cut short' show "$scratch/cut.rec"
"$probe" show "$scratch/cut.rec" 2>/dev/null | sed '$d' >"$scratch/part"
head -c "$(wc -c <"$scratch/part")" "$scratch/whole" | cmp -s - "$scratch/part" ||
    fail "a recording that is cut short isn't shown up to there"

gives 2 'expected a recording' show
gives 2 'expected two recordings' diff "$scratch/short.rec"
gives 2 'expected --calls' trim "$scratch/short.rec"
gives 2 'expected --library' minimise "$scratch/short.rec"
gives 2 'expected --c' export "$scratch/short.rec"
gives 1 'has none of the calls' trim "$scratch/short.rec" --calls @halStartTimerX
gives 1 'nothing to look for' minimise "$scratch/short.rec" --library "$library"

# What is kept says the same as when it was recorded: readings depend on nothing else.
gives 0 '^[0-9]+ of [0-9]+ calls kept' trim "$scratch/short.rec" --calls '@fanRead*,@*PortGetStats' \
    -o "$scratch/trimmed.rec"
built trimmed
runs 0 '^[0-9]+ calls, no difference$' trimmed "$library"
runs 1 'pcSimStackFanReadRpm: rpm: expected 1000., seen 1000.$' trimmed "$reading"

built short
runs 0 '^[0-9]+ calls, no difference$' short "$library"
runs 1 'pcSimStackFanReadRpm: rpm: expected 1000., seen 1000.$' short "$reading"

# kept NAME LIBRARY PATTERN: at most 20 calls are left, and they show it.
kept() {
    SECONDS=0
    gives 0 "$3" minimise "$scratch/run.rec" --library "$2" -o "$scratch/$1.rec"
    [ $SECONDS -le 120 ] || fail "$1: took $SECONDS s"
    local left
    left=$(sed -nE 's/^([0-9]+) of 1[0-9]{4} calls, in .*/\1/p' "$scratch/out")
    [ "${left:-99}" -le 20 ] || fail "$1: $left calls left"
    built "$1"
    runs 1 "$4" "$1" "$2"
}
kept reading "$reading" '^call [0-9]+ pcSimStackFanReadRpm, rpm: expected' 'FanReadRpm: rpm: expected'
kept mask "$mask" '^call [0-9]+ pcSimPCFamIPv4FibDump, print: expected .*/32' \
    'FibDump: print: expected .*/32'
kept crash "$crash" '^call [0-9]+ pcSimSFLOWGetCntSampleOnPort crashes: Illegal instruction' \
    'pcSimSFLOWGetCntSampleOnPort: crashed: signal 4'

[ $failures = 0 ] || exit 1
