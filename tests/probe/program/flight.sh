#!/usr/bin/env bash
# The flight recorder: what a process that is no more has called last, and how it ended.
# usage: flight.sh PCSIM-PROBE SAMPLE-HAL LIBRARY
set -u
. "$(dirname "${BASH_SOURCE[0]}")/support.sh"
hal=$2 library=$3
cd "$scratch" || exit 1
ulimit -c 0

runs --flight 5 --name crash -- "$hal" "$library" ask 2 inside ask 1
[ "$status" -eq 139 ] || problem "a crash ended with $status"
succeeds post-mortem crash
shows 'Its end  killed by signal 11 \(Segmentation fault\)$'
shows '^ +1  pcSimStackChassisGetInfo, in it getSystemMac$'
shows '^ +[0-9]+ +1  > pcSimStackChassisGetInfo \.\.\.$'
shows '^ +[0-9]+ +1      < getSystemMac \.\.\.$'
shows '< getSystemMac -> 0 mac 02:02:02:02:02:02$'
[ "$(grep -cE '^ +[0-9]+ +1  ' out)" -eq 5 ] || problem "five calls are: $(cat out)"
succeeds post-mortem crash --json --calls 1
shows '"underWay"'
[ "$(grep -c '"number"' out)" -eq 1 ] || problem "one call is: $(cat out)"
succeeds list
shows '^ *crash +[0-9]+ +killed +5 '

# kill -9, of the program and of the one that has started it.
"$probe" --flight 9 --name killed -- "$hal" "$library" until "$scratch/never" >/dev/null 2>&1 &
parent=$!
while [ ! -e "$PCSIM_RUN_DIR/killed.probe" ]; do sleep 0.01; done
runs killed coverage
runs list --json
child=$(grep -A1 '"name": "killed"' out | grep -o '"pid": [0-9]*' | tr -dc 0-9)
kill -9 "$child"
wait $parent
[ $? -eq 137 ] || problem "kill -9 of the program ended its parent differently"
succeeds post-mortem killed
shows 'Its end  killed by signal 9 \(Killed\)$'
shows '> pcSimStackChassisGetInfo -> 0 '

# A signal to the parent is for the program.
"$probe" --flight 9 --name told -- "$hal" "$library" until "$scratch/never" >/dev/null 2>&1 &
parent=$!
while [ ! -e "$PCSIM_RUN_DIR/told.probe" ]; do sleep 0.01; done
kill -TERM $parent
wait $parent
[ $? -eq 143 ] || problem "SIGTERM ended differently"
succeeds post-mortem told
shows 'Its end  killed by signal 15 \(Terminated\)$'

runs --flight 3 --name fine -- "$hal" "$library" ask 1 leave 4
[ "$status" -eq 4 ] || problem "leaving ended with $status"
succeeds post-mortem fine
shows 'Its end  ended with 4$'
shows 'No call was under way'

ends 0 "" --name none -- "$hal" "$library" ask 1
refuses 1 "'none' keeps no calls: it was started without --flight" post-mortem none
refuses 2 "expected 'pcsim-probe post-mortem NAME'; 'pcsim-probe list' names them" post-mortem
refuses 2 "--calls needs a number from 1 to 1000000" post-mortem --calls 0 crash
runs post-mortem nobody
[ "$status" -eq 1 ] || problem "an unknown name ended with $status"

finish
