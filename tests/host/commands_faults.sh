#!/usr/bin/env bash
# Faults of every kind, plans, traces and coverage. usage: commands_faults.sh PCSIM
set -u
. "$(dirname "${BASH_SOURCE[0]}")/console_support.sh"

# In its operation's stead, by number, on and off.
restart="port 1:1 can't be restarted: eth1 refuses the PHY reset"
succeeds 'fault pcSimCardPortRestart after 1' 'port 1:1 restart' 'expect show faults -- 1.seen is 1' \
    'expect show faults -- 1.hits is 0' 'expect show faults -- 1.state is on'
refuses "$restart" 'fault pcSimCardPortRestart after 1' 'port 1:1 restart' 'port 1:1 restart'
succeeds 'fault pcSimCardPortRestart' 'fault-off 1' 'port 1:1 restart' \
    'expect show faults -- 1.state is off' 'expect show faults -- 1.seen is 0'
refuses "$restart" 'fault pcSimCardPortRestart' 'fault-off 1' 'fault-on 1' 'port 1:1 restart'
succeeds 'fault pcSimCardPortRestart' 'fault cardPort*' 'fault-remove 1' \
    'expect show faults -- count is 1' 'expect show faults -- 2.operation is cardPort*' \
    'fault-clear' 'expect show faults -- count is 0' 'port 1:1 restart'
refuses "there is no rule 3; there are none" 'fault-off 3'
refuses "a seed is that of a chance; expected chance PERCENT, too" 'fault cardPortRestart seed 4'

# Calls out of the platform: a tree that takes nothing, files that can't be opened.
refuses "the platform answered -1 to the add of (10.0.0.1, 239.1.1.1) on VLAN 10; 0 of its ports are in" \
    'vlan create 10' 'fault p2BtreeInsert' 'mcast add 239.1.1.1 10.0.0.1 iif 10'
refuses "counters of port 1:1 can't be read: the platform answered -1" \
    'fault open* count 9' 'show counters 1:1'
succeeds 'fault ioctl count 9' 'time warp 1000' 'expect show port 1:1 -- link is down'

# A warp asks for links no more than it has to, but sees what changes in it to the millisecond; who
# looks at calls sees them all.
succeeds 'time warp 3600000' 'expect show coverage -- pcSimCardPortLinkInfo.calls at-most 7000' \
    'cable 2 pull' 'time warp 999' 'expect event "Port 1:2 link down" count is 0' 'time warp 1' \
    'expect event "Port 1:2 link down" count is 1' 'time warp 3000' 'cable 2 plug' \
    'time warp 999' 'expect event "Port 1:2 link up" count is 0' 'time warp 1' \
    'expect event "Port 1:2 link up" count is 1'
succeeds 'fault pcSimCardPortLinkInfo after 1000000' 'time warp 3600000' \
    'expect show coverage -- pcSimCardPortLinkInfo.calls at-least 7200'
succeeds 'fault pcSimCardPortLinkInfo after 5000 count 2' 'time warp 3600000' \
    'expect event "Port 1:1 link down" count is 1' 'expect event "Port 1:2 link down" count is 1'
succeeds 'calls on' 'time warp 20000' 'calls off' \
    'expect show coverage -- pcSimCardPortLinkInfo.calls at-least 40'

# Aimed, and with other values.
succeeds 'fault pcSimFanReadTemp where slot 2 set temperature 9000' 'time warp 5000' \
    'expect show fans -- 2.temperature is 90.00' 'expect show fans -- 1.temperature is 25.01' \
    'expect show faults -- 1.hits is 1' 'fault-clear' 'time warp 5000' \
    'expect show fans -- 2.temperature is 25.02'
succeeds 'time warp 3000' 'fault cardPortLinkInfo where port 1:2 set speed 1' 'time warp 1000' \
    'expect show port 1:2 -- speed is 10' 'expect show port 1:1 -- speed is 100'
succeeds 'fault pcSimCardPortGetStats set receivedPackets 5000000000' \
    'expect show counters 1:1 -- rxPackets is 5000000000'
refuses "route 10.1.0.0/16 can't be programmed: the platform answered -1" 'fault *Fib* where prefix within 10.0.0.0/8' \
    'route add 11.0.0.0/8 via 10.0.0.1 vlan 5' 'route add 10.1.0.0/16 via 10.0.0.1 vlan 5'
refuses "pcSimFanReadTemp has no 'port' that is tested before the call; expected one of slot" \
    'fault pcSimFanReadTemp where port 1:1'
refuses "slot 'x' has another form; expected a number of 32 bits" 'fault fanReadTemp where slot x'

# Late calls cost simulated time alone, and others run late.
succeeds 'fault pcSimIsCardHwPresent delay 3600000 count 1' 'time warp 1000' \
    'expect show timers -- count at-least 6' 'expect show faults -- 1.hits is 1'
answers '^Timers and tasks at 3601.000 s' 'fault pcSimIsCardHwPresent delay 3600000 count 1' \
    'time warp 1000' 'show timers'

# A chance is the same every time.
"$pcsim" "${options[@]}" -x 'fault pcSimIsFanPresent chance 20 seed 5' -x 'time warp 20000' \
    -x 'show faults' >"$scratch/first" 2>&1
run 'fault pcSimIsFanPresent chance 20 seed 5' 'time warp 20000' 'show faults'
cmp -s "$scratch/first" "$scratch/out" || problem "a chance came out differently"

# Plans: before the first call, with file and line where they are wrong.
plan() {
    printf '%s\n' "$@" >"$scratch/plan"
}
plan '# A timer that never fires, and a table that can'"'"'t be made.' '' \
    'fault halStartTimer count 2 returns 0'
options+=(--plan "$scratch/plan")
succeeds 'expect show faults -- 1.hits is 2' 'expect show timers -- count is 6'
plan 'fault family.fdbInit returns -4 # by its word: no table is filled yet'
refuses "the platform can't make its MAC table: it answered -4" 'show ports'
plan '' 'fault pcSimFanReadTmp'
refuses "$scratch/plan:2: no operation goes by 'pcSimFanReadTmp'; perhaps pcSimFanReadTemp" 'show ports'
plan 'show ports'
refuses "$scratch/plan:1: 'ports' is not known after 'show'; expected coverage, faults, memory" 'show ports'
plan "trace on only platformSystemInit to $scratch/trace"
succeeds 'show ports'
grep -q '^\[    0\.000\] > platformSystemInit -> 0 table {functions 16}$' "$scratch/trace" ||
    problem "the trace begins with: $(head -1 "$scratch/trace")"
rm "$scratch/plan"
refuses "plan $scratch/plan can't be read: No such file or directory" 'show ports'
options=(--lab 2 --stopped)

# Coverage, with times while they are taken.
answers '^  system +16 ' 'show coverage'
succeeds 'expect show coverage -- pcSimStackChassisGetInfo.calls is 1' 'expect show coverage never -- operations.count at-least 100' \
    'expect show coverage times -- pcSimIsCardHwPresent.totalNs is 0' 'times on' 'time warp 1000' \
    'expect show coverage times -- pcSimIsCardHwPresent.totalNs at-least 1' 'times off'

# The platform's requests to the C library find what pcsim defines itself, watched or not.
succeeds 'calls on only ioctl' 'time warp 2000' 'expect show port 1:1 -- link is up'
answers '^\[    1\.000\] = ioctl ' 'calls on only ioctl' 'time warp 1000'

# Rules that go on where others were.
answers '^ +7  pcSimFanReadTemp  failure +4 +1  on +after 3 count 2$' \
    'fault pcSimFanReadTemp after 3 count 2 number 7 seen 4 hits 1' 'show faults'
answers '^ +2  pcSimFanReadTemp +failure +0 +0  off' 'fault pcSimFanReadTemp number 2 off' 'show faults'
answers '^ +8  pcSimFanReadTemp' 'fault pcSimFanReadTemp number 7' 'fault pcSimFanReadTemp' \
    'show faults'
refuses "there is a rule 7 already; 'fault-remove 7' removes it" 'fault pcSimFanReadTemp number 7' \
    'fault pcSimFanReadTemp number 7'
refuses "number '0' is not a number from 1 to 1000000000" 'fault pcSimFanReadTemp number 0'
# They are looked at in the order of their numbers, whichever came first.
succeeds 'fault pcSimFanReadTemp number 5' 'fault pcSimFanReadTemp number 4' 'show faults'
[ "$(grep -oE '^ +[45]  ' "$scratch/out" | tr -d ' \n')" = 45 ] ||
    problem 'rules are not in the order of their numbers'
# Chance goes on where it was: of 40 readings the same ones fail, in one run or in two.
hitsOf() {
    run "$@" 'show faults --json'
    grep -oE '"hits": [0-9]+' "$scratch/out"
}
whole=$(hitsOf 'fault pcSimFanReadTemp chance 50 seed 3' 'time warp 50000')
half=$(hitsOf 'fault pcSimFanReadTemp chance 50 seed 3' 'time warp 25000')
seen=$(grep -oE '"seen": [0-9]+' "$scratch/out" | grep -oE '[0-9]+')
rest=$(hitsOf 'time warp 25000' \
    "fault pcSimFanReadTemp chance 50 seed 3 seen $seen hits ${half##* }" 'time warp 25000')
[ "$whole" = "$rest" ] || problem "a chance that goes on met ${rest}, not ${whole}"

finish
