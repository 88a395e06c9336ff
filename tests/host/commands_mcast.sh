#!/usr/bin/env bash
# What the multicast verbs answer to what can't be done, and whether the host's copy stays in step
# with the platform when a call fails.
# usage: commands_mcast.sh PCSIM
set -u
. "$(dirname "$0")/console_support.sh"

vlans=('vlan create 10' 'vlan create 20')
cache='mcast add 239.1.1.1 10.0.0.1 iif 10 oif 20 1:1'
any='mcast add 239.1.1.1 * iif 10 oif 20 1:1'

refuses "'10.1.1.1' is not a multicast group; expected 224.0.0.0 to 239.255.255.255" \
    "${vlans[@]}" 'mcast add 10.1.1.1 10.0.0.1 iif 10'
refuses "'239.1.1' is not an IPv4 address; expected four numbers as 10.0.0.1" \
    'mcast add 239.1.1 10.0.0.1 iif 10'
refuses "'x' is not an IPv4 address; expected four numbers as 10.0.0.1" \
    "${vlans[@]}" 'mcast add 239.1.1.1 x iif 10'
for source in 0.0.0.0 224.0.0.0 239.255.255.255 255.255.255.255; do
    refuses "'$source' is not a source; expected the address of one sender, or * for any" \
        "${vlans[@]}" "mcast add 239.1.1.1 $source iif 10"
done
answers 'Caches +2$' "${vlans[@]}" 'mcast add 239.1.1.1 223.255.255.255 iif 10' \
    'mcast add 239.1.1.1 240.0.0.1 iif 10' 'show mcast'
refuses "there is no cache (10.0.0.1, 239.1.1.1) on VLAN 10" \
    "${vlans[@]}" 'mcast find 239.1.1.1 10.0.0.1 iif 10'
refuses "there is no cache (10.0.0.2, 239.1.1.1)" \
    "${vlans[@]}" "$cache" 'mcast find 239.1.1.1 10.0.0.2'
refuses "VLAN 30 does not exist; 'vlan create 30' makes it" \
    "${vlans[@]}" 'mcast add 239.1.1.1 10.0.0.1 iif 30'
refuses "VLAN 30 does not exist; 'vlan create 30' makes it" \
    "${vlans[@]}" 'mcast add 239.1.1.1 10.0.0.1 iif 10 oif 30 1:1'
refuses "port 1:9 does not exist; ports are 1:1 to 1:2" \
    "${vlans[@]}" 'mcast add 239.1.1.1 10.0.0.1 iif 10 oif 20 1:9'
refuses "virtual router 8 does not exist; expected 0 to 7" \
    "${vlans[@]}" 'mcast add 239.1.1.1 10.0.0.1 iif 10 vr 8'
refuses "there is no cache (10.0.0.1, 239.1.1.1) on VLAN 10" \
    "${vlans[@]}" 'mcast del 239.1.1.1 10.0.0.1 iif 10'
refuses "there is no cache (10.0.0.1, 239.1.1.1) on VLAN 10 of virtual router 1" \
    "${vlans[@]}" "$cache" 'mcast del 239.1.1.1 10.0.0.1 iif 10 vr 1'
refuses "there is no cache (10.0.0.1, 239.1.1.1) on VLAN 10; 'mcast add' makes it" \
    "${vlans[@]}" 'mcast oif add 239.1.1.1 10.0.0.1 iif 10 oif 20 1:1'
refuses "there is no cache (10.0.0.1, 239.1.1.1) on VLAN 10" \
    "${vlans[@]}" 'mcast oif del 239.1.1.1 10.0.0.1 iif 10 oif 20 1:1'
refuses "none of these ports is in (10.0.0.1, 239.1.1.1) on VLAN 10" \
    "${vlans[@]}" "$cache" 'mcast oif del 239.1.1.1 10.0.0.1 iif 10 oif 20 1:2'
refuses "no outgoing port is named; expected oif VLAN SLOT:PORT" \
    "${vlans[@]}" "$cache" 'mcast oif add 239.1.1.1 10.0.0.1 iif 10'
refuses "the platform adds no ports to a cache of any source; name a source" \
    "${vlans[@]}" "$any" 'mcast oif add 239.1.1.1 * iif 10 oif 20 1:2'
refuses "the platform deletes no single cache of any source; 'mcast flush group 239.1.1.1 iif V' deletes all of the group" \
    "${vlans[@]}" "$any" 'mcast del 239.1.1.1 * iif 10'
refuses "the platform refuses a flush by source alone; name the group too" \
    'mcast flush source 10.0.0.1'
refuses "the platform finds no cache (10.0.0.1, 239.1.1.1) on VLAN 10" \
    "${vlans[@]}" 'mcast stats 239.1.1.1 10.0.0.1 iif 10'
refuses "each cache can't take 2 of 1 outgoing ports" \
    "${vlans[@]}" 'mcast load none iif 10 oif 20 1:1 each 2'
refuses "file $scratch/none can't be read: No such file or directory" \
    "${vlans[@]}" "mcast load $scratch/none iif 10"
refuses "file $scratch can't be read: Is a directory" "${vlans[@]}" "mcast load $scratch iif 10"

# Files: groups count once, caches that are there are not made again, and a file without one good
# line is no success.
printf '239.1.1.1\n239.1.1.2 10.9.9.9\n239.1.1.1\n239.1.1.2 10.9.9.9\n' >"$scratch/groups"
for values in 'groups is 2' 'caches is 3' 'known is 1'; do
    succeeds "${vlans[@]}" "expect mcast load $scratch/groups iif 10 -- $values"
done
succeeds "${vlans[@]}" "mcast load $scratch/groups iif 10" \
    "expect mcast load $scratch/groups iif 10 -- groups is 2 and caches is 0 and known is 4"
printf 'x\n\n# nothing\ny 1\n' >"$scratch/garbage"
refuses "file $scratch/garbage has 2 bad lines and no good one; nothing is loaded" \
    "${vlans[@]}" "mcast load $scratch/garbage iif 10"
prints '  Bad lines +2$'
printf '\033[31mred\n239.1.1.1\n' >"$scratch/coloured"
answers "^ +1  '\?\[31mred' is not an IPv4 address" \
    "${vlans[@]}" "mcast load $scratch/coloured iif 10"
# More than a 32-bit process holds is refused before the first cache is made.
seq -f '239.1.1.%.0f' 1 100 >"$scratch/many"
refuses "$scratch/many asks for too many caches; 2000000 fit in all, 0 are there" \
    "${vlans[@]}" "mcast load $scratch/many iif 10 sources 20001"
refuses "$scratch/many asks for too many caches; 2000000 fit in all, 4 are there" \
    "${vlans[@]}" 'mcast add 239.1.1.1 10.0.0.1 iif 20' 'mcast add 239.1.1.1 10.0.0.2 iif 20' \
    'mcast add 239.1.1.1 10.0.0.3 iif 20' 'mcast add 239.1.1.1 10.0.0.4 iif 20' \
    "mcast load $scratch/many iif 10 sources 20000"
refuses "$scratch/many asks for too many outgoing ports; 4000000 fit in all, 1 are there" \
    "${vlans[@]}" "$cache" \
    "mcast load $scratch/many iif 10 oif 10 1:1 oif 20 1:1 oif 20 1:2 oif 10 1:2 sources 10000"
grep -q 'new cache' "$scratch/out" && problem "a load that is too large was begun"

# A whole outgoing VLAN of a cache, or of all caches of a group.
wide=("${vlans[@]}" 'vlan create 30' 'mcast add 239.1.1.1 10.0.0.1 iif 10 oif 20 1:1 oif 20 1:2 oif 30 1:1'
    'mcast add 239.1.1.1 10.0.0.2 iif 10 oif 20 1:1')
answers '^VLAN 20 removed from 1 cache, with 2 outgoing ports$' \
    "${wide[@]}" 'mcast oif del 239.1.1.1 10.0.0.1 iif 10 vlan 20'
answers '^VLAN 20 removed from 2 caches, with 3 outgoing ports$' \
    "${wide[@]}" 'mcast oif del 239.1.1.1 * iif 10 vlan 20'
answers '^VLAN 30 removed from 1 cache, with 0 outgoing ports$' "${wide[@]}" \
    'mcast oif del 239.1.1.1 10.0.0.1 iif 10 oif 30 1:1' \
    'mcast oif del 239.1.1.1 10.0.0.1 iif 10 vlan 30'
refuses "VLAN 30 is no outgoing one of (10.0.0.2, 239.1.1.1) on VLAN 10" \
    "${wide[@]}" 'mcast oif del 239.1.1.1 10.0.0.2 iif 10 vlan 30'
refuses "VLAN 10 is the incoming one of (10.0.0.1, 239.1.1.1) on VLAN 10; 'mcast del' deletes the cache" \
    "${wide[@]}" 'mcast oif del 239.1.1.1 10.0.0.1 iif 10 vlan 10'
refuses "there is no cache (10.0.0.3, 239.1.1.1) on VLAN 10" \
    "${wide[@]}" 'mcast oif del 239.1.1.1 10.0.0.3 iif 10 vlan 20'
refuses "the platform removed 0 of 2 outgoing ports" \
    "${wide[@]}" 'fault pcSimHalIpv4McHwCacheOifPortDel returns 0' \
    'mcast oif del 239.1.1.1 10.0.0.1 iif 10 vlan 20'

# inStep CACHES PORTS CHIPCACHES COMMAND...: whatever the last command is answered, what the host
# believes is what the chip was told.
inStep() {
    local caches=$1 ports=$2 chip=$3
    shift 3
    local checks=("expect show mcast -- totals.caches is $caches"
        "expect show mcast -- totals.ports is $ports"
        "expect show mcast -- totals.chipCaches is $chip"
        "expect show mcast -- totals.inStep is yes")
    types "${vlans[@]}" "$@" "${checks[@]}"
    grep -qE 'but totals|is not known|in none of the tables' "$scratch/out" &&
        problem "after '$*': $(cat "$scratch/out")"
    [ "$(grep -c 'expect show' "$scratch/out")" -ge 4 ] || problem "'$*' ended early"
}

inStep 1 1 1 "$cache" "$cache"
# The refused second cache of any source stays on its incoming VLAN until that goes.
inStep 1 1 2 "$any" "$any"
inStep 0 0 1 "$any" "$any" 'mcast flush group 239.1.1.1 iif 10'
inStep 0 0 0 "$any" "$any" 'vlan delete 10'
inStep 0 0 0 "$any" "$any" 'mcast flush'
# The VLAN that went is not counted again when it is deleted.
inStep 1 0 1 "$cache" 'mcast oif del 239.1.1.1 10.0.0.1 iif 10 vlan 20' 'vlan delete 20'
# Calls that the platform is made to refuse.
inStep 0 0 0 'fault pcSimHalIpv4McHwCacheAdd returns -1' "$cache"
inStep 1 1 1 "$cache" 'fault pcSimHalIpv4McHwCacheDel returns -1' 'mcast del 239.1.1.1 10.0.0.1 iif 10'
inStep 1 1 1 "$cache" 'fault pcSimHalIpv4McHwCacheFlush returns 0' 'mcast flush'
inStep 1 1 1 "$cache" 'fault pcSimHalIpv4McHwCacheOifPortDel returns -1' 'vlan delete 20'
# Flushes that take more than they name: later sources go too, and those of any source do when they
# stand below the named one in the tree.
inStep 0 0 0 "$cache" 'mcast add 239.1.1.1 10.0.0.2 iif 20' \
    'mcast flush group 239.1.1.1 source 10.0.0.1'
inStep 1 1 1 "$cache" 'mcast add 239.1.1.1 10.0.0.2 iif 20' \
    'mcast flush group 239.1.1.1 source 10.0.0.2'
inStep 1 1 1 "$any" "$cache" 'mcast flush group 239.1.1.1 source 10.0.0.1'
inStep 0 0 0 "$cache" "$any" 'mcast flush group 239.1.1.1 source 10.0.0.1'

finish
