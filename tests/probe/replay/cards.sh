#!/usr/bin/env bash
# What the switch has done on network cards with real drivers, recorded in the virtual machine, is
# replayed without a difference where there is no interface: link registers and counters come from
# the recording. A library that looks for its counters elsewhere is found out.
#
# usage: cards.sh REPLAY_RECORDING LIBRARY RECORDING.gz
set -euo pipefail
# shellcheck source=tests/host/empty_network.sh
. "$(dirname "$(readlink -f "$0")")/../../host/empty_network.sh"
replay=$1 library=$2 packed=$3
fail() { echo "FAILED: $*"; exit 1; }
skip() { echo "skipped: $*"; exit 77; }

[ -e "$packed" ] || skip "the virtual machine has left no recording (test vm.cards)"
empty_network true 2>/dev/null ||
    skip "this machine cannot make a network namespace"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
gzip -dc "$packed" >"$scratch/cards.rec"

alone() { (cd / && empty_network "$replay" "$scratch/cards.rec" "$@"); }

answer=$(alone "$library" --keep-going) || fail "the replay says: $(tail -5 <<<"$answer")"
[[ $answer =~ ^([0-9]+)" calls, no difference"$ ]] || fail "the replay says: $answer"
[ "${BASH_REMATCH[1]}" -ge 1000 ] || fail "a whole run has more than ${BASH_REMATCH[1]} calls"
echo "$answer"

# The frames that the first card asked has sent; nobody but its driver can have counted them.
LC_ALL=C sed 's:/proc/net/dev:/proc/net/dew:g' "$library" >"$scratch/changed.so"
cmp -s "$library" "$scratch/changed.so" && fail "the library doesn't read /proc/net/dev"
status=0
answer=$(alone "$scratch/changed.so") || status=$?
[ "$status" -eq 1 ] || fail "a difference ends with status $status: $answer"
grep -qF "pcSimCardPortGetStats, out.transmittedPackets: expected 1000, seen 0" <<<"$answer" ||
    fail "another difference: $answer"
