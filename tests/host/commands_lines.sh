#!/usr/bin/env bash
# Lines that stand for several commands. usage: commands_lines.sh PCSIM
. "$(dirname "${BASH_SOURCE[0]}")/console_support.sh"
options=(--lab 4 --stopped)

# prints_all LINE...: the last run has printed each of these lines.
prints_all() {
    local line
    for line in "$@"; do
        grep -qxF -- "$line" "$scratch/out" ||
            problem "printed no line '$line': $(cat "$scratch/out")"
    done
}

succeeds 'time warp 1000' 'vl cr 10-12' 'vlan 10,12 add 1:1-4' 'vlan 11 add all tagged' 'sh vl'
prints '^ +10 .* 1:1-4 +-'
prints '^ +11 .* - +1:1-4'
prints '^ +12 .* 1:1-4 +-'
succeeds 'time warp 1000' 'port all disable' 'port 1:2,1:4 enable' 'time warp 5000' \
    'expect show ports -- 1:1.admin is disabled and 1:2.admin is enabled' \
    'expect show ports -- 1:3.admin is disabled and 1:4.admin is enabled'
refuses "port 1:9 does not exist; ports are 1:1 to 1:4" 'time warp 1000' 'port 1:9,1:1 disable'
refuses "done from 1:3 to 1:4, not for 1:5: port 1:5 does not exist; ports are 1:1 to 1:4" \
    'time warp 1000' 'port 1:3-6 disable'
refuses "done for 10, not for 11: VLAN 11 exists already" 'vlan create 11' 'vlan create 10-12'
refuses "there is no vlan; 'all' stands for none" 'vlan delete all'
refuses "'1:4-1' is no range; expected the lower number first" 'port 1:4-1 disable'
refuses "'show port all' are 4 commands; expected one" \
    'time warp 1000' 'expect show port all -- link is up'

run 'time warp 1000' 'show port all --json'
python3 -c '
import json, sys
ports = json.load(open(sys.argv[1]))
assert [one["port"]["port"] for one in ports] == ["1:1", "1:2", "1:3", "1:4"], ports
' "$scratch/out" || problem "'show port all --json' is not one array: $(cat "$scratch/out")"

# Filters and files.
cd "$scratch" || exit 1
succeeds 'time warp 1000' 'show ports | include 1:' 'show ports | exclude up | count' \
    'show ports | begin Management > panel.txt' 'echo done >> panel.txt' 'show vlans | json > vlans.json'
prints_all '  1:1   eth1       enabled  up     100  full    pause        1'
[ "$(head -1 panel.txt)$(tail -1 panel.txt)" = 'Management port (eth0)done' ] ||
    problem "panel.txt is: $(cat panel.txt)"
python3 -c 'import json; assert json.load(open("vlans.json"))["vlans"] == []' ||
    problem "vlans.json is: $(cat vlans.json)"
"$pcsim" "${options[@]}" --json -x 'show vlans > all.json' -x 'echo a | json' >out.json ||
    problem "files or '| json' with --json failed: $(cat out.json)"
cmp all.json vlans.json || problem "all.json is: $(cat all.json)"
refuses "filters are for lines of text; expected none, or a run without --json" \
    'show vlans --json | count'
refuses "file /nowhere/x can't be written: No such file or directory" 'show vlans > /nowhere/x'
[ "$(ls panel.txt*)" = panel.txt ] || problem "files were left: $(ls)"
cd - >/dev/null || exit 1

finish
