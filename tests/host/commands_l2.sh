#!/usr/bin/env bash
# The lines that layer 2 answers to what can't be done: one clear line each, and nothing changed.
# usage: commands_l2.sh PCSIM
set -u
. "$(dirname "$0")/console_support.sh"

member=('vlan create 10' 'vlan 10 add 1:1')
refuses "VLAN '0' is not a number from 1 to 4094" 'vlan create 0'
refuses "VLAN '4095' is not a number from 1 to 4094" 'vlan create 4095'
refuses "VLAN 10 exists already" 'vlan create 10' 'vlan create 10'
for command in 'vlan delete 10' 'vlan 10 remove 1:1' 'fdb find 02:00:00:00:00:01 vlan 10'; do
    refuses "VLAN 10 does not exist; 'show vlans' lists them" "$command"
done
refuses "VLAN 10 does not exist; 'vlan create 10' makes it" 'vlan 10 add 1:1'
refuses "port 1:9 does not exist; ports are 1:1 to 1:2" 'vlan create 10' 'vlan 10 add 1:9'
refuses "port 1:1 is in VLAN 10 already, untagged" "${member[@]}" 'vlan 10 add 1:1'
refuses "port 1:2 is not in VLAN 10" "${member[@]}" 'vlan 10 remove 1:2'
refuses "VLAN 10 can't be made: the platform gave no hardware handle" \
    'fault pcSimVlanIfCreate' 'vlan create 10'

refuses "'02:zz' is not a MAC address; expected six bytes as 00:11:22:aa:bb:cc" \
    'fdb find 02:zz vlan 10'
# Every notation of an address is as good as another, in every verb.
for mac in 02:00:00:00:ab:01 02-00-00-00-AB-01 0200.0000.ab01; do
    answers '02:00:00:00:ab:01' "${member[@]}" "fdb add $mac vlan 10 port 1:1" "fdb find $mac vlan 10" \
        "fdb del $mac vlan 10"
    answers '10\.0\.0\.1 +0 +10 +02:00:00:00:ab:01' \
        "neighbor add 10.0.0.1 vlan 10 mac $mac port 1:1" 'show neighbors'
done
refuses "'0200.0000:ab01' is not a MAC address; expected six bytes as 00:11:22:aa:bb:cc" \
    'neighbor add 10.0.0.1 vlan 10 mac 0200.0000:ab01 port 1:1'
for type in '' ' static'; do
    refuses "00:00:00:00:00:00 is all zeros; expected the address of one station" \
        "${member[@]}" "fdb add 00:00:00:00:00:00 vlan 10 port 1:1$type"
done
while read -r mac kind; do
    refuses "$mac is $kind, which is never learned; 'static' configures it" \
        "${member[@]}" "fdb add $mac vlan 10 port 1:1"
    refuses "$mac is $kind; expected the address of one station" \
        "${member[@]}" "neighbor add 10.0.0.1 vlan 10 mac $mac port 1:1"
done <<'KINDS'
ff:ff:ff:ff:ff:ff the broadcast address
01:00:5e:01:01:01 a multicast address
03:00:00:00:00:00 a multicast address
KINDS

# What does not exist is not flushed or listed.
for command in 'fdb flush vlan 99' 'show fdb vlan 99'; do
    refuses "VLAN 99 does not exist; 'show vlans' lists them" "$command"
done
for command in 'fdb flush trunk 99' 'show fdb trunk 99'; do
    refuses "trunk 99 does not exist; there are no trunks yet" "$command"
    refuses "trunk 99 does not exist; trunks are 5" 'trunk create 5' "$command"
done

refuses "port 1:2 is not in VLAN 10; 'vlan 10 add 1:2' puts it there" \
    "${member[@]}" 'fdb add 02:00:00:00:00:01 vlan 10 port 1:2'
refuses "02:00:00:00:00:01 is not in VLAN 10" "${member[@]}" 'fdb find 02:00:00:00:00:01 vlan 10'
refuses "02:00:00:00:00:01 is not in VLAN 10 on 1:2; it is on 1:1" "${member[@]}" \
    'fdb add 02:00:00:00:00:01 vlan 10 port 1:1' 'fdb del 02:00:00:00:00:01 vlan 10 port 1:2'
refuses "02:00:00:00:00:01 in VLAN 10 is static; 'fdb del' it first" "${member[@]}" \
    'fdb add 02:00:00:00:00:01 vlan 10 port 1:1 static' \
    'fdb add 02:00:00:00:00:01 vlan 10 port 1:1'
refuses "'02:0g' is not the start of a MAC address; expected for example 00:11:2" \
    'show fdb mac 02:0g'
refuses "the platform refuses 02:00:00:00:00:01 in VLAN 10: it answered -1" "${member[@]}" \
    'fault pcSimPCFamFdbAddEntry' 'fdb add 02:00:00:00:00:01 vlan 10 port 1:1'
refuses "the platform has no place for 02:00:00:00:00:01 in VLAN 10: it answered -17" \
    "${member[@]}" 'fault pcSimPCFamFdbAllocEntry returns -17' \
    'fdb add 02:00:00:00:00:01 vlan 10 port 1:1'
refuses "the platform did not take the flush: it answered -1" \
    'fault pcSimPCFamFdbFlush' 'fdb flush'

refuses "trunk '129' is not a number from 1 to 128" 'trunk create 129'
refuses "trunk 1 exists already" 'trunk create 1' 'trunk create 1'
refuses "trunk 1 does not exist; there are no trunks yet" 'trunk delete 1'
refuses "trunk 2 does not exist; trunks are 1, 3" 'trunk create 1' 'trunk create 3' \
    'trunk add 2 1:1'
refuses "port 1:1 is in trunk 1 already" 'trunk create 1' 'trunk create 2' 'trunk add 1 1:1' \
    'trunk add 2 1:1'
refuses "port 1:2 is not in trunk 1" 'trunk create 1' 'trunk remove 1 1:2'
refuses "slot 4 has no operational card to synchronise" 'trunk sync 4'
refuses "slot 'x' is not a number; slots are 1 to 1" 'trunk sync x'
answers 'Port 1:1 joined trunk 1: 2 MAC addresses gone, 1 of them static$' "${member[@]}" 'trunk create 1' \
    'fdb add 02:00:00:00:00:01 vlan 10 port 1:1' 'fdb add 02:00:00:00:00:02 vlan 10 port 1:1 static' \
    'trunk add 1 1:1' 'show events'
for algorithm in 1 2; do
    refuses "the platform has no address algorithm $algorithm; it takes any number but 1 and 2" \
        "trunk algorithm $algorithm"
done
answers 'Address algorithm +3$' 'trunk algorithm 3' 'show trunks'
answers 'Address algorithm +0$' 'trunk algorithm 0' 'show trunks'

# After a refused add the platform's place is free again, and the host's entry too.
printf '02:00:00:00:00:01 10 1:1\n02:00:00:00:00:02 10 1:1\n' >"$scratch/two"
answers 'In-use count: 1' "${member[@]}" 'fault pcSimPCFamFdbAddEntry' \
    "fdb load $scratch/two" 'fdb dump'
answers 'Entries +1$' "${member[@]}" 'fault pcSimPCFamFdbAddEntry' \
    "fdb load $scratch/two" 'show fdb stats'

# An entry that the platform keeps although it was to delete it is no address of the host's, and
# its place is taken over when it is given again.
kept=("${member[@]}" 'fdb add 02:00:00:00:00:01 vlan 10 port 1:1'
    'fault pcSimPCFamFdbDeleteEntry' 'fdb del 02:00:00:00:00:01 vlan 10')
refuses "02:00:00:00:00:01 is not in VLAN 10" "${kept[@]}" 'fdb find 02:00:00:00:00:01 vlan 10'
answers 'The platform did not delete 02:00:00:00:00:01 in VLAN 10: it answered -1' \
    "${kept[@]}" 'show events'
answers 'In-use count: 1' "${kept[@]}" 'fdb add 02:00:00:00:00:02 vlan 10 port 1:1' \
    'fdb add 02:00:00:00:00:01 vlan 10 port 1:1' 'fdb del 02:00:00:00:00:02 vlan 10' 'fdb dump'

# Nine addresses of one bucket: the ninth takes the place of one of the eight.
for mac in 00:00:01 01:c1:c1 02:81:c0 03:40:00 04:01:c2 05:c0:02 06:80:03 07:41:c3 08:01:c7; do
    printf '02:00:00:%s 10 1:1\n' $mac
done >"$scratch/nine"
answers 'Evicted on the way +1$' "${member[@]}" "fdb load $scratch/nine"
answers 'Entries +8$' "${member[@]}" "fdb load $scratch/nine" 'fdb stats'
answers 'Entries in it +8$' "${member[@]}" "fdb load $scratch/nine" 'fdb stats'
answers "Fullest bucket +8906$" "${member[@]}" "fdb load $scratch/nine" 'fdb stats'
answers '^In-use count: 8$' "${member[@]}" "fdb load $scratch/nine" 'fdb dump'

# A VLAN of many ports is cut for people, not for programs.
many=('vlan create 10')
for i in {1..12}; do many+=("vlan 10 add 1:$i$([ $((i % 2)) = 0 ] && echo ' tagged')"); done
options=(--lab 12 --stopped)
answers '4096  1:1, 1:3, 1:5, 1:7, \.\.\. +1:2, 1:4, 1:6, 1:8, \.\.\. +0$' "${many[@]}" 'show vlans'
grep -qE '^.{81}' "$scratch/out" && problem "the VLANs are wider than 80 columns"
answers '"tagged": "1:2, 1:4, 1:6, 1:8, 1:10, 1:12"' "${many[@]}" 'show vlans --json'
options=(--lab 2 --stopped)

# Files: every bad line is named, the rest is loaded.
refuses "file $scratch/none can't be read: No such file or directory" "fdb load $scratch/none"
refuses "file $scratch can't be read: Is a directory" "fdb load $scratch"
seq -f 'garbage %.0f' 1 29 >"$scratch/garbage"
refuses "file $scratch/garbage has 29 bad lines and no good one; nothing is loaded" \
    "fdb load $scratch/garbage"
prints 'Lines with an address +0$'
prints 'Not loaded +29$'
refuses "file $scratch/garbage has 29 bad lines and no good one; nothing is loaded" \
    "expect fdb load $scratch/garbage -- bad is 29"
{
    printf '02:00:00:00:00:01 10 1:1\r\n'
    printf '\n# a comment\n'
    printf 'nonsense\n'
    printf '02:00:00:00:00:02 10\n'
    printf '02:00:00:00:00:02 0 1:1\n'
    printf '02:00:00:00:00:02 99999999999999999999 1:1\n'
    printf '02:00:00:00:00:02 10 1:99999999999\n'
    printf '02:00:00:00:00:02 10 1:1 static extra\n'
    printf '02:00:00:00:00:02 10 1:1 \033[31mred\n'
    printf '02:00:00:00:00:02 11 1:1\n'
    head -c 100000 /dev/zero | tr '\0' 'x'
    printf '\n\0\0\0\n'
    printf '02:00:00:00:00:03 10 1:1 static'
} >"$scratch/macs"
bad=(
    "^ +4  'nonsense' is not a MAC address"
    '^ +5  the line is not complete; expected MAC VLAN SLOT:PORT \[static\]'
    "^ +6  VLAN '0' is not a number from 1 to 4094"
    "^ +7  VLAN '99999999999999999999' is not a number from 1 to 4094"
    "^ +8  '1:99999999999' is not a port; expected SLOT:PORT"
    "^ +9  'extra' is too much"
    "^ +10  '.\[31mred' is not known; expected static or dynamic"
    "^ +11  VLAN 11 does not exist; 'create-vlans' would make it"
    "^ +12  'x{40}\.\.\.' is not a MAC address"
    "^ +13  '\?\?\?' is not a MAC address"
    'Lines with an address +9$'
    'Added +2$'
    'Not loaded +10$'
)
for line in "${bad[@]}"; do answers "$line" "${member[@]}" "fdb load $scratch/macs"; done
grep -q $'\033' "$scratch/out" && problem "an escape sequence of the file reached the terminal"
answers 'VLANs made +1$' "${member[@]}" "fdb load $scratch/macs create-vlans"
answers '"bad": 10' "${member[@]}" "fdb load $scratch/macs --json"
[ -s "$scratch/err" ] && problem "loading without a terminal wrote to standard error"

# A file's addresses are what 'fdb add' takes: groups are configured, never learned.
printf '01:00:5e:00:00:01 10 1:1\n01:00:5e:00:00:02 10 1:1 static\n' >"$scratch/groups"
answers "^ +1  01:00:5e:00:00:01 is a multicast address, which is never learned; " \
    "${member[@]}" "fdb load $scratch/groups"
prints 'Added +1$'
succeeds "${member[@]}" 'fdb add 01:00:5e:00:00:02 vlan 10 port 1:1 static'

finish
