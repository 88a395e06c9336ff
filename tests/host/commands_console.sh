#!/usr/bin/env bash
# The console's own verbs: help, expect and wait, faults. usage: commands_console.sh PCSIM
set -u
. "$(dirname "${BASH_SOURCE[0]}")/console_support.sh"

# Relations and numbers.
all="is|not|contains|not-contains|matches|at-least|at-most|more-than|less-than"
relations="is no relation; expected is, not, contains, not-contains, matches, at-least, at-most, more-than or less-than"
refuses "'equals' $relations" 'expect show ports -- 1:1.link equals down'
refuses "'equals' $relations" 'expect show ports -- 9:9.link equals down'
refuses "'-- 1:1.link is up' is not complete; expected event TEXT, no event TEXT, or SHOW... -- VALUE $all TEXT" \
    'expect -- 1:1.link is up'
refuses "'equals' $relations" 'wait show ports -- count equals 2 within 10'
refuses "'up' is not a number; at-most compares numbers" \
    'expect show ports -- 1:1.link at-most 5'
succeeds 'expect show ports -- count at-least -3'
succeeds 'expect show ports -- count at-most 2'
refuses "expected show ports -- count at-most -3, but count is 2" \
    'expect show ports -- count at-most -3'
fault='fault pcSimCardPortRestart count 1 returns -7'
succeeds "$fault" 'expect show faults -- 1.returns at-least -7'
succeeds "$fault" 'expect show faults -- 1.returns at-most -6'
refuses "expected show faults -- 1.returns at-least -6, but 1.returns is -7" \
    "$fault" 'expect show faults -- 1.returns at-least -6'
refuses "'within' is not complete; expected a number of ms from 0 to 86400000" 'wait event "x" within'
refuses "expected event never within 5000 ms, but no event \"never\"" 'wait event never'
refuses "returns 'x' is not a number from -2147483648 to 2147483647" \
    'fault pcSimCardPortRestart returns x'

# Several conditions at once, a field that is not there, an empty text.
succeeds 'expect show port 1:1 -- link is up and speed is 100 and duplex is full'
refuses "expected show port 1:1 -- link is up and speed is 10, but speed is 100" \
    'expect show port 1:1 -- link is up and speed is 10'
refuses "'show port 1:1 -- link is up and speed' is not complete; expected event TEXT, no event TEXT, or SHOW... -- VALUE $all TEXT" \
    'expect show port 1:1 -- link is up and speed'
refuses "expected show vlans -- 1.tag is x, but there is no '1.tag' in 'show vlans'; there are vlans.count, ROW.vlan, ROW.instance, ROW.untagged, ROW.tagged, ROW.addresses" \
    'expect show vlans -- 1.tag is x'
for kind in event 'no event'; do
    refuses "an empty text is in every event; expected a part of one" "expect $kind \"\""
done

# JSON is asked for anywhere in the line; what is echoed is echoed.
for line in '--json show ports' 'show --json ports' 'show ports --json'; do
    answers '"port": "1:1"' "$line"
done
answers '^show --json$' 'echo show --json'
# Numbers are numbers.
answers '"speed": 100,' 'show port 1:1 --json'

# Only what prints something is set apart by a blank line.
run 'vlan create 10' 'vlan create 11' 'echo a' 'vlan create 12' 'echo b' 'echo c'
[ "$(cat "$scratch/out")" = "$(printf 'a\n\nb\n\nc')" ] ||
    problem "silent commands printed: $(cat "$scratch/out")"

# Operations that return nothing can fail, too: they are not called.
succeeds 'vlan create 5' 'vlan 5 add 1:1' 'neighbor add 10.0.0.1 vlan 5 mac 02:00:00:00:00:01 port 1:1' \
    'fault pcSimIpAdjRemove' 'neighbor del 10.0.0.1 vlan 5' \
    'expect show faults -- 1.hits is 1'
answers '010.000.000.001 .*02:00:00:00:00:01' 'vlan create 5' 'vlan 5 add 1:1' \
    'neighbor add 10.0.0.1 vlan 5 mac 02:00:00:00:00:01 port 1:1' \
    'fault pcSimIpAdjRemove' 'neighbor del 10.0.0.1 vlan 5' 'neighbor dump'

# An operation goes by its function, by its word, or by both table and word.
for name in pcSimCardPortRestart cardPortRestart slot.cardPortRestart; do
    refuses "port 1:1 can't be restarted: eth1 refuses the PHY reset" "fault $name" 'port 1:1 restart'
done
refuses "no operation goes by 'family.cardPortRestart'; perhaps slot.cardPortRestart, pcSimCardPortRestart" \
    'fault family.cardPortRestart'
answers '^ +30 +fdbAddEntry +pcSimPCFamFdbAddEntry +filled$' 'show family'
answers '^ +331 +- +- +null$' 'show family'

refuses "level '9' is not a number from 0 to 8" 'trace Sys 9'

# Help.
answers '^  quit  +end the session' 'help'
for limit in help 'show events' 'show log'; do
    run "$limit"
    [ "$(wc -L <"$scratch/out")" -le 80 ] || problem "'$limit' is wider than 80 columns"
done
answers '^  fdb find <mac>' 'help fdb'
grep -q '^  show' "$scratch/out" && problem "'help fdb' listed other verbs"
answers '^  show fdb' 'help about fdb'
answers '^  show ports' 'help show ports'
refuses "no verb begins with 'frob'; 'help' lists them all, 'help about WORD' looks inside" 'help frob'
refuses "no verb has 'frob' in it; 'help' lists them all" 'help about frob'
refuses "status 'now' is not a number from 0 to 255" 'quit now'
run 'exit' 'echo too far'
[ "$(cat "$scratch/out")" = "" ] || problem "'exit' did not end the session"

# Warping stops at a signal.
interrupted INT "during a warp" --lab 2 --stopped -x 'echo started' -x 'time warp 86400000'

finish
