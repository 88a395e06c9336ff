#!/usr/bin/env bash
# pcsim from the outside: exit statuses, the one clear line of each problem, JSON, scripts.
# usage: commands.sh PCSIM
set -u
. "$(dirname "${BASH_SOURCE[0]}")/console_support.sh"

shows 'VORN-VM' --lab 2 -x 'show chassis'
shows 'KT-PC' --lab 2 --shape chassis -x 'show chassis'
shows '"model":"VORN-VM"' --lab 2 --json -x 'show chassis'
shows '"model": "VORN-VM"' --lab 2 -x 'show chassis --json'
shows '1:2 +eth2 +enabled' --lab 2 -x 'show ports'
shows 'PCSimStack' --lab 2 -x 'show capability'
shows 'platform timer' --lab 2 -x 'show timers'
shows 'Sys +0x52' --lab 2 -x 'show log'
shows 'eth2 +yes +yes' --lab 2 -x 'show nics'
shows 'eth2 +no +no .* no +plugged' --lab 2 -x 'port 1:2 disable' -x 'show nics'
shows 'eth2 +no +no .* no +pulled' --lab 2 -x 'cable 2 pull' -x 'port 1:2 disable' -x 'show nics'
shows 'Received packets +0' --lab 2 -x 'show counters 1:1'

ends 1 "pcsim: 'frobnicate' is not a verb; 'help' lists them all" --lab 2 -x frobnicate
ends 1 "pcsim: port 1:9 does not exist; ports are 1:1 to 1:2" --lab 2 -x 'show port 1:9'
ends 1 "pcsim: '1x' is not a port; expected SLOT:PORT, for example 1:2" --lab 2 -x 'show port 1x'
ends 1 "pcsim: slot 5 does not exist; slots are 1 to 1" --lab 2 -x 'show card 5'
ends 1 "pcsim: cable 7 does not exist; cables are 0 to 2" --lab 2 -x 'cable 7 pull'
ends 1 "pcsim: count '0' is not a number from 1 to 1000000" --lab 2 -x 'cable 1 send 0'
ends 1 "pcsim: 'Frob' is not a component; expected Sys, Card, Port, VLAN, FDB, trace" \
    --lab 2 -x 'trace Frob 5'
ends 1 "pcsim: the clock is running; 'time stop' comes first" --lab 2 -x 'time warp 5'
ends 1 "pcsim: there are no cables: start with --lab PORTS to have a lab" -x 'cable 1 pull'
ends 1 "pcsim: library /nowhere/lib.so can't be opened: No such file or directory; build it or name it with --library" \
    --lab 1 --library /nowhere/lib.so -x 'show chassis'
echo "no library" >"$scratch/text"
# The fifth byte of a program or library says its word size; of one of the other the first five do.
if [ "$(head -c 5 "$pcsim" | tail -c 1)" = $'\1' ]; then
    library="a 32-bit i386 shared library" other=64-bit foreign=$(readlink -f /bin/true)
else
    library="a 64-bit shared library" other=32-bit foreign=$scratch/foreign
    printf '\177ELF\1\1\1\0\0\0\0\0\0\0\0\0' >"$foreign"
fi
ends 1 "pcsim: library $scratch/text is not an ELF file; expected $library" \
    --lab 1 --library "$scratch/text" -x 'show chassis'
ends 1 "pcsim: library $foreign is of the wrong class ($other); expected $library" \
    --lab 1 --library "$foreign" -x 'show chassis'
mii=$(dirname "$pcsim")/libpcsim-mii.so.0
ends 1 "pcsim: library $mii has no entry point platformSystemInit; is it a platform library?" \
    --lab 1 --library "$mii" -x 'show chassis'

printf '# a comment\n\nshow chassis\nport 1:1 explode\nshow slots\n' >"$scratch/bad"
ends 1 "pcsim: $scratch/bad:4: 'explode' is not known after 'port 1:1'; expected enable|disable|restart, autoneg" \
    --lab 1 -f "$scratch/bad"
printf 'expect show slots -- 1.card is Nothing\n' >"$scratch/expect"
ends 1 "pcsim: $scratch/expect:1: expected show slots -- 1.card is Nothing, but 1.card is PCSimStack" \
    --lab 1 -f "$scratch/expect"
printf 'time stop\nwait event "never" within 60000\n' >"$scratch/wait"
ends 1 "pcsim: $scratch/wait:2: expected event never within 60000 ms, but no event \"never\"" \
    --lab 1 -f "$scratch/wait"
finish
