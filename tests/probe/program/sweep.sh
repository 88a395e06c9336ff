#!/usr/bin/env bash
# The search for calls whose failure a HAL doesn't bear, on a HAL that bears some.
# usage: sweep.sh PCSIM-PROBE SAMPLE-HAL LIBRARY
set -u
. "$(dirname "${BASH_SOURCE[0]}")/support.sh"
hal=$2 library=$3
cd "$scratch" || exit 1
export TMPDIR=$scratch/temporary
mkdir "$TMPDIR"
ulimit -c 0

# The first call starts the platform; the next are two answers, a need, trust, and a wait.
runs sweep -j 2 --timeout 2 -- "$hal" "$library" ask 2 need trust insist
[ "$status" -eq 1 ] || problem "a sweep with findings ended with $status: $(cat err)"
shows '^ *Calls counted +6$'
shows '^ *Runs +6$'
shows '^ *Ended as without a failure +2$'
shows '^ *Ended with an error +2$'
shows '^ *Crashed or hung +2$'
shows '^ *fault pcSimStackChassisGetInfo after 3 count 1 +killed by signal 11 \(Segmentation fault\)'
shows '^ *fault pcSimStackChassisGetInfo after 4 count 1 +still running after [0-9]+ ms'

# The rule repeats the run.
echo 'fault pcSimStackChassisGetInfo after 3 count 1' >plan
runs --plan plan -- "$hal" "$library" ask 2 need trust insist
[ "$status" -eq 139 ] || problem "the rule ended it with $status"

runs sweep --json --only '*GetInfo' --calls 3 -- "$hal" "$library" ask 2 need trust
[ "$status" -eq 0 ] || problem "a sweep without findings ended with $status: $(cat err)"
shows '"runs": 3,'
shows '"found": \[\]'
runs sweep --every 2 --host --only 'get*' -- "$hal" "$library" ask 3
shows '^ *Runs +2$'

refuses 2 "expected a program, for example: pcsim-probe sweep -- pcsim --lab 2 -f script" sweep
refuses 2 "--every needs a number from 1 to 1000000" sweep --every 0 -- "$hal"
refuses 127 "'no-such-hal': there is no such program" sweep -- no-such-hal
refuses 1 "without a failing call, the command ended with 9 and has called nothing: pcsim-probe: the program has loaded no platform library" \
    sweep -- "$hal" /no/such/library
refuses 1 "without a failing call, the command killed by signal 10 (User defined signal 1)" \
    sweep -- "$hal" "$library" raise 10
# Ended from outside, it says what it has found: here nothing, in the first of two runs.
"$probe" sweep --timeout 60 -- "$hal" "$library" insist >out 2>err &
running=$!
until grep -qs fault "$TMPDIR"/pcsim-sweep.*/0/plan; do sleep 0.01; done
kill -TERM $running
wait $running
[ $? -eq 1 ] || problem "a search that was ended has ended with another status"
shows '^ *Calls counted +2$'
[ "$(cat err)" = "pcsim-probe: the search was ended before 2 of 2 runs" ] ||
    problem "a search that was ended said: $(cat err)"

compgen -G "$TMPDIR/*" >/dev/null && problem "files of a sweep are left"

finish
