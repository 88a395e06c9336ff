#!/usr/bin/env bash
# The console's own verbs: help, expect and wait, faults. usage: commands_console.sh PCSIM
set -u
. "$(dirname "${BASH_SOURCE[0]}")/console_support.sh"

succeeds() {
    run "$@" || problem "'$*' failed: $(cat "$scratch/err")"
}

# Relations and numbers.
relations="is no relation; expected is, not, contains, at-least or at-most"
refuses "'equals' $relations" 'expect show ports -- 1:1.link equals down'
refuses "'equals' $relations" 'expect show ports -- 9:9.link equals down'
refuses "'-- 1:1.link is up' is not complete; expected event TEXT, no event TEXT, or SHOW... -- VALUE is|not|contains|at-least|at-most TEXT" \
    'expect -- 1:1.link is up'
refuses "'equals' $relations" 'wait show ports -- count equals 2 within 10'
refuses "'up' is not a number; at-least and at-most compare numbers" \
    'expect show ports -- 1:1.link at-most 5'
succeeds 'expect show ports -- count at-least -3'
succeeds 'expect show ports -- count at-most 2'
refuses "expected show ports -- count at-most -3, but count is 2" \
    'expect show ports -- count at-most -3'
fault='fault pcSimCardPortRestart count 1 returns -7'
succeeds "$fault" 'expect show faults -- pcSimCardPortRestart.returns at-least -7'
succeeds "$fault" 'expect show faults -- pcSimCardPortRestart.returns at-most -6'
refuses "expected show faults -- pcSimCardPortRestart.returns at-least -6, but pcSimCardPortRestart.returns is -7" \
    "$fault" 'expect show faults -- pcSimCardPortRestart.returns at-least -6'
refuses "'within' is not complete; expected a number of ms from 0 to 86400000" 'wait event "x" within'
refuses "expected event never within 5000 ms, but no event \"never\"" 'wait event never'
refuses "returns 'x' is not a number from -2147483647 to 2147483647" \
    'fault pcSimCardPortRestart returns x'

# Help.
answers '^  quit  +end the session' 'help'
for limit in help 'show events' 'show log'; do
    run "$limit"
    [ "$(wc -L <"$scratch/out")" -le 80 ] || problem "'$limit' is wider than 80 columns"
done
answers '^  fdb find <mac>' 'help fdb'
grep -q '^  show' "$scratch/out" && problem "'help fdb' listed other verbs"
answers '^  show fdb' 'help about fdb'
answers '^  show ports' 'help show ports'
refuses "no verb begins with 'frob'; 'help' lists them all, 'help about WORD' looks inside" 'help frob'
refuses "no verb has 'frob' in it; 'help' lists them all" 'help about frob'
refuses "'quit' takes nothing more; got 'now'" 'quit now'
run 'exit' 'echo too far'
[ "$(cat "$scratch/out")" = "" ] || problem "'exit' did not end the session"

# Warping stops at a signal.
"$pcsim" --lab 2 --stopped -x 'echo started' -x 'time warp 86400000' >"$scratch/out" 2>"$scratch/err" &
process=$!
for _ in $(seq 100); do
    grep -q started "$scratch/out" && break
    sleep 0.05
done
kill -INT $process
wait $process
[ $? -eq 1 ] && [ "$(cat "$scratch/err")" = "pcsim: interrupted" ] ||
    problem "an interrupted warp said: $(cat "$scratch/err")"

finish
