#!/usr/bin/env bash
# The state as lines, from the outside: what is saved makes the same state again, and what is said
# of files and checkpoints that don't.
# usage: commands_state.sh PCSIM
set -u
. "$(dirname "$0")/console_support.sh"

# comesBack WHAT LINES: a switch on which these lines were run saves itself; another one that loads
# the file saves the same. The first is as it was before after it has been restored.
comesBack() {
    local what=$1
    printf '%s\n' "$2" >"$scratch/lines"
    rm -f "$scratch"/{start,saved,again,begun,ended}
    "$pcsim" "${options[@]}" -x 'checkpoint begin' -x "save $scratch/start" -f "$scratch/lines" -x "save $scratch/saved" \
        -x 'checkpoint end' -x 'restore begin' -x "save $scratch/begun" -x 'restore end' \
        -x "save $scratch/ended" >"$scratch/out" 2>"$scratch/err" ||
        problem "$what: $(cat "$scratch/err" "$scratch/out")"
    "$pcsim" "${options[@]}" -x "load $scratch/saved" -x "save $scratch/again" \
        >"$scratch/out" 2>"$scratch/err" || problem "$what: $(cat "$scratch/err" "$scratch/out")"
    [ -s "$scratch/saved" ] || problem "$what: nothing is saved"
    diff -u "$scratch/saved" "$scratch/again" || problem "$what: loading it gives another state"
    diff -u "$scratch/start" "$scratch/begun" || problem "$what: restoring the begin gives another state"
    diff -u "$scratch/saved" "$scratch/ended" || problem "$what: restoring the end gives another state"
}

# saves LINE: the file of the last comesBack has it.
saves() {
    grep -qxF -- "$1" "$scratch/saved" || problem "not saved: '$1' in"$'\n'"$(cat "$scratch/saved")"
}

options=(--lab 4 --stopped)
comesBack 'settings' 'trace FDB 6 0x3
trace card 0
module fans 0x3
module power 0
fan 1 speed 60
device 0 state 5
device 3 state 6
fdb age 0'
saves 'trace FDB 6 0x03'
saves 'module power 0x0'
saves 'fan 1 speed 60'
grep -q 'device 3' "$scratch/saved" && problem 'a device with the state that it had is saved'

comesBack 'ports' 'port 1:1 disable
port 1:2 autoneg off speed 10 duplex half
port 1:3 autoneg on speed 1000
port 1:4 autoneg off
port 1:4 autoneg on
cable 0 pull
cable 3 pull
sflow 1:3 add'
saves 'port 1:2 autoneg off speed 10 duplex half'
saves 'cable 0 pull'
grep -q '1:4' "$scratch/saved" && problem 'a port as it was at the start is saved'

comesBack 'layer 2' 'vlan create 30
vlan create 10
vlan create 20
vlan 20 add 1:1 tagged
vlan 10 add 1:1
vlan 10 add 1:2
vlan 10 add 1:3 tagged
trunk create 128
trunk create 4
trunk add 4 1:2
trunk add 4 1:3
trunk algorithm 3
fdb age 600
fdb add 00:11:22:33:44:59 vlan 20 port 1:1
fdb add 00:11:22:33:44:57 vlan 10 port 1:3 static
fdb add 00:11:22:33:44:55 vlan 10 port 1:1
fdb add 01:00:5e:00:00:01 vlan 10 port 1:1 static'
saves 'vlan 10 add 1:3 tagged'
saves 'fdb add 00:11:22:33:44:57 vlan 10 port 1:2 static'  # on the trunk, by its first port
[ "$(grep -n 'vlan create 10' "$scratch/saved" | cut -d: -f1)" = 1 ] || problem 'VLANs are not in order'

# Next hops keep their order. A neighbor's own route is there with it; other ones, or none, are told.
comesBack 'layer 3' 'neighbor add 10.0.0.1 vlan 10 mac 00:11:22:33:44:01 port 1:1
neighbor add 10.0.0.2 vlan 10 mac 00:11:22:33:44:02 port 1:1
neighbor add 10.0.0.2 vlan 5 mac 00:11:22:33:44:03 port 1:2
neighbor add 10.0.0.3 vlan 5 mac 00:11:22:33:44:03 port 1:1 vr 2
neighbor add 10.0.0.4 vlan 5 mac 00:11:22:33:44:04 port 1:1
neighbor add 10.0.0.5 vlan 5 mac 00:11:22:33:44:05 port 1:1
route add 10.0.0.5/32 via 10.0.0.4 vlan 5
route replace 10.0.0.4/32
route del 10.0.0.1/32
route add 10.1.0.0/16 via 10.0.0.9 vlan 6 via 10.0.0.1 vlan 10 via 10.0.0.2 vlan 10
route add 10.3.0.0/255.255.0.255 via 10.0.0.1 vlan 1 vr 7
route add 0.0.0.0/0 vr 3
route add ::/0 via fe80::3 vlan 10 via fe80::1 vlan 20
route add fd00:1::/32 via fe80::1 vlan 10 vr 7
route add fd00:2::/32'
saves 'route add 10.1.0.0/16 via 10.0.0.9 vlan 6 via 10.0.0.1 vlan 10 via 10.0.0.2 vlan 10'
saves 'route add 10.0.0.2/32 via 10.0.0.2 vlan 10'
saves 'route add 10.0.0.4/32'
saves 'route add 10.0.0.5/32 via 10.0.0.5 vlan 5 via 10.0.0.4 vlan 5'
saves 'route del 10.0.0.1/32'
saves 'route add 0.0.0.0/0 vr 3'
grep -q '10.0.0.3/32' "$scratch/saved" && problem "a neighbor's own route is saved"

comesBack 'multicast' 'vlan create 30
vlan create 20
vlan create 10
mcast add 239.1.1.1 * iif 30 oif 10 1:1 oif 20 1:2
mcast add 239.1.1.1 10.0.0.1 iif 10 oif 20 1:1 oif 20 1:2 oif 30 1:2 oif 10 1:4
mcast oif del 239.1.1.1 10.0.0.1 iif 10 oif 30 1:2
mcast add 239.1.1.1 10.0.0.1 iif 20
mcast add 239.1.1.2 10.0.0.1 iif 10 oif 20 1:3 vr 2
mcast add 239.1.1.3 * iif 10 oif 20 1:3 vr 2
mcast oif del 239.1.1.3 * iif 10 oif 20 1:3 vr 2
mcast add 239.1.1.3 10.0.0.1 iif 10 oif 20 1:1 vr 2'
saves 'mcast add 239.1.1.1 10.0.0.1 iif 10 oif 10 1:4 oif 20 1:1 oif 20 1:2 oif 30 1:1'
saves 'mcast oif del 239.1.1.1 10.0.0.1 iif 10 oif 30 1:1'  # the VLAN stays, without ports

comesBack 'access lists' 'vlan create 10
vlan create 20
acl rule "my web" "rule #1" permit proto tcp from 10.2.0.0/255.255.0.255 dport 80-90 count 9
acl rule "my web" rest deny
acl commit "my web"
acl bind "my web" vlan 10 port 1:1 slot 0
acl bind "my web" vlan 20 port 1:1 slot 1
acl delete "my web" force
acl rule "my web" rest permit proto 99 to 10.0.0.1
acl commit "my web"
acl bind "my web" vlan 20 port 1:2 slot 1
acl commit none empty
acl bind none vlan 20 port 1:2 slot 0'
saves 'acl rule "my web" "rule #1" permit proto tcp from 10.2.0.0/255.255.0.255 dport 80-90 count 9'
saves 'acl delete "my web" force'
saves 'acl commit none empty'

comesBack 'faults' 'fault pcSimFanReadTemp where slot 2 set temperature 9000
fault pcSimFanReadTemp
fault cardPortLinkInfo where port 1:2 chance 30 seed 5
fault cardPortGetStats after 2 count 3 returns -1
fault-remove 2
fault-off 1
time warp 3000
fault "pcSim*Fdb*" delay 5'
saves 'fault pcSimFanReadTemp where slot 2 set temperature 9000 number 1 off'
grep -qxE 'fault cardPortLinkInfo where port 1:2 chance 30 seed 5 number 3 seen 3' "$scratch/saved" ||
    problem "a fault that goes on is saved as: $(grep LinkInfo "$scratch/saved")"

# A chassis: cards that were put in, pulled out and switched off, and what waits for them.
options=(--shape chassis --lab 16 --stopped)
comesBack 'a chassis' 'card 3 remove
card 8 insert
card 5 power off
card 9 remove
port 8:2 disable
vlan create 10
vlan 10 add 3:1 tagged
vlan 10 add 5:2
vlan 10 add 8:1
trunk create 1
trunk add 1 3:2
trunk add 1 8:1
fdb add 00:11:22:33:44:55 vlan 10 port 8:1
neighbor add 10.0.0.1 vlan 10 mac 00:11:22:33:44:01 port 7:2'
saves 'card 3 remove'
saves 'card 8 insert'
saves 'card 5 power off'
saves 'vlan 10 add 3:1 tagged'
prints '^\[|Saved'

# Cards that report late are waited for.
options=(--shape chassis --remote-io --lab 16 --stopped)
comesBack 'late cards' 'time warp 30000
card 3 remove
card 8 insert
time warp 30000
card 5 power off
time warp 30000
vlan create 10
vlan 10 add 8:1
port 8:1 disable'
saves 'wait show cards -- 8.state is operational within 60000'

options=(--lab 2 --stopped)
# Files by hand: comments, blanks and packed ones; bad lines are all told, the others hold.
printf '# my switch\n\nvlan create 10   # the first\n  vlan 10 add 1:1\nnonsense\nvlan 10 add 1:9\nroute add 10.1.0.1/16\nroute add 10.2.0.0/16 vr 99\n' >"$scratch/hand"
refuses "4 of the 6 lines in $scratch/hand could not be run; the others hold" "load $scratch/hand"
prints "^ +5  'nonsense' is not a verb; 'help' lists them all$"
prints '^ +6  port 1:9 does not exist; ports are 1:1 to 1:2$'
prints '^ +7  prefix 10.1.0.1/16 has bits outside of its mask; expected 10.1.0.0/16$'
prints '^ +8  virtual router 99 does not exist; expected 0 to 7$'
printf 'vlan create 10\nvlan 10 add 1:1\n' | gzip >"$scratch/hand.gz"
answers '^vlan 10 add 1:1$' "load $scratch/hand.gz" 'show running'
refuses "file $scratch/nowhere can't be read: No such file or directory" "load $scratch/nowhere"
printf 'nonsense\n' >"$scratch/bad"
refuses "file $scratch/bad has 1 bad line and no good one; nothing is loaded" "load $scratch/bad"
# A file that loads itself says so, and is not loaded for ever.
printf 'vlan create 10\nload %s\n' "$scratch/self" >"$scratch/self"
refuses "1 of the 2 lines in $scratch/self could not be run; the others hold" "load $scratch/self"
prints '^ +2  a state is being loaded or restored; wait until that is done$'

# A file is written whole or not at all, where it is, with the rights that it had.
printf 'old\n' >"$scratch/kept"
chmod 640 "$scratch/kept"
ln -s kept "$scratch/link"
succeeds 'vlan create 10' "save $scratch/link"
[ "$(cat "$scratch/kept")" = 'vlan create 10' ] || problem 'saving to a link does not write its file'
[ "$(stat -c %a "$scratch/kept")" = 640 ] || problem "saving changes the rights to $(stat -c %a "$scratch/kept")"
[ -L "$scratch/link" ] || problem 'saving replaces a link'
(umask 027 && run "save $scratch/new") && [ "$(stat -c %a "$scratch/new")" = 640 ] ||
    problem "a new file has the rights $(stat -c %a "$scratch/new")"
refuses "file $scratch can't be written: it is a directory; expected the name of a file" "save $scratch"
refuses "file /dev/null can't be written: it is no regular file; expected the name of a file" \
    'save /dev/null'
refuses "file $scratch/no/file can't be written: No such file or directory" "save $scratch/no/file"
printf 'old\n' >"$scratch/full"
for i in {1..500}; do echo "vlan create $i"; done >"$scratch/many"
(fill_disk
    "$pcsim" "${options[@]}" -f "$scratch/many" -x "save $scratch/full" >/dev/null 2>"$scratch/err")
grep -q "^pcsim: file $scratch/full can't be written: File too large$" "$scratch/err" ||
    problem "a disk that is full is told as: $(cat "$scratch/err")"
[ "$(cat "$scratch/full")" = old ] || problem 'a save that failed has changed the file'
ls "$scratch" | grep -qE '\.[A-Za-z0-9]{6}$' && problem "saving leaves $(ls "$scratch")"

# Tables as the loads read them: the same table, the same file again.
tableComesBack() {
    local save=$1 load=$2
    shift 2
    run "$@" "$save $scratch/table" || problem "$save: $(cat "$scratch/err")"
    run 'vlan create 10' 'vlan create 20' 'vlan 10 add 1:1' 'vlan 20 add 1:2' \
        "${load/FILE/$scratch/table}" "$save $scratch/table2" || problem "$load: $(cat "$scratch/err" "$scratch/out")"
    diff -u "$scratch/table" "$scratch/table2" || problem "'$save' and '$load' are no pair"
}
tableComesBack 'fdb save' 'fdb load FILE' 'vlan create 10' 'vlan create 20' 'vlan 10 add 1:1' \
    'vlan 20 add 1:2' 'fdb add 00:11:22:33:44:55 vlan 20 port 1:2 static' \
    'fdb add 00:11:22:33:44:56 vlan 10 port 1:1'
[ "$(cat "$scratch/table")" = $'00:11:22:33:44:56 10 1:1 dynamic\n00:11:22:33:44:55 20 1:2 static' ] ||
    problem "fdb save wrote: $(cat "$scratch/table")"
tableComesBack 'route save' 'route load FILE' 'route add 10.1.0.0/16 via 10.0.0.1 vlan 10 via 10.0.0.2 vlan 5' \
    'route add 10.2.0.0/16' 'route add 10.3.0.0/16 vr 3' 'route add fd00:1::/32 via fe80::1 vlan 10'
[ "$(cat "$scratch/table")" = $'10.1.0.0/16 10.0.0.1 10 10.0.0.2 5\n10.2.0.0/16\nfd00:1::/32 fe80::1 10' ] ||
    problem "route save wrote: $(cat "$scratch/table")"
answers '^  Routes +1$' 'route add 10.3.0.0/16 vr 3' "route save $scratch/table vr 3"
refuses 'virtual router 8 does not exist; expected 0 to 7' "route save $scratch/table vr 8"
tableComesBack 'mcast save' 'mcast load FILE' 'vlan create 20' 'vlan create 10' \
    'mcast add 239.1.1.2 10.0.0.1 iif 10 oif 20 1:1 oif 20 1:2 oif 10 1:1' \
    'mcast add 239.1.1.1 10.0.0.1 iif 20 vr 2' 'mcast add 239.1.1.1 * iif 10 oif 20 1:1'
[ "$(cat "$scratch/table")" = '239.1.1.1 * iif 10 oif 20 1:1
239.1.1.1 10.0.0.1 iif 20 vr 2
239.1.1.2 10.0.0.1 iif 10 oif 10 1:1 oif 20 1:1 oif 20 1:2' ] ||
    problem "mcast save wrote: $(cat "$scratch/table")"
printf '225.0.0.1\n225.0.0.1 10.0.0.1 iif 11\n225.0.0.1 10.0.0.2 iif 10 oif 10 1:9\n225.0.0.1 10.0.0.2 iif 10 vr 8\n225.0.0.1 10.0.0.3 iif 10\n' >"$scratch/groups"
answers '^  New caches +1$' 'vlan create 10' "mcast load $scratch/groups"
prints "^ +1  the line has no incoming VLAN; expected GROUP SOURCE iif VLAN, or"
prints "^ +2  VLAN 11 does not exist; 'vlan create 11' makes it$"
prints "^ +3  port 1:9 does not exist; 'show ports' lists them$"
prints '^ +4  virtual router 8 does not exist; expected 0 to 7$'
refuses 'outgoing ports are of no use without an incoming VLAN; expected iif VLAN, too' \
    'vlan create 10' "mcast load $scratch/groups oif 10 1:1"

# Checkpoints.
refuses "there are no checkpoints; 'checkpoint NAME' makes one" 'restore a'
refuses "there are no checkpoints; 'checkpoint NAME' makes one" 'diff'
refuses 'there is no checkpoint c; expected one of a, b' 'checkpoint b' 'checkpoint a' 'restore c'
refuses 'there is no checkpoint c; expected one of a' 'checkpoint a' 'diff a c'
refuses 'there is no checkpoint a; expected one of b' 'checkpoint a' 'checkpoint b' \
    'checkpoint-remove a' 'show checkpoint a'
answers '^  nothing differs from checkpoint a$' 'checkpoint a' diff
answers '^  the checkpoints are the same$' 'checkpoint a' 'checkpoint b' 'diff a b'
answers '^  nothing differs from a freshly booted switch$' 'show running'
answers '^  a +1\.500 +2 +31$' 'vlan create 10' 'vlan 10 add 1:1' 'time warp 1500' 'checkpoint a' \
    'show checkpoints'

# The newest checkpoint against now, a named one, and two of them; the signs tell the way.
changes=('vlan create 10' 'vlan 10 add 1:1' 'checkpoint a' 'vlan 10 add 1:1 tagged' 'checkpoint b'
    'vlan delete 10')
answers '^- vlan 10 add 1:1 tagged$' "${changes[@]}" diff
answers '^- vlan 10 add 1:1$' "${changes[@]}" 'diff a'
answers '^\+ vlan 10 add 1:1 tagged$' "${changes[@]}" 'diff a b'
answers '^\+ vlan 10 add 1:1$' "${changes[@]}" 'diff b a'
answers '"change": "\+",' "${changes[@]}" 'diff b a --json'
answers '^vlan 10 add 1:1 tagged$' "${changes[@]}" 'show checkpoint b'

# What goes with something else comes back with it.
restored=('vlan create 10' 'vlan 10 add 1:1' 'fdb add 00:11:22:33:44:55 vlan 10 port 1:1 static'
    'mcast add 239.1.1.1 10.0.0.1 iif 10 oif 10 1:1'
    'neighbor add 10.0.0.1 vlan 10 mac 00:11:22:33:44:01 port 1:1'
    'route add 10.0.0.1/32 via 10.0.0.9 vlan 9' 'acl rule a x permit' 'acl commit a'
    'acl bind a vlan 10 port 1:1 slot 0' 'sflow 1:1 add' 'fault pcSimPCFamFdbAddEntry' 'checkpoint a')
for change in 'vlan delete 10' 'vlan 10 remove 1:1' 'card 1 remove' 'card 1 power off' \
    'neighbor del 10.0.0.1 vlan 10' 'route del 10.0.0.1/32' 'acl delete a force' 'fault-clear' \
    'acl rule a y deny' 'route replace 10.0.0.1/32 via 10.0.0.9 vlan 9 via 10.0.0.1 vlan 10' \
    'vlan 10 add 1:1 tagged' 'trunk create 1'; do
    more=()
    [ "$change" != 'trunk create 1' ] || more=('trunk add 1 1:1')
    [ "$change" != 'acl rule a y deny' ] || more=('acl commit a')
    answers '^  nothing differs from checkpoint a$' "${restored[@]}" "$change" "${more[@]}" \
        'restore a' diff
    grep -qE '^  Reached +yes$' "$scratch/out" || problem "'$change' is not undone: $(cat "$scratch/out")"
done

# One that can't be reached says what stands in the way, and leaves the rest.
refuses "checkpoint a is restored in part; 'diff a' tells what differs" \
    'fault pcSimCardPowerEnable returns -1' 'card 1 power off' 'vlan create 10' 'checkpoint a' \
    'card 1 power on' 'vlan delete 10' 'restore a'
prints '^  Lines made +2$'  # the VLAN and the fault
answers '^# card 1 failed$' 'fault pcSimCardPowerEnable returns -1' 'card 1 power off' 'show running'

# As values and as JSON.
succeeds 'vlan create 10' 'vlan 10 add 1:1' 'expect show running -- count is 2' \
    'expect show running -- "vlan 10 add 1:1".line is "vlan 10 add 1:1"' 'checkpoint a' \
    'vlan create 20' 'expect diff -- count is 1' "expect save $scratch/x -- lines is 3" \
    'expect restore a -- reached is yes' 'expect show checkpoints -- a.lines is 2'
answers '^ +"line": "vlan 10 add 1:1"$' 'vlan create 10' 'vlan 10 add 1:1' 'show running --json'

# A table that is larger than any buffer, and what interrupts its way.
seq -f '%.0f' 0 99999 | awk '{ print "10." int($1 / 65536) "." int($1 / 256) % 256 "." $1 % 256 "/32" }' >"$scratch/all"
succeeds "route load $scratch/all via 10.0.0.1 vlan 5" "save $scratch/big" 'checkpoint a' \
    'route flush' 'restore a' "save $scratch/big2"
cmp -s "$scratch/big" "$scratch/big2" || problem 'a large table is not restored'
succeeds "load $scratch/big" "save $scratch/big2"
cmp -s "$scratch/big" "$scratch/big2" || problem 'a large table is not loaded'
[ "$(wc -l <"$scratch/big")" = 100000 ] || problem "a large table has $(wc -l <"$scratch/big") lines"

# interrupts LINE COMMAND...: SIGINT ends the last command with LINE, after "begun" was echoed.
interrupts() {
    local line=$1 busy command arguments=("${options[@]}")
    shift
    for command in "${@:1:$#-1}" 'echo begun' "${!#}" 'echo after'; do arguments+=(-x "$command"); done
    "$pcsim" "${arguments[@]}" >"$scratch/out" 2>"$scratch/err" &
    busy=$!
    for _ in {1..200}; do grep -q '^begun$' "$scratch/out" && break; sleep 0.05; done
    sleep 0.3
    kill -INT $busy
    wait $busy
    said $? 1 "pcsim: $line" "${!#}"
    grep -q '^after$' "$scratch/out" && problem "${!#}: something runs after an interrupt"
}
options=(--lab 2)
printf 'vlan create 10\nwait event "never" within 60000\nvlan create 20\n' >"$scratch/slow"
interrupts "interrupted; the lines of file $scratch/slow are run in part" "load $scratch/slow"
prints '^ +2  interrupted$'
prints '^  Lines +2$'
mkfifo "$scratch/pipe"
exec 9<>"$scratch/pipe"
interrupts "interrupted; the lines of file $scratch/pipe are run in part" "load $scratch/pipe"
exec 9>&-
finish
