#!/usr/bin/env bash
# What was kept of earlier versions still does what it did: recordings replay against this library
# without a difference, scripts run to their end, a state that was saved comes back as it was, and
# clients find in the answers of the socket what they found then.
#
# usage: kept.sh PCSIM FOLDER   the programs beside pcsim, what one version has left
set -euo pipefail
pcsim=$1 folder=$2
here=$(dirname "$(readlink -f "$0")")
# shellcheck source=tests/host/need_lab.sh
. "$here/../host/need_lab.sh"
# shellcheck source=tests/host/empty_network.sh
. "$here/../host/empty_network.sh"
programs=$(dirname "$(readlink -f "$pcsim")")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
fail() { echo "FAILED: $*"; exit 1; }
options_of() { sed -n '1s/^# pcsim: //p' "$1"; }

count=0
for packed in "$folder"/*.rec.gz; do
    gzip -dc "$packed" >"$scratch/kept.rec"
    said=$(empty_network "$programs/pcsim-probe" replay "$scratch/kept.rec" \
        --library "$programs/libpcsimulation.so.0" --keep-going) || fail "$packed: $said"
    [[ $said == *" calls, no difference" ]] || fail "$packed: $said"
    echo "${packed##*/}: $said"
    count=$((count + 1))
done
for script in "$folder"/*.pcsim; do
    read -r -a options <<<"$(options_of "$script")"
    "$pcsim" "${options[@]}" --quiet -f "$script" >"$scratch/out" 2>&1 ||
        fail "$script: $(tail -3 "$scratch/out")"
    echo "${script##*/}: as expected"
    count=$((count + 1))
done
for state in "$folder"/*.state; do
    read -r -a options <<<"$(options_of "${state%.state}.pcsim")"
    "$pcsim" "${options[@]}" --quiet -x "load $state" -x "save $scratch/state" >"$scratch/out" 2>&1 ||
        fail "$state: $(tail -3 "$scratch/out")"
    diff <(grep -v '^#' "$state") <(grep -v '^#' "$scratch/state") ||
        fail "$state: loaded and saved, it is another one"
    echo "${state##*/}: as it was"
    count=$((count + 1))
done
[ $count -ge 5 ] || fail "$folder has $count files; expected recordings, scripts and a state"
