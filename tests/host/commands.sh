#!/usr/bin/env bash
# pcsim from the outside: exit statuses, the one clear line of each problem, JSON, scripts.
# usage: commands.sh PCSIM
set -u
pcsim=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failures=0

problem() {
    printf 'FAILED: %s\n' "$*"
    failures=$((failures + 1))
}

# refuses STATUS LINE ARGUMENT...: pcsim ends with STATUS, says LINE on standard error, nothing else.
refuses() {
    local status=$1 line=$2
    shift 2
    "$pcsim" "$@" >"$scratch/out" 2>"$scratch/err"
    local got=$?
    [ $got -eq "$status" ] || problem "'$*' ended with $got, not $status"
    [ "$(cat "$scratch/err")" = "pcsim: $line" ] ||
        problem "'$*' said: $(cat "$scratch/err")"$'\n'"  instead of: pcsim: $line"
}

# answers PATTERN ARGUMENT...: pcsim succeeds and prints a line that matches.
answers() {
    local pattern=$1
    shift
    "$pcsim" "$@" >"$scratch/out" 2>"$scratch/err" || problem "'$*' failed: $(cat "$scratch/err")"
    grep -qE -- "$pattern" "$scratch/out" || problem "'$*' printed no '$pattern': $(cat "$scratch/out")"
}

. "$(dirname "${BASH_SOURCE[0]}")/need_lab.sh"

answers 'VORN-VM' --lab 2 -x 'show chassis'
answers 'KT-PC' --lab 2 --shape chassis -x 'show chassis'
answers '"model": "VORN-VM"' --lab 2 --json -x 'show chassis'
answers '"model": "VORN-VM"' --lab 2 -x 'show chassis --json'
answers '1:2 +eth2 +enabled' --lab 2 -x 'show ports'
answers 'PCSimStack' --lab 2 -x 'show capability'
answers 'platform timer' --lab 2 -x 'show timers'
answers 'Sys +0x52' --lab 2 -x 'show log'
answers 'eth2 +yes +yes' --lab 2 -x 'show nics'
answers 'Received packets +0' --lab 2 -x 'show counters 1:1'

refuses 1 "'frobnicate' is not a verb; 'help' lists them all" --lab 2 -x frobnicate
refuses 1 "port 1:9 does not exist; ports are 1:1 to 1:2" --lab 2 -x 'show port 1:9'
refuses 1 "'1x' is not a port; expected SLOT:PORT, for example 1:2" --lab 2 -x 'show port 1x'
refuses 1 "slot 5 does not exist; slots are 1 to 1" --lab 2 -x 'show card 5'
refuses 1 "cable 7 does not exist; cables are 0 to 2" --lab 2 -x 'cable 7 pull'
refuses 1 "count '0' is not a number from 1 to 1000000" --lab 2 -x 'cable 1 send 0'
refuses 1 "'Frob' is not a component; expected Sys, Card, Port, VLAN, FDB, trace" \
    --lab 2 -x 'trace Frob 5'
refuses 1 "the clock is running; 'time stop' comes first" --lab 2 -x 'time warp 5'
refuses 1 "there are no cables: start with --lab PORTS to have a lab" -x 'cable 1 pull'
refuses 1 "library /nowhere/lib.so can't be opened: No such file or directory; build it or name it with --library" \
    --lab 1 --library /nowhere/lib.so -x 'show chassis'
echo "no library" >"$scratch/text"
refuses 1 "library $scratch/text is not an ELF file; expected a 32-bit i386 shared library" \
    --lab 1 --library "$scratch/text" -x 'show chassis'
refuses 1 "library $(readlink -f /bin/true) is of the wrong class (64-bit); expected a 32-bit i386 shared library" \
    --lab 1 --library "$(readlink -f /bin/true)" -x 'show chassis'
mii=$(dirname "$pcsim")/libpcsim-mii.so.0
refuses 1 "library $mii has no entry point platformSystemInit; is it a platform library?" \
    --lab 1 --library "$mii" -x 'show chassis'

printf '# a comment\n\nshow chassis\nport 1:1 explode\nshow slots\n' >"$scratch/bad"
refuses 1 "$scratch/bad:4: 'explode' is not known after 'port 1:1'; expected enable|disable|restart, autoneg" \
    --lab 1 -f "$scratch/bad"
printf 'expect show slots -- 1.card is Nothing\n' >"$scratch/expect"
refuses 1 "$scratch/expect:1: expected show slots -- 1.card is Nothing, but 1.card is PCSimStack" \
    --lab 1 -f "$scratch/expect"
printf 'time stop\nwait event "never" within 60000\n' >"$scratch/wait"
refuses 1 "$scratch/wait:2: expected event never within 60000 ms, but no event \"never\"" \
    --lab 1 -f "$scratch/wait"
[ $failures -eq 0 ] || exit 1
echo "all commands answered as they should"
