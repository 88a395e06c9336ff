#!/usr/bin/env bash
# The first half of the guided tour with each fourth call of it failing, in a run of its own: every
# run ends, with an error or as without.
# usage: tour.sh PCSIM-PROBE PCSIM TOUR
set -u
. "$(dirname "${BASH_SOURCE[0]}")/support.sh"
pcsim=$2 tour=$3
. "$(dirname "${BASH_SOURCE[0]}")/../../host/need_lab.sh"

runs sweep --json --every 4 --timeout 30 -j 2 -- "$pcsim" --lab 4 --stopped --quiet -f "$tour"
[ "$status" -eq 0 ] || problem "the sweep ended with $status: $(cat "$scratch/out" "$scratch/err")"
[ "$(grep -o '"runs": [0-9]*' "$scratch/out" | tr -dc 0-9)" -ge 40 ] ||
    problem "there were too few runs: $(cat "$scratch/out")"
# Some of these calls are asked for by what the tour expects.
[ "$(grep -o '"errors": [0-9]*' "$scratch/out" | tr -dc 0-9)" -ge 3 ] ||
    problem "too few runs ended with an error: $(cat "$scratch/out")"

finish
