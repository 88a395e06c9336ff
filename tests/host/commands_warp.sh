#!/usr/bin/env bash
# Links while a warp goes past more polls than can find anything. usage: commands_warp.sh PCSIM
set -u
. "$(dirname "${BASH_SOURCE[0]}")/console_support.sh"

# A poll that has found something has told the platform of it, so the next one asks again; the one
# behind that may ask or not.
asked='expect show coverage -- pcSimCardPortLinkInfo.calls'
succeeds "$asked is 3" 'cable 2 pull' 'time warp 1000' "$asked is 5"
succeeds "$asked is 3" 'cable 2 pull' 'time warp 2000' "$asked is 7"

# What somebody else does to an interface is seen in the middle of a warp, not at its end.
mkfifo "$scratch/told"
"$pcsim" --shape chassis --lab 16 --stopped -x 'echo ready' \
    -x 'wait event "Port 1:1 link down" within 86400000' >"$scratch/told" 2>"$scratch/err" &
process=$!
{
    grep -q -m 1 ready
    nsenter --net="/proc/$process/ns/net" ip link set dev cable1 down ||
        problem "the cable can't be pulled from outside"
    cat >/dev/null
} <"$scratch/told"
wait $process || problem "a warp has not seen a cable that somebody else has pulled: $(cat "$scratch/err")"
finish
