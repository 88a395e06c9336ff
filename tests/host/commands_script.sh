#!/usr/bin/env bash
# Scripts: variables, blocks, lines that fail and are passed over, test reports, exit statuses.
# usage: commands_script.sh PCSIM
set -u
here=$(dirname "${BASH_SOURCE[0]}")
. "$here/console_support.sh"
export PYTHONDONTWRITEBYTECODE=1
options+=(--quiet)

# script NAME LINE...: a script of these lines.
script() {
    local name=$scratch/$1
    shift
    printf '%s\n' "$@" >"$name"
}

# printed TEXT: standard output of the last run.
printed() {
    [ "$(cat "$scratch/out")" = "$1" ] ||
        problem "printed: $(cat "$scratch/out")"$'\n'"  instead of: $1"
}

# reports PROGRAM: a Python program that looks at the last run's reports: 'tap', a list of
# (good, name, facts), and 'junit', the same with (kind, message, seconds) as facts.
reports() {
    python3 "$here/test_reports.py" "$scratch/tap" "$scratch/junit" "$1" ||
        problem "the reports are not as they should be: $(cat "$scratch/tap" "$scratch/junit")"
}
with_reports=(--report tap "$scratch/tap" --report junit "$scratch/junit")

# Variables from the command line and of lines.
ends 0 "" "${options[@]}" -D port=1:1 -D 'text=a  "b"=' -x 'show port $port' -x 'echo $text' \
    -x 'set port 1:2' -x 'echo ${port}.$$'
prints '^ +Port +1:1'
prints '^a  "b"=$'
prints '^1:2\.\$$'
for wrong in port 1x=2 status=1 =; do
    timeout 20 "$pcsim" -D "$wrong" >"$scratch/out" 2>"$scratch/err"
    [ $? -eq 2 ] || problem "-D $wrong did not end with 2: $(cat "$scratch/err")"
done
ends 2 "pcsim: --define needs NAME=VALUE, for example -D port=1:1" -D port
refuses "there is no variable 'home'; expected one of a, status" 'set a 1' 'echo $home'
answers '^ +status +0$' 'set'

# Scripts have the variables of who includes them, and may set them.
script inner 'echo in $a' 'set a 2'
script outer 'set a 1' 'include inner' 'echo out $a'
ends 0 "" "${options[@]}" -f "$scratch/outer"
printed $'in 1\nout 2'

# Blocks.
script blocks 'repeat 2 as turn' '  repeat 2' '    echo $turn.$n' '  end' 'end'
ends 0 "" "${options[@]}" -f "$scratch/blocks"
printed $'1.1\n1.2\n2.1\n2.2'
ends 0 "" "${options[@]}" <"$scratch/blocks"
printed $'1.1\n1.2\n2.1\n2.2'
ends 0 "" "${options[@]}" -x 'repeat 3' -x 'echo $n' -x end
printed $'1\n2\n3'
script unended 'echo a' 'repeat 2' 'echo b'
wrong="'repeat' has no 'end'; expected a line 'end' behind its lines"
ends 1 "pcsim: $scratch/unended:2: $wrong" "${options[@]}" -f "$scratch/unended"
ends 1 "pcsim: $wrong" "${options[@]}" -x 'repeat 2'
ends 1 "pcsim: $wrong" "${options[@]}" -x 'repeat 2' -f "$scratch/blocks"
script failing 'repeat 3' '' 'expect show ports -- count at-least $n' 'end'
ends 1 "pcsim: $scratch/failing:3: expected show ports -- count at-least 3, but count is 2" \
    "${options[@]}" -f "$scratch/failing"
time_before=$(date +%s)
succeeds 'repeat 1000000' 'end'
[ $(($(date +%s) - time_before)) -lt 20 ] || problem "a million empty turns took too long"
interrupted INT "in a block" \
    "${options[@]}" -x 'echo started' -x 'repeat 1000000' -x 'show family' -x end

# A load runs its lines by itself, so a block in it has no end.
script state 'vlan create 5' 'repeat 2' 'vlan create 6' 'end'
"$pcsim" "${options[@]}" -k -x "load $scratch/state" -x 'echo still here' >"$scratch/out" 2>&1
prints "2 +'repeat' begins a block on a line of its own"
prints '^still here$'

# Statuses.
ends 7 "" "${options[@]}" -x 'quit 7' -x 'echo too far'
printed ""
ends 0 "" "${options[@]}" -x quit
script leaves 'repeat 3' 'quit 3' 'end' 'echo too far'
script enters "include leaves" 'echo too far'
ends 3 "" "${options[@]}" -f "$scratch/enters" -x 'echo too far'
printed ""
refuses "status '256' is not a number from 0 to 255" 'quit 256'

# Lines that fail are passed over, each is told.
script bad 'echo one' 'frob' 'echo two' 'expect show ports -- count is 3'
script all "include bad" 'echo three'
ends 1 "pcsim: $scratch/bad:2: 'frob' is not a verb; 'help' lists them all
pcsim: $scratch/bad:4: expected show ports -- count is 3, but count is 2
pcsim: 'x' is not a verb; 'help' lists them all" \
    "${options[@]}" --keep-going -f "$scratch/all" -x x -x 'echo $status'
printed $'one\ntwo\nthree\n\n2'
ends 5 "pcsim: 'x' is not a verb; 'help' lists them all" "${options[@]}" -k -x x -x 'quit 5'
ends 0 "" "${options[@]}" -k -x 'echo fine'

# Test reports.
script tests 'set p 1:1' 'expect show port $p -- link is up   # <&"]]>' 'wait event "link up"' \
    'expect show ports -- count is 3' 'frob' 'expect no' $'echo \033[31m'
ends 1 "pcsim: $scratch/tests:4: expected show ports -- count is 3, but count is 2
pcsim: $scratch/tests:5: 'frob' is not a verb; 'help' lists them all
pcsim: $scratch/tests:6: 'no' is not complete; expected event TEXT, no event TEXT, or SHOW... -- VALUE is|not|contains|not-contains|matches|at-least|at-most|more-than|less-than TEXT" \
    "${options[@]}" -k "${with_reports[@]}" -f "$scratch/tests"
reports '
names = ["2: expect show port 1:1 -- link is up", "3: wait event \"link up\"",
         "4: expect show ports -- count is 3", "5: frob", "6: expect no"]
for cases in tap, junit:
    same([good for good, _, _ in cases], [True, True, False, False, False])
    same([name.split("/tests:")[1] for _, name, _ in cases], names)
same([facts.get("severity") for _, _, facts in tap], [None, None, "fail", "error", "error"])
same([facts["kind"] for _, _, facts in junit], [None, None, "failure", "error", "error"])
same(tap[2][2]["message"], "expected show ports -- count is 3, but count is 2")
same(junit[2][2]["message"], tap[2][2]["message"])
same(tap[2][2]["line"], 4)
assert all(facts["duration_ms"] >= 0 for _, _, facts in tap)
assert all(float(facts["time"]) >= 0 for _, _, facts in junit)'

# Names are made of whatever stands in a line.
printf 'expect event "\033\001\377 <a&b> # \\ \xef\xbf\xbe \xc3\xa4\t."\n' >"$scratch/wild"
"$pcsim" "${options[@]}" "${with_reports[@]}" -f "$scratch/wild" >"$scratch/out" 2>"$scratch/err"
reports '
same(tap[0][1].split("wild:1: ")[1], "expect event \"??? <a&b> # \\ \ufffe \u00e4\t.\"")
same(junit[0][1].split("wild:1: ")[1], "expect event \"??? <a&b> # \\ ? \u00e4\t.\"")'

# However the run ends, the reports are whole.
ends 1 "pcsim: 'frob' is not a verb; 'help' lists them all" "${options[@]}" "${with_reports[@]}" \
    -x 'expect event "link up"' -x frob -x 'expect event "x"'
reports 'same([(good, name) for good, name, _ in tap],
              [(True, "expect event \"link up\""), (False, "frob")])'
ends 4 "" "${options[@]}" "${with_reports[@]}" -x 'expect event "link up"' -x 'quit 4'
reports 'same(len(tap), 1); same(len(junit), 1)'
ends 0 "" "${options[@]}" "${with_reports[@]}" -x 'echo nothing to test'
reports 'same(tap, []); same(junit, [])'
ends 1 "pcsim: library /nowhere.so can't be opened: No such file or directory; build it or name it with --library" \
    --library /nowhere.so "${with_reports[@]}" -x 'echo a'
reports 'same([name for _, name, _ in tap], ["run"]); same(junit[0][2]["kind"], "error")'
for name in INT TERM; do
    interrupted $name "with reports" --lab 1 "${with_reports[@]}" -x 'expect event "boot"' \
        -x 'echo started' -x 'wait event "never" within 60000'
    reports 'same([good for good, _, _ in tap], [True, False]); same(tap[1][2]["message"], "interrupted")'
done

# Files that can't be written are told before anything boots, and those that become full.
ends 1 "pcsim: report $scratch/no/tap can't be written: No such file or directory" \
    --report tap "$scratch/no/tap" -x 'echo booted'
printed ""
ends 1 "pcsim: report /dev/full can't be written: No space left on device" \
    "${options[@]}" --report tap /dev/full -x 'expect event "boot"'
ends 1 "pcsim: report /dev/full can't be written: No space left on device" \
    "${options[@]}" --report junit /dev/full -x 'expect event "boot"'

# Until the run has ended the file is what it was: on a disk that is full, and when pcsim is killed.
mkdir "$scratch/reports"
former() {
    printf 'former\n' | tee "$scratch/reports/tap" >"$scratch/reports/junit"
}
stays() {
    local name
    for name in tap junit; do
        [ "$(cat "$scratch/reports/$name")" = former ] ||
            problem "$1: the former $name is now: $(cat "$scratch/reports/$name")"
    done
    [ "$(ls "$scratch/reports")" = $'junit\ntap' ] || problem "$1: there is $(ls "$scratch/reports")"
}
printf 'repeat 40\nexpect show ports -- count is 2\nend\n' >"$scratch/many"
for form in tap junit; do
    former
    (fill_disk
        "$pcsim" "${options[@]}" --report $form "$scratch/reports/$form" -f "$scratch/many" \
            >"$scratch/out" 2>"$scratch/err")
    said $? 1 "pcsim: report $scratch/reports/$form can't be written: File too large" "a full disk"
    stays 'a full disk'
done
former
"$pcsim" "${options[@]}" --report tap "$scratch/reports/tap" --report junit \
    "$scratch/reports/junit" -x 'expect event "boot"' -x 'echo started' \
    -x 'time run' -x 'wait event "never" within 600000' >"$scratch/out" 2>&1 &
killed=$!
for _ in $(seq 400); do
    grep -q started "$scratch/out" && break
    sleep 0.05
done
kill -KILL $killed
wait $killed 2>/dev/null
stays 'a run that is killed'

needs="pcsim: --report needs 'tap' or 'junit', and the name of a file"
ends 2 "$needs" --report tap
ends 2 "$needs" --report xml "$scratch/tap"
ends 2 "pcsim: --report needs a file; standard output is the run's own" --report tap -
ends 2 "pcsim: --report needs a file of its own for each report; $scratch/tap is named twice" \
    --report tap "$scratch/tap" --report junit "$scratch/tap"

finish
