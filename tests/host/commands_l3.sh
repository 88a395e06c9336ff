#!/usr/bin/env bash
# Neighbours and routes from the outside: the one clear line of each problem, and route files.
# usage: commands_l3.sh PCSIM
set -u
. "$(dirname "$0")/console_support.sh"

# printsExactly TEXT COMMAND...: the commands succeed and print TEXT, with times replaced.
printsExactly() {
    local text=$1
    shift
    run "$@" || problem "'$*' failed: $(cat "$scratch/err")"
    sed -i -E "s/(Seconds +)[0-9.]+/\1T/; s/(Routes per second +)[0-9]+/\1R/; s|$scratch/||" "$scratch/out"
    diff -u <(printf '%s\n' "$text") "$scratch/out" || problem "'$*' printed something else"
}

mac='mac 00:11:22:33:44:55 port 1:1'
refuses "neighbor fe80::1 is an IPv6 address; the platform has adjacencies for IPv4 alone" \
    "neighbor add fe80::1 vlan 5 $mac"
refuses "'10.0.0' is not an IP address; expected 10.0.0.1 or fe80::1" "neighbor add 10.0.0 vlan 5 $mac"
refuses "VLAN '4095' is not a number from 1 to 4094" "neighbor add 10.0.0.1 vlan 4095 $mac"
refuses "port 1:9 does not exist; ports are 1:1 to 1:2" \
    "neighbor add 10.0.0.1 vlan 5 mac 00:11:22:33:44:55 port 1:9"
refuses "virtual router 8 does not exist; expected 0 to 7" "neighbor add 10.0.0.1 vlan 5 $mac vr 8"
refuses "there is no neighbor 10.0.0.1 on VLAN 5 in virtual router 0; 'show neighbors' lists them" \
    "neighbor del 10.0.0.1 vlan 5"
refuses "'10.1.0.0' is not a prefix; expected 10.1.0.0/16, 10.1.0.0/255.255.0.0 or fd00:1::/32" \
    "route add 10.1.0.0"
refuses "prefix 10.1.2.3/16 has bits outside of its mask; expected 10.1.0.0/16" "route add 10.1.2.3/16"
refuses "prefix 2001:db8::1/32 has bits outside of its mask; expected 2001:db8::/32" \
    "route add 2001:db8::1/32"
refuses "gateway fe80::1 is not of the family of 10.1.0.0/16; expected an IPv4 address" \
    "route add 10.1.0.0/16 via fe80::1 vlan 5"
refuses "gateway 10.0.0.1 is not of the family of ::/0; expected an IPv6 address" \
    "route add ::/0 via 10.0.0.1 vlan 5"
refuses "'route add 10.1.0.0/16 via 10.0.0.1' is not complete; expected vlan" \
    "route add 10.1.0.0/16 via 10.0.0.1"
refuses "virtual router 4294967295 does not exist; expected 0 to 7" \
    "route add 10.1.0.0/16 vr 4294967295"
refuses "there is no route 10.1.0.0/16 in virtual router 0; 'show route' lists them" \
    "route del 10.1.0.0/16"
refuses "virtual router 9 does not exist; expected 0 to 7" "route flush vr 9"
refuses "virtual router 9 does not exist; expected 0 to 7" "show route vr 9"
refuses "file $scratch/none can't be read: No such file or directory" \
    "route load $scratch/none"
refuses "file $scratch can't be read: Is a directory" "route load $scratch"

printf 'route add 10.1.0.0/16 via 10.0.0.1 vlan 5\nroute del 10.1.0.0/16 via 10.0.0.2 vlan 5\n' >"$scratch/script"
"$pcsim" --lab 1 -f "$scratch/script" >/dev/null 2>"$scratch/err"
[ "$(cat "$scratch/err")" = "pcsim: $scratch/script:2: route 10.1.0.0/16 has no next hop 10.0.0.2 on VLAN 5; 'show route 10.1.0.0/16' lists those it has" ] ||
    problem "deleting a next hop that is not there said: $(cat "$scratch/err")"

# A file of both families with everything that can be wrong in a line. The rest is loaded.
cat >"$scratch/routes" <<'ROUTES'
# a comment
10.1.0.0/16
10.2.0.0/16 10.0.0.2 6   # with its own next hop

10.3.0.0/16 10.0.0.2 6 10.0.0.3 7
	10.4.0.0/255.255.0.255
2001:db8::/32
2001:db8:1::/48 fe80::9 9
10.5.0.0/33
10.6.0.1/16
10.7.0.0/16 10.0.0.2
10.8.0.0/16 fe80::1 5
10.9.0.0/16 10.0.0.2 9999
10.10.0.0/16 x 5
nonsense
010.1.0.0/16
10.1.0.0/16 10.0.0.8 8
ROUTES
printf '10.11.0.0/16' >>"$scratch/routes"  # without a line end
expected='Loaded routes
  IPv4 lines          6
  IPv6 lines          2
  Without a next hop  0
  Bad lines           8
  Seconds             T
  Routes per second   R

Bad lines
  Line  Problem
  ----  ---------------------------------------------------------------------
     9  '"'10.5.0.0/33' is not a prefix; expected 10.1.0.0/16, ..."'
    10  prefix 10.6.0.1/16 has bits outside of its mask; expected 10.6.0.0/16
    11  gateway 10.0.0.2 has no VLAN; expected PREFIX [ADDRESS VLAN]...
    12  gateway fe80::1 is not of the family of 10.8.0.0/16; expected an ...
    13  VLAN '"'9999'"' is not a number from 1 to 4094
    14  '"'x' is not an IP address; expected 10.0.0.1 or fe80::1"'
    15  '"'nonsense' is not a prefix; expected 10.1.0.0/16, ..."'
    16  '"'010.1.0.0/16' is not a prefix; expected 10.1.0.0/16, ..."'
  ...: cut to fit, --json has it all

IPv4 routes
  Prefix                  VR  Gateway   VLAN  MAC address  Port
  ----------------------  --  --------  ----  -----------  ----
  10.4.0.0/255.255.0.255   3  10.0.0.1     5  -            -
  10.1.0.0/16              3  10.0.0.8     8  -            -
  10.1.0.0/16              3  10.0.0.1     5  -            -
  10.2.0.0/16              3  10.0.0.2     6  -            -
  10.3.0.0/16              3  10.0.0.3     7  -            -
  10.3.0.0/16              3  10.0.0.2     6  -            -
  10.11.0.0/16             3  10.0.0.1     5  -            -

IPv6 routes
  Prefix           VR  Gateway  VLAN
  ---------------  --  -------  ----
  2001:db8:1::/48   3  fe80::9     9
  2001:db8::/32     3  fe80::1     5'
printsExactly "$expected" "route load $scratch/routes via 10.0.0.1 vlan 5 via fe80::1 vlan 5 vr 3" 'show route'

seq -f 'garbage %.0f' 1 29 >"$scratch/garbage"
refuses "file $scratch/garbage has 29 bad lines and no good one; nothing is loaded" \
    "route load $scratch/garbage"
prints 'Bad lines +29$'

# Without next hops to give, a route has none.
printf '10.1.0.0/16\n' >"$scratch/bare"
"$pcsim" --lab 1 -x "route load $scratch/bare" -x 'expect show route -- 10.1.0.0/16.gateway is -' \
    >/dev/null || problem "a bare prefix did not become a route without next hops"
"$pcsim" --lab 1 --json -x "route load $scratch/routes" | python3 -c '
import json, sys
answer = json.load(sys.stdin)[0]["data"]
assert answer["load"]["bad"] == 8 and len(answer["badLines"]) == 8, answer
assert answer["badLines"][0]["line"] == 9, answer
' || problem "a load does not answer in JSON"

# Packed files, and one that is damaged.
if command -v xz >/dev/null; then
    xz -k "$scratch/routes"
    "$pcsim" --lab 1 -x "route load $scratch/routes.xz" | grep -q 'IPv4 lines  *6$' ||
        problem "a packed file is not read"
    head -c 60 "$scratch/routes.xz" >"$scratch/half.xz"
    cut="file $scratch/half.xz can't be unpacked to its end: it is cut or no xz file"
    refuses "$cut" "route load $scratch/half.xz"
    # What can be unpacked is loaded, and reported before the failure.
    for i in {0..99999}; do echo "10.$((i >> 8 & 255)).$((i & 255)).$((i >> 16))/32"; done |
        xz >"$scratch/long.xz"
    truncate -s -1000 "$scratch/long.xz"
    refuses "file $scratch/long.xz can't be unpacked to its end: it is cut or no xz file" \
        "route load $scratch/long.xz"
    prints 'IPv4 lines +[1-9][0-9]+$'
    cp "$scratch/routes" "$scratch/plain.xz"
    refuses "file $scratch/plain.xz can't be unpacked to its end: it is cut or no xz file" \
        "route load $scratch/plain.xz"
fi

# A line of a million characters, and bytes that are no text.
{ head -c 1000000 /dev/zero | tr '\0' x; printf '\n10.1.0.0/16\n'; head -c 5000 /dev/urandom; printf '\n10.2.0.0/16\n'; } >"$scratch/wild"
"$pcsim" --lab 1 -x "route load $scratch/wild" -x 'expect show route -- 10.1.0.0/16.vr is 0' \
    -x 'expect show route -- 10.2.0.0/16.vr is 0' >/dev/null 2>"$scratch/err" ||
    problem "a wild file stopped the load: $(head -c 300 "$scratch/err")"

# What is quoted of a line is short, and nothing that a terminal would act on.
{ printf '\033[31mred\n10.1.0.0/16 '; head -c 300 /dev/zero | tr '\0' y; printf ' 5\n'; printf '%0300d\n10.1.0.0/16\n' 0; } >"$scratch/long"
answers "^ +1  '\?\[31mred' is not a prefix; " "route load $scratch/long"
prints "^ +2  'y{40}\.\.\.' is not an IP address$"
prints "^ +3  '0{40}\.\.\.' is not a prefix$"
grep -qE '^.{81}' "$scratch/out" && problem "the bad lines are wider than 80 columns"

# A table that is cut says how to see more, as long as there is a way.
seq -f '%.0f' 0 100000 | awk '{ print "10." int($1 / 65536) "." int($1 / 256) % 256 "." $1 % 256 "/32" }' >"$scratch/all"
answers "the first 99999 of 100001 routes; 'limit' shows more$" "route load $scratch/all" \
    'show route limit 99999'
answers 'the first 100000 of 100001 routes$' "route load $scratch/all" 'show route limit 100000'

# Long addresses lose their middle for people, not for programs.
long=2001:db8:1111:2222:3333:4444:5555:6666/128
via='via fe80:1111:2222:3333:4444:5555:6666:7777 vlan 4094'
answers '^  2001:db8:1111:2222:3\.\.\.5:6666/128 +0  fe80:1111:2222:3333:\.\.\.:6666:7777 +4094$' \
    "route add $long $via" 'show route'
grep -qE '^.{81}' "$scratch/out" && problem "the routes are wider than 80 columns"
answers "\"$long\"" "route add $long $via" 'show route --json'

# Gateways and neighbors are stations.
for pair in '224.0.0.1:a multicast address' '0.0.0.0:unspecified' \
    '255.255.255.255:the broadcast address'; do
    address=${pair%%:*}
    refuses "$address is ${pair#*:}; expected the address of one station" \
        "neighbor add $address vlan 5 mac 02:00:00:00:00:01 port 1:1"
    refuses "$address is ${pair#*:}; expected the address of one station" \
        "route add 10.0.0.0/8 via $address vlan 5"
done
refuses "ff02::1 is a multicast address; expected the address of one station" \
    'route add fd00::/8 via ff02::1 vlan 5'

# A file of both families with gateways of one: the others are routes without a next hop.
printf '10.1.0.0/16\nfd00:1::/32\nfd00:2::/32 fe80::1 5\n' >"$scratch/both"
answers 'Without a next hop +1$' "route load $scratch/both via 10.0.0.1 vlan 5"
answers 'Without a next hop +0$' "route load $scratch/both via 10.0.0.1 vlan 5 via fe80::9 vlan 5"
answers '"withoutNextHops": 0' "route load $scratch/both --json"

# A load without an end is stopped by a signal at once, and says what it has loaded.
for signal in INT TERM; do
    "$pcsim" --lab 2 --stopped -x 'route load /dev/zero' >"$scratch/out" 2>"$scratch/err" &
    process=$!
    for _ in $(seq 200); do
        readlink /proc/$process/fd/* | grep -qx /dev/zero && break
        sleep 0.05
    done
    kill -$signal $process
    wait $process
    status=$?
    [ $status -eq 1 ] &&
        [ "$(cat "$scratch/err")" = "pcsim: interrupted; file /dev/zero is read in part" ] ||
        problem "SIG$signal on a load: status $status, $(cat "$scratch/err")"
    prints 'IPv4 lines +0$'
done

# A failed load answers in JSON, too.
printf 'x\n' >"$scratch/bad"
refuses "file $scratch/bad has 1 bad line and no good one; nothing is loaded" \
    "route load $scratch/bad --json"
prints '"problem": "'

finish
