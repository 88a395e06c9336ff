#!/usr/bin/env bash
# Runs a console transcript: the commands of NAME.pcsim must print what NAME.expected holds.
#
# The script's first line names the options, e.g. "# pcsim: --shape chassis --lab 4 --stopped".
# With PCSIM_UPDATE=1 the expectation is written anew; read it before you commit it.
# usage: transcript.sh PCSIM NAME.pcsim
set -u
pcsim=$(readlink -f "$1")
script=$(readlink -f "$2")
expected=${script%.pcsim}.expected
actual=$(mktemp)
trap 'rm -f "$actual"' EXIT

. "$(dirname "${BASH_SOURCE[0]}")/need_lab.sh"
cd "$(dirname "$script")" || exit 1
read -r -a options <<<"$(sed -n '1s/^# pcsim: //p' "$script")"
timeout 100 "$pcsim" "${options[@]}" --echo -f "$(basename "$script")" >"$actual" 2>&1
status=$?
echo "exit status $status" >>"$actual"
# The library's place and times of day are of this machine and moment.
sed -i "s|$(dirname "$(readlink -f "$pcsim")")/||g" "$actual"
if [ "${PCSIM_UPDATE:-}" = 1 ]; then
    cp "$actual" "$expected"
    exit 0
fi
diff -u "$expected" "$actual" && echo "as expected"
