#!/usr/bin/env bash
# Files packed with xz, gzip and zstd, from the outside: read by every load, written by name, and
# what is said when they are damaged or the program is missing.
# usage: commands_packed.sh PCSIM
set -u
. "$(dirname "$0")/console_support.sh"

printf '10.1.0.0/16\n10.2.0.0/16\n' >"$scratch/routes"
printf '02:00:00:00:00:01 10 1:1 static\n' >"$scratch/macs"
printf '225.0.0.1\n' >"$scratch/groups"
printf 'rule all permit\n' >"$scratch/list"
for i in {0..99999}; do echo "10.$((i >> 8 & 255)).$((i & 255)).$((i >> 16))/32"; done >"$scratch/long"

declare -A ending=([xz]=xz [gzip]=gz [zstd]=zst) package=([xz]=xz-utils [gzip]=gzip [zstd]=zstd)
for program in xz gzip zstd; do
    e=${ending[$program]}
    for file in routes macs groups list long; do "$program" -c <"$scratch/$file" >"$scratch/$file.$e"; done

    # Every verb that reads lines.
    answers '^  IPv4 lines +2$' "route load $scratch/routes.$e"
    answers '^  Added +1$' "fdb load $scratch/macs.$e create-vlans"
    answers '^  New caches +1$' 'vlan create 10' "mcast load $scratch/groups.$e iif 10"
    answers '^  all +1  permit$' "acl load a $scratch/list.$e" 'show acl a'

    # Cut, of another kind, and empty: one line each, after what could be unpacked.
    bad="can't be unpacked to its end: it is cut or no $program file"
    size=$(stat -c %s "$scratch/long.$e")
    head -c $((size - size / 4)) "$scratch/long.$e" >"$scratch/half.$e"
    refuses "file $scratch/half.$e $bad" "route load $scratch/half.$e"
    prints '^  IPv4 lines +[0-9]+$'
    cp "$scratch/routes" "$scratch/plain.$e"
    refuses "file $scratch/plain.$e $bad" "route load $scratch/plain.$e"
    # A list of which the end is missing is none.
    refuses "file $scratch/plain.$e $bad" "acl load a $scratch/plain.$e"
    refuses "file $scratch/none.$e can't be read: No such file or directory" \
        "route load $scratch/none.$e"

    # Without the program.
    mkdir -p "$scratch/nothing"
    PATH=$scratch/nothing "$pcsim" "${options[@]}" -x "route load $scratch/routes.$e" \
        >/dev/null 2>"$scratch/err"
    said $? 1 "pcsim: file $scratch/routes.$e can't be unpacked: $program: No such file or directory; install ${package[$program]}, or take a file that is not packed" 'a load without the program'

    # No child is left behind, whatever became of the file, and no descriptor.
    run "route load $scratch/half.$e" >/dev/null
    cat >"$scratch/left" <<LINES
route load $scratch/routes.$e
route load $scratch/long.$e
echo done
wait event "never" within 60000
LINES
    "$pcsim" --lab 2 -f "$scratch/left" >"$scratch/out" 2>/dev/null &
    busy=$!
    for _ in {1..100}; do grep -q '^done$' "$scratch/out" && break; sleep 0.1; done
    [ -z "$(pgrep -P $busy)" ] || problem "$program is left behind: $(pgrep -aP $busy)"
    ls -l /proc/$busy/fd | grep -q "$scratch.*\.$e" && problem "a packed file stays open"
    kill $busy
    wait $busy 2>/dev/null

    # A load that is interrupted while it waits for the program ends at once, and so does that.
    mkfifo "$scratch/endless.$e"
    "$pcsim" --lab 2 -x "route load $scratch/endless.$e" >/dev/null 2>"$scratch/err" &
    busy=$!
    exec 9>"$scratch/endless.$e"
    for _ in {1..100}; do [ -n "$(pgrep -P $busy "$program")" ] && break; sleep 0.1; done
    child=$(pgrep -P $busy "$program")
    kill -INT $busy
    wait $busy
    said $? 1 "pcsim: interrupted; file $scratch/endless.$e is read in part" 'an interrupted load'
    [ -n "$child" ] || problem "$program did not run"
    kill -0 "$child" 2>/dev/null && problem "$program outlives the load that was interrupted"
    exec 9>&-

    # Written by name, too.
    answers '^  Routes +2$' "route load $scratch/routes" "route save $scratch/saved.$e"
    "$program" -dc "$scratch/saved.$e" | cmp -s - "$scratch/routes" ||
        problem "saving $program wrote something else"
    PATH=$scratch/nothing "$pcsim" "${options[@]}" -x "route save $scratch/new.$e" >/dev/null 2>"$scratch/err"
    said $? 1 "pcsim: file $scratch/new.$e can't be packed: $program: No such file or directory; install ${package[$program]}, or take a file that is not packed" 'a save without the program'
    ls "$scratch" | grep -q "^new\.$e" && problem "a save that failed leaves a file behind"
done
finish
