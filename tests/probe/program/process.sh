#!/usr/bin/env bash
# pcsim-probe around a program: it is as without the probe, and others can look into it and ask it.
# usage: process.sh PCSIM-PROBE SAMPLE-HAL LIBRARY PROBE-LIBRARY
set -u
. "$(dirname "${BASH_SOURCE[0]}")/support.sh"
hal=$2 library=$3 preload=$4
cd "$scratch" || exit 1

# Waits until a process of this name can be asked.
appears() {
    local i
    for ((i = 0; i < 500; ++i)); do
        [ -e "$PCSIM_RUN_DIR/$1.probe" ] && return
        sleep 0.01
    done
    problem "no process '$1' has come"
}

# --- As without it ---------------------------------------------------------------------------------

for steps in "ask 2" "need leave 7" "raise 10" "fork ask 1"; do
    # shellcheck disable=SC2086  # steps are words
    "$hal" "$library" $steps >plain 2>plain.err </dev/null
    expected=$?
    # shellcheck disable=SC2086
    runs -- "$hal" "$library" $steps
    [ "$status" -eq "$expected" ] || problem "'$steps' ended with $status, not $expected"
    cmp -s plain out || problem "'$steps' printed: $(cat out)"
    cmp -s plain.err err || problem "'$steps' said: $(cat err)"
    # shellcheck disable=SC2086
    runs --flight 10 -- "$hal" "$library" $steps
    [ "$status" -eq "$expected" ] || problem "'$steps' ended with $status as a child"
done
runs -- "$hal" /no/such/library
[ "$status" -eq 9 ] || problem "a HAL without its library ended with $status"
grep -q '^pcsim-probe: the program has loaded no platform library$' err ||
    problem "nobody said that there was no library: $(cat err)"

# --- Coverage --------------------------------------------------------------------------------------

ends 0 "" --coverage cov.json --times -- "$hal" "$library" ask 3
succeeds coverage show cov.json
shows '^ *pcSimStackChassisGetInfo +3 +0 +0 +[0-9.]+ +[0-9.]+$'
shows '^ *getSystemMac +3 +0 +0'
shows '^ *pcSimStackCardDBSetup$'
succeeds coverage merge cov.json cov.json --json
shows '"calls": 6'
# A child is counted with its parent.
ends 0 "" --coverage cov.json -- "$hal" "$library" ask 1 fork
succeeds coverage show cov.json
shows '^ *pcSimStackChassisGetInfo +2 '
ends 0 "" --name done -- "$hal" "$library" ask 4
succeeds "done" coverage
shows '^ *pcSimStackChassisGetInfo +4 '
# Also of one that had no end.
runs --name left -- "$hal" "$library" ask 5 leave 3
[ "$status" -eq 3 ] || problem "leaving ended with $status"
succeeds left coverage --json
shows '"calls": 5'

# --- Plans -----------------------------------------------------------------------------------------

echo 'fault chassisGetInfo after 1 count 1   # the second' >plan
runs --plan plan --trace trace -- "$hal" "$library" ask 3
[ "$(tr '\n' ' ' <out)" = "0 -1 0 " ] || problem "the plan made it: $(cat out)"
[ "$(grep -c '^> pcSimStackChassisGetInfo.*-> -1' trace)" = 1 ] || problem "the trace is: $(cat trace)"
echo 'fault chassisGetInfo count 0' >plan
runs --plan plan -- "$hal" "$library" ask 3
[ "$status" -eq 2 ] || problem "a bad plan ended with $status"
[ ! -s out ] || problem "the program ran with a bad plan"
grep -q "^pcsim-probe: $scratch/plan:1: " err || problem "of a bad plan it said: $(cat err)"
runs --trace /no/such/file -- "$hal" "$library" ask 1
[ "$status" -eq 2 ] || problem "a trace that can't be written ended with $status"

# What can't be written is said, and keeps nothing else from being.
ends 0 "pcsim-probe: /no/such/file can't be written: No such file or directory" \
    --coverage /no/such/file --record asked.rec -- "$hal" "$library" ask 1
[ -s asked.rec ] || problem "there is no recording beside a coverage that can't be written"
PCSIM_RUN_DIR=/no/such/folder ends 2 \
    "pcsim-probe: the folder /no/such/folder can't be made: No such file or directory; PCSIM_RUN_DIR names another" \
    --coverage cov.json -- "$hal" "$library" ask 1
PCSIM_RUN_DIR=/dev/null ends 0 "pcsim-probe: /dev/null is no folder; PCSIM_RUN_DIR names another" \
    -- "$hal" "$library" ask 1

# --- Asking ----------------------------------------------------------------------------------------

"$probe" --name sw1 -- "$hal" "$library" until "$scratch/stop" >/dev/null 2>asked.err &
running=$!
appears sw1
succeeds list
shows "^ *sw1 +$running +runs +0 +$hal$"
succeeds sw1 help
shows 'fault <operation>'
succeeds sw1 fault chassisGetInfo count 3
succeeds "$running" show faults --json
shows 'chassisGetInfo'
refuses 1 "a process that runs is called 'sw1' already; choose another --name" \
    --name sw1 -- "$hal" "$library"
runs sw1 frob
[ "$status" -eq 1 ] || problem "an unknown command ended with $status"
refuses 2 "expected a command behind 'sw1', for example: pcsim-probe sw1 coverage" sw1
for i in 1 2 3; do "$probe" sw1 show faults >"many.$i" & pids[i]=$!; done
for i in 1 2 3; do wait "${pids[i]}" || problem "one of several that asked was refused"; done
succeeds sw1 coverage
shows '^ *pcSimStackChassisGetInfo +[0-9]+ +3 '
# Files are of the folder of whoever asks.
mkdir elsewhere
cd elsewhere || exit 1
succeeds sw1 trace on to asked.trace
succeeds sw1 record asked.rec
succeeds sw1 record stop
succeeds sw1 trace off
cd ..
[ -s elsewhere/asked.rec ] || problem "no recording was made when one was asked for"
grep -q '^> pcSimStackChassisGetInfo' elsewhere/asked.trace ||
    problem "no trace was written when one was asked for"
: >stop
wait $running || problem "the program that was asked ended with $?"
[ ! -s asked.err ] || problem "the program that was asked said: $(cat asked.err)"
refuses 1 "'sw1' (process $running) has ended" sw1 show faults

"$probe" --name quiet -- "$hal" "$library" rest "$scratch/go" ask 1 >/dev/null &
running=$!
appears quiet
refuses 1 "'quiet' (process $running) makes no call across the boundary: it answers with its next one (waited 1000 ms; --wait SECONDS waits longer)" \
    quiet --wait 1 show faults
: >go
wait $running

# --- Preloaded by hand, from anywhere ----------------------------------------------------------------

LD_PRELOAD=$preload PCSIM_PROBE="--coverage=\"$scratch/by hand\" --name=hand" \
    "$hal" "$library" ask 2 >out 2>err || problem "preloaded by hand, it ended with $?"
[ ! -s err ] || problem "preloaded by hand, it said: $(cat err)"
succeeds coverage show "by hand"
shows '^ *pcSimStackChassisGetInfo +2 '
LD_PRELOAD=$preload PCSIM_PROBE="--frob" "$hal" "$library" ask 1 >out 2>err
[ $? -eq 2 ] || problem "a bad option by hand was taken"
[ "$(cat err)" = "pcsim-probe: there is no option --frob; 'pcsim-probe --help' lists them" ] ||
    problem "a bad option by hand: $(cat err)"
mkdir "with blanks"
cp "$probe" "$preload" "with blanks"
"with blanks/pcsim-probe" --coverage blanks.json -- "$hal" "$library" ask 2 >out 2>err ||
    problem "from a folder with blanks it ended with $?: $(cat err)"
succeeds coverage show blanks.json
shows '^ *pcSimStackChassisGetInfo +2 '
rm "with blanks/libpcsim-probe.so.0"
said=$("with blanks/pcsim-probe" -- "$hal" 2>&1)
[[ $said == "pcsim-probe: libpcsim-probe.so.0 is neither beside this program nor in "* ]] ||
    problem "without its library: $said"

finish
