#!/usr/bin/env bash
# The doors of pcsim: options, -x and -f in their order, standard input, signals, output that fails.
# usage: commands_doors.sh PCSIM
set -u
. "$(dirname "${BASH_SOURCE[0]}")/console_support.sh"

# printed TEXT WHAT: standard output of the last run.
printed() {
    [ "$(cat "$scratch/out")" = "$1" ] ||
        problem "$2 printed: $(cat "$scratch/out")"$'\n'"  instead of: $1"
}

# Options.
for value in 0 101 four ""; do
    ends 2 "pcsim: --lab needs a number of ports from 1 to 100" --lab "$value"
done
ends 2 "pcsim: --lab needs a number of ports from 1 to 100" --lab
ends 2 "pcsim: --lab may be given once" --lab 1 --lab 2
ends 2 "pcsim: --await needs a number of ports from 1 to 100" --await 0
ends 2 "pcsim: --lab brings its own interfaces; expected --lab or --await" --lab 1 --await 1
ends 2 "pcsim: --shape needs 'stack' or 'chassis'" --shape round
ends 2 "pcsim: --virtual-routers needs a number from 1 to 4096" --virtual-routers 0
ends 2 "pcsim: --execute needs a command, for example -x 'show ports'" -x
ends 2 "pcsim: --json needs no value, or 'lines'" --json=5
ends 2 "pcsim: there is no option --frobnicate; 'pcsim --help' lists them" --lab 1 --frobnicate
example="pcsim --lab 4 -x 'show ports'"
ends 2 "pcsim: 'show' is not an option; commands go behind -x, for example: $example" show ports
no_script="pcsim: --file needs the name of a script, or - for standard input"
ends 2 "$no_script" -f
ends 2 "$no_script" -f ''

labs() {
    local line=$1
    shift
    "$lab" "$@" >"$scratch/out" 2>"$scratch/err"
    said $? 2 "pcsim-nics: $line" "pcsim-nics $*"
}
example="expected a command, for example: pcsim-nics --ports 4 -- ip link"
labs "--ports needs a number from 1 to 2816" --ports 0 -- true
labs "--ports needs a number from 1 to 2816" --ports many -- true
labs "$example" --ports 2
labs "there is no option --frobnicate; 'pcsim-nics --help' lists them" --frobnicate

# A packed script is a script; one that is cut is told where it ends.
printf 'echo packed\nfrob\n' | gzip >"$scratch/script.gz"
ends 1 "pcsim: $scratch/script.gz:2: 'frob' is not a verb; 'help' lists them all" --lab 1 --quiet \
    -f "$scratch/script.gz"
printed packed "a packed script"
{ echo 'echo started'; seq 20000 | sed 's/^/# /'; } | gzip >"$scratch/whole.gz"
head -c 20000 "$scratch/whole.gz" >"$scratch/cut.gz"
"$pcsim" --lab 1 -f "$scratch/cut.gz" >"$scratch/out" 2>"$scratch/err" && problem "a cut script ended well"
grep -q "file $scratch/cut.gz can't be unpacked to its end: it is cut or no" "$scratch/err" ||
    problem "a cut script said: $(cat "$scratch/err")"
# Scripts that can't be read are told before anything boots.
ends 1 "pcsim: file /tmp can't be read: Is a directory" --lab 1 -x 'echo booted' -f /tmp
printed "" "a script that is a directory"
ends 1 "pcsim: file $scratch/none can't be read: No such file or directory" \
    --lab 1 -x 'echo booted' -f "$scratch/none"
printed "" "a missing script"
echo "include /tmp" >"$scratch/folder"
ends 1 "pcsim: $scratch/folder:1: file /tmp can't be read: Is a directory" \
    --lab 1 -f "$scratch/folder"

# -x and -f run in their order.
echo "echo one" >"$scratch/one"
echo "echo two" >"$scratch/two"
ends 0 "" --lab 1 --quiet -f "$scratch/one" -x 'echo between' -f "$scratch/two" -x 'echo end'
printed $'one\n\nbetween\ntwo\n\nend' "-f -x -f -x"

# Standard input: a file, nothing, a pipe.
printf 'echo from a file\necho the end' >"$scratch/in"
ends 0 "" --lab 1 --quiet <"$scratch/in"
printed $'from a file\nthe end' "standard input from a file"
ends 0 "" --lab 1 --quiet </dev/null
printed "" "no input"
ends 0 "" --lab 1 --quiet <&-
export HOME=$scratch
printf 'echo 1\nsleep 1\nfrobnicate\necho 2\n' | ends 1 \
    "pcsim: standard input:3: 'frobnicate' is not a verb; 'help' lists them all" --lab 1 --quiet
printed "1" "a pipe with a problem"
[ ! -e "$scratch/.pcsim_history" ] || problem "commands of a pipe got into the history"
echo "echo piped" | ends 0 "" --lab 1 --quiet -f - -x 'echo end'
printed $'piped\n\nend' "-f -"
ends 1 "pcsim: standard input can't be read: Is a directory" --lab 1 --quiet </tmp
echo "show ports" | "$pcsim" --lab 2 --json | python3 -c '
import json, sys
assert [len(line["data"]["ports"]) for line in json.load(sys.stdin)] == [2]' || problem "JSON through a pipe is no JSON"
# Time goes on while a line is waited for: a link that goes down is seen meanwhile.
{ printf 'cable 1 pull\n'; sleep 3; echo 'expect event "Port 1:1 link down"'; } |
    ends 0 "" --lab 1 --quiet

# A signal ends what waits, and nothing runs after it.
for name in INT TERM; do
    for command in 'sleep 60000' 'wait event "never" within 60000'; do
        interrupted $name "during $command" \
            --lab 1 -x 'echo started' -x "$command" -x 'echo too far'
        grep -q 'too far' "$scratch/out" && problem "a command ran after SIG$name"
    done
done

# Interfaces that somebody brings later are waited for; a signal ends that, too.
"$lab" --ports 2 -- sh -c '(sleep 0.3; ip link add eth3 type veth peer name far3) & exec "$@"' - \
    "$pcsim" --await 3 --quiet -x 'show ports' >"$scratch/out" 2>"$scratch/err"
said $? 0 "" "--await 3"
grep -q '^  1:3 *eth3 ' "$scratch/out" || problem "a port that came late isn't there"
waits="interrupted while waiting for the interface eth3; expected eth1 to eth3"
for name in INT TERM; do
    "$lab" --ports 2 -- timeout --preserve-status -s $name 0.5 "$pcsim" --await 3 -x 'echo too far' \
        >"$scratch/out" 2>"$scratch/err"
    said $? 1 "pcsim: $waits" "--await and SIG$name"
    printed "" "--await and SIG$name"
done
"$lab" --ports 2 -- timeout 0.5 "$pcsim" --await 3 --json=lines >"$scratch/out" 2>"$scratch/err"
grep -q '"code":4,' "$scratch/out" || problem "--await as JSON: $(cat "$scratch/out")"

# Who has been asked to end says so, even when it is asked again while it does: here while nobody
# reads what it says.
asked_twice() {
    local what=$1 line=$2 process
    shift 2
    mkfifo "$scratch/said"
    exec 3<>"$scratch/said"
    head -c 65536 /dev/zero >&3
    "$@" >"$scratch/out" 2>&3 &
    process=$!
    sleep 0.5
    for name in INT TERM INT; do
        kill "-$name" $process
        sleep 0.2
    done
    head -c 65536 <&3 >/dev/null
    wait $process
    local status=$?
    timeout 1 cat <&3 >"$scratch/err"
    exec 3>&-
    rm "$scratch/said"
    said $status 1 "$line" "$what, asked twice"
}
asked_twice "a wait" "pcsim: interrupted" "$pcsim" --lab 1 -x 'sleep 60000'
asked_twice "--await" "pcsim: ${waits/interface eth3/interface eth1}" "$pcsim" --await 3

# Output that can't be written, and a reader that has gone.
full="pcsim: standard output can't be written: No space left on device"
"$pcsim" --lab 1 -x 'show family' -x 'show ports' >/dev/full 2>"$scratch/err"
said $? 1 "$full" "a full disk"
"$pcsim" --help >/dev/full 2>"$scratch/err"
said $? 1 "$full" "help on a full disk"
"$pcsim" --lab 1 -x 'show family' 2>"$scratch/err" | head -1 >/dev/null
said 0 0 "" "a reader that has gone"
(
    trap '' PIPE
    "$pcsim" --lab 1 -x 'show family' -x 'show family' 2>"$scratch/err"
) | head -1 >/dev/null
said 0 0 "" "a reader that has gone while SIGPIPE is ignored"

# Includes.
mkdir "$scratch/a" "$scratch/a/b"
echo "include b/inner" >"$scratch/a/outer"
printf 'include ../last\n' >"$scratch/a/b/inner"
echo "echo found" >"$scratch/a/last"
ends 0 "" --lab 1 --quiet -f "$scratch/a/outer"
printed "found" "includes beside their scripts"
printf '\ninclude self\n' >"$scratch/self"
ends 1 "pcsim: $scratch/self:2: the script includes itself" --lab 1 --quiet -f "$scratch/self"
echo "include pong" >"$scratch/ping"
echo "include ping" >"$scratch/pong"
ends 1 "pcsim: $scratch/ping:1: $scratch/pong:1: $scratch/ping includes itself by way of $scratch/pong" \
    --lab 1 --quiet -f "$scratch/ping"

# What a terminal would take for more than characters.
printf 'frob\033[31m\001\302\233\377n\303\244h\n' >"$scratch/wild"
ends 1 "pcsim: $scratch/wild:1: 'frob?[31m????näh' is not a verb; 'help' lists them all" \
    --lab 1 --quiet -f "$scratch/wild"
printf 'echo a\033[31m\tb\n' >"$scratch/wild"
ends 0 "" --lab 1 --quiet --echo -f "$scratch/wild"
printed "a?[31m b" "echo of control characters"
head -c 100000 /dev/zero >"$scratch/zeros"
ends 1 "pcsim: $scratch/zeros:1: the line is longer than 65536 bytes; is this a script?" \
    --lab 1 --quiet -f "$scratch/zeros"

# A byte-order mark is no part of the first line; a NUL is in no script.
printf '\xef\xbb\xbfecho marked\n' >"$scratch/marked"
"$pcsim" --lab 1 --quiet -f "$scratch/marked" >"$scratch/out" 2>"$scratch/err" ||
    problem "a byte-order mark was refused: $(cat "$scratch/err")"
prints '^marked$'
printf 'echo one\necho t\0wo\n' >"$scratch/nul"
ends 1 "pcsim: $scratch/nul:2: the line has a NUL byte in it; expected a script of plain text (UTF-8)" \
    --lab 1 --quiet -f "$scratch/nul"
prints '^one$'

# Cables without a port are told.
shows 'No port is behind cables 13 to 14: the cards. ports are eth1 to eth12' \
    --lab 14 --stopped -x 'show events limit 100'
shows 'No port is behind cable 13: ' --lab 13 --stopped -x 'show events limit 100'
"$pcsim" --lab 12 --stopped -x 'show events limit 100' | grep 'No port is behind' &&
    problem "twelve cables have a port each"

finish
