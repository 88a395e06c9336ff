#!/usr/bin/env bash
# The library by path: a test executable is run against other files than the one it was linked with.
#
#   by_path.sh copy EXECUTABLE LIBRARY            all cases but the long model tests pass against a
#                                                 copy of the library
#   by_path.sh changed EXECUTABLE LIBRARY CASE OLD NEW
#                                                 the case passes against a copy, and fails against
#                                                 one whose text OLD reads NEW, of the same length
#   by_path.sh refused EXECUTABLE LIBRARY OTHER   what is no library, or another one, ends the run
set -euo pipefail
kind=$1 executable=$2 library=$3
shift 3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
copy=$scratch/elsewhere.so
cp "$library" "$copy"

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

# against LIBRARY CASE: runs one case.
against() { PCSIM_TEST_LIBRARY=$1 "$executable" --gtest_filter="$2" >"$scratch/log" 2>&1; }

# Full names, as --gtest_filter takes them: a suite's line has no indentation.
cases() {
    "$executable" --gtest_list_tests --gtest_filter='-*Model.*' |
        awk '/^[^ ]/ { suite = $1; next } { print suite $1 }'
}

passes_all() {
    local count=0 name
    for name in $(cases); do
        against "$copy" "$name" || { cat "$scratch/log"; fail "$name fails"; }
        grep -q '^\[  PASSED  \] 1 test' "$scratch/log" || fail "$name was not run"
        count=$((count + 1))
    done
    [ "$count" -gt 0 ] || fail "no case"
    printf '%d cases\n' "$count"
}

passes_until_changed() {
    local name=$1 old=$2 new=$3
    against "$copy" "$name" || fail "$name fails against a copy"
    LC_ALL=C sed "s/$old/$new/g" "$library" >"$scratch/changed.so"
    cmp -s "$library" "$scratch/changed.so" && fail "the library has no text $old"
    if against "$scratch/changed.so" "$name"; then fail "$name passes with $new"; fi
    grep -q "$new" "$scratch/log" || { cat "$scratch/log"; fail "$name fails for another reason"; }
}

# refuses PATH REASON
refuses() {
    local status=0
    against "$1" '*' || status=$?
    [ "$status" -eq 2 ] || fail "$1 was taken: exit status $status"
    grep -qF "PCSIM_TEST_LIBRARY=$1: $2" "$scratch/log" || { cat "$scratch/log"; fail "no reason"; }
}

case "$kind" in
    copy) passes_all ;;
    changed) passes_until_changed "$@" ;;
    refused)
        refuses "$scratch/none.so" "No such file or directory"
        refuses "$1" "the loader doesn't take it for libpcsimulation.so.0"
        mkdir "$scratch/with blank"
        cp "$library" "$scratch/with blank/library.so"
        refuses "$scratch/with blank/library.so" "the loader takes no path with a blank"
        ;;
    *) fail "unknown: $kind" ;;
esac
