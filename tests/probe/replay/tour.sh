#!/usr/bin/env bash
# The guided tours, recorded, are replayed without a difference: from another folder, against a copy
# of the library, where there is no interface. Against a library in which one text is another, the
# operation and the field are named.
#
# usage: tour.sh PCSIM REPLAY_RECORDING LIBRARY TOURS
set -euo pipefail
pcsim=$1 replay=$2 library=$3 tours=$4
# shellcheck source=tests/host/need_lab.sh
. "$(dirname "$(readlink -f "$0")")/../../host/need_lab.sh"
# shellcheck source=tests/host/empty_network.sh
. "$(dirname "$(readlink -f "$0")")/../../host/empty_network.sh"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
fail() { echo "FAILED: $*"; exit 1; }

# record NAME TOUR OPTION...
record() {
    local name=$1 tour=$2
    shift 2
    echo "record $scratch/$name.rec" >"$scratch/plan"
    "$pcsim" --plan "$scratch/plan" --quiet "$@" -f "$tours/$tour.pcsim" >"$scratch/out" 2>&1 ||
        { tail -5 "$scratch/out"; fail "the tour $tour"; }
}

alone() { (cd / && empty_network "$@"); }

same() {
    local answer
    answer=$(alone "$replay" "$scratch/$1.rec" "$scratch/elsewhere.so" --keep-going) ||
        fail "the replay of $1 says: $(tail -5 <<<"$answer")"
    [[ $answer == *" calls, no difference" ]] || fail "$1: $answer"
    echo "$1: $answer"
}

cp "$library" "$scratch/elsewhere.so"
record stack stack --lab 4
record chassis chassis --shape chassis --remote-io --stopped --lab 16
same stack
same chassis

LC_ALL=C sed 's/VORN-VM/VORN-XM/g' "$library" >"$scratch/changed.so"
cmp -s "$library" "$scratch/changed.so" && fail "the library has no text VORN-VM"
status=0
answer=$("$replay" "$scratch/stack.rec" "$scratch/changed.so") || status=$?
[ "$status" -eq 1 ] || fail "a difference ends with status $status: $answer"
grep -qF 'pcSimStackChassisGetInfo, info.modelName: expected "VORN-VM", seen "VORN-XM"' \
    <<<"$answer" || fail "another difference: $answer"
