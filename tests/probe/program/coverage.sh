#!/usr/bin/env bash
# Coverage files shown and added up, and what is said of files that are none.
# usage: coverage.sh PCSIM-PROBE
set -u
. "$(dirname "${BASH_SOURCE[0]}")/support.sh"
cd "$scratch" || exit 1

# file NAME RUNS PLATFORM [HOST]
file() {
    printf '{"format": "pcsim-coverage-1", "runs": %s, "platform": {%s}, "host": {%s}}' \
        "$2" "$3" "${4:-}" >"$1"
}
none='{"calls": 0, "failures": 0, "nulls": 0}'
file a 1 "\"fdbAdd\": {\"calls\": 3, \"failures\": 1, \"nulls\": 0}, \"fdbInit\": $none, \"vlanAdd\": $none" \
    '"halTime": {"calls": 9, "failures": 0, "nulls": 0}'
file b 2 "\"fdbAdd\": {\"calls\": 2, \"failures\": 0, \"nulls\": 2, \"totalNs\": 3000000, \"longestNs\": 2000000},
    \"vlanAdd\": {\"calls\": 1, \"failures\": 0, \"nulls\": 0}"

succeeds coverage show a
shows '^ *Operations offered +3$'
shows '^ *Percent +33$'
shows '^ *fdbAdd +3 +1 +0$'
shows '^ *halTime +9 +0 +0$'
shows '^ *fdbInit$'
succeeds coverage merge a b
shows '^ *Runs +3$'
shows '^ *Operations called +2$'
shows '^ *fdbAdd +5 +1 +2 +3.00 +2.00$'
succeeds coverage merge a b --json
shows '"percent": 66'
succeeds coverage merge -o sum a b
succeeds coverage merge --json sum
shows '"calls": 5'
succeeds coverage merge --output=sum2 sum
cmp -s sum sum2 || problem "a sum of one file is another file"

succeeds coverage merge --fail-under 66 a b
refuses 1 "66 % of 3 operations were called; expected at least 67 %" coverage merge a b --fail-under 67
refuses 1 "33 % of 3 operations were called; expected at least 80 %" coverage merge a --fail-under=80 -o kept
[ -s kept ] || problem "the sum is missing when it is too little"

refuses 2 "expected 'coverage show FILE' or 'coverage merge FILE...'" coverage
refuses 2 "expected 'coverage show FILE' or 'coverage merge FILE...'" coverage mrege a
refuses 2 "expected a coverage file behind 'merge'" coverage merge
refuses 2 "'coverage show' takes one file; 'coverage merge' adds up several" coverage show a b
refuses 2 "--fail-under needs a percentage from 0 to 100" coverage merge a --fail-under 101
refuses 2 "--output may be given once" coverage merge -o x a -o y
refuses 2 "there is no option --frob; 'pcsim-probe coverage --help' lists them" coverage merge --frob a

refuses 1 "no-such can't be read: No such file or directory" coverage show no-such
not="is no coverage file; 'pcsim-probe --coverage FILE -- PROGRAM' writes one"
for text in '' 'text' '[]' '{}' '{"format": 5}' '{"format": "pcsim-coverage-1"'; do
    printf '%s' "$text" >bad
    refuses 1 "bad $not" coverage merge a bad
done
printf '{"format": "pcsim-coverage-2"}' >bad
refuses 1 "bad is of another version: its format is 'pcsim-coverage-2', expected 'pcsim-coverage-1'" \
    coverage show bad
printf '{"format": "pcsim-coverage-1", "runs": 1, "host": {}}' >bad
refuses 1 "bad is damaged: it has no 'platform'" coverage show bad
file bad 1 '"fdbAdd": {"calls": -1, "failures": 0, "nulls": 0}'
refuses 1 "bad is damaged: fdbAdd has no 'calls' that is a count" coverage show bad
file bad 1 '"fdbAdd": 5'
refuses 1 "bad is damaged: fdbAdd has no 'calls' that is a count" coverage show bad
refuses 1 "/no/such/file can't be written: No such file or directory" coverage merge a -o /no/such/file
"$probe" coverage show a >/dev/full 2>err && problem "a full disk is no problem"
[ "$(cat err)" = "pcsim-probe: standard output can't be written: No space left on device" ] ||
    problem "a full disk: $(cat err)"

finish
