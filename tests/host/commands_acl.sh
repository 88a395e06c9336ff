#!/usr/bin/env bash
# What the access-list verbs answer to what can't be done: nothing is half loaded or half bound.
# usage: commands_acl.sh PCSIM
set -u
. "$(dirname "$0")/console_support.sh"

printf 'rule a permit count 2\nrule b deny\n' >"$scratch/good"
printf 'rule a permit\nrule b drop\n# fine\nrule c permit from 1.2.3\n' >"$scratch/bad"
: >"$scratch/empty"
load=("vlan create 10" "acl load web $scratch/good")
place="vlan 10 port 1:1 slot 0"

refuses "file $scratch/none can't be read: No such file or directory" "acl load web $scratch/none"
refuses "file $scratch can't be read: Is a directory" "acl load web $scratch"
refuses "file $scratch can't be read: Is a directory" "${load[@]}" "acl bind web $place" \
    "acl refresh web $scratch"
refuses "file $scratch can't be read: Is a directory" "${load[@]}" "acl diff web $scratch"
refuses "$scratch/bad has 2 bad lines; nothing is loaded" "acl load web $scratch/bad"
prints "^ +2  'drop' is not an action; expected permit or deny\$"
prints "^ +4  '1.2.3' is not an IPv4 address"
refuses "$scratch/bad has 2 bad lines; nothing is loaded" "${load[@]}" "acl refresh web $scratch/bad"
refuses "access list web is loaded already; 'acl refresh' gives it new rules" \
    "${load[@]}" "acl load web $scratch/good"
refuses "dynamic rules are never stored; choose another name" "acl load dynamic $scratch/good"
refuses "name 'abcdefghijklmnopqrstuvwxyz012345' is too long; expected 31 characters at most" \
    "acl load abcdefghijklmnopqrstuvwxyz012345 $scratch/good"
refuses "there is no access list web; 'acl load web FILE' makes it" "acl refresh web $scratch/good"
refuses "there is no access list web; 'show acl' lists them" "acl delete web"
refuses "there is no access list web; 'acl load web FILE' makes it" "show acl web"
refuses "there is no access list other; 'acl load other FILE' makes it" \
    "${load[@]}" "acl bind other $place"
refuses "VLAN 20 does not exist; 'vlan create 20' makes it" \
    "${load[@]}" "acl bind web vlan 20 port 1:1 slot 0"
refuses "port 1:9 does not exist; ports are 1:1 to 1:2" \
    "${load[@]}" "acl bind web vlan 10 port 1:9 slot 0"
refuses "'2' is not known after 'acl bind web vlan 10 port 1:1 slot'; expected 0|1" \
    "${load[@]}" "acl bind web vlan 10 port 1:1 slot 2"
refuses "web is bound to VLAN 10 port 1:1 slot 0 already" \
    "${load[@]}" "acl bind web $place" "acl bind web $place"
refuses "no access list is bound to VLAN 10 port 1:1 slot 0" "${load[@]}" "acl unbind web $place"
refuses "web is bound to VLAN 10 port 1:1 slot 0, not other" \
    "${load[@]}" "acl bind web $place" "acl unbind other $place"
refuses "access list web is bound 1 time; unbind it first, or delete it with 'force'" \
    "${load[@]}" "acl bind web $place" "acl delete web"
refuses "no access list is bound to VLAN 10 port 1:1 slot 1" \
    "${load[@]}" "acl bind web $place" "acl counters web vlan 10 port 1:1 slot 1"
refuses "access list web has no counter 3; they are 1 to 2" \
    "${load[@]}" "acl bind web $place" "acl counters web $place clear 3"
refuses "counter 'x' is not a number from 1 to 65535" \
    "${load[@]}" "acl bind web $place" "acl counters web $place clear x"
refuses "access list none counts nothing" \
    'vlan create 10' "acl load none $scratch/empty" "acl bind none $place" \
    "acl counters none $place clear all"
refuses "the platform answered -1 to access list web" \
    'fault pcSimIPv4AclAdd returns -1' "acl load web $scratch/good"
refuses "the platform answered -1 to web on VLAN 10 port 1:1 slot 0" \
    "${load[@]}" 'fault pcSimIPv4AclConfig returns -1' "acl bind web $place"

answers 'no rules' "acl load none $scratch/empty" 'show acl none'
answers '^2 ports bound' "${load[@]}" 'acl bind web vlan 10 port all slot 1'
answers '^1 port bound' "${load[@]}" 'acl bind web vlan 10 port 1:2 slot 1' \
    'acl bind web vlan 10 port all slot 1'
answers 'VLAN 10 on port 1:1 gone: 1 access list binding undone' "${load[@]}" 'vlan 10 add 1:1' \
    "acl bind web $place" 'acl bind web vlan 10 port 1:2 slot 0' 'vlan 10 remove 1:1' \
    'show events'
answers 'web +2 +2 +0' "${load[@]}" "acl load other $scratch/good" "acl bind web $place" \
    "acl bind other $place" 'show acl'

refuses "there is no access list nope; 'acl load nope FILE' makes it" "acl diff nope $scratch/good"
printf 'rule a permit from 10.0.0.1/24\nrule b permit to 10.0.0.0/24\nrule c \033[31m\n' >"$scratch/bits"
refuses "$scratch/bits has 2 bad lines; nothing is loaded" "acl load bits $scratch/bits"
prints '^ +1  prefix 10\.0\.0\.1/24 has bits outside of its mask; expected 10\.0\.0\.0/24$'
prints "^ +3  '\?\[31m' is not an action"
grep -q $'\033' "$scratch/out" && problem "an escape sequence of the file reached the terminal"

# A rule that is wider than a terminal is cut for people, not for programs.
printf 'rule wide permit proto tcp from 192.168.100.0/24 to 192.168.200.0/24 sport 10000-20000 %s\n' \
    'dport 10000-20000 count 4096' >"$scratch/wide"
answers 'wide +1 +permit +proto tcp from 192\.168\.100\.0/24 to .* \.\.\.$' \
    "acl load wide $scratch/wide" 'show acl wide'
prints '^  \.\.\.: cut to fit, --json has it all$'
grep -qE '^.{81}' "$scratch/out" && problem "a rule is wider than 80 columns"
answers 'dport 10000-20000 count 4096"' "acl load wide $scratch/wide" 'show acl wide --json'

# Lists that are told rule by rule.
refuses "there are no rules for web; 'acl rule web NAME permit' gives one" 'acl commit web'
refuses "'drop' is not an action; expected permit or deny" 'acl rule web a drop'
refuses 'the rule is not complete; expected rule NAME permit|deny ...' 'acl rule web a'
refuses 'rule a is in command 1 already' 'acl rule web a permit' 'acl rule web a deny'
refuses 'dynamic rules are never stored; choose another name' 'acl rule dynamic a permit'
refuses "there is no access list web; 'acl load web FILE' makes it" 'acl rule web a permit' \
    'show acl web'
told=('acl rule web "a b" permit proto tcp dport 80 count 2' 'acl rule web rest deny' 'acl commit web')
answers '^  a b +1  permit  proto tcp dport 80 count 2$' "${told[@]}" 'show acl web'
answers '^  rest +2  deny$' "${told[@]}" 'show acl web'
refuses "there are no rules for web; 'acl rule web NAME permit' gives one" "${told[@]}" 'acl commit web'
# Told again, a list has the new rules where it is bound.
answers '^  web +1 +0 +1$' 'vlan create 10' "${told[@]}" 'acl bind web vlan 10 port 1:1 slot 0' \
    'acl rule web only permit' 'acl commit web' 'show acl'
answers '^  web +0 +0 +0$' 'acl commit web empty' 'show acl'
# A bad rule is not in the list.
types 'acl rule web a permit' 'acl rule web b drop' 'acl commit web' 'show acl'
prints 'web +1 +0 +0'

finish
