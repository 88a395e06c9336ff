#!/usr/bin/env bash
# Runs a test where a lab can be made. usage: with_lab.sh PCSIM TEST [CASE...]
set -eu
pcsim=$1
here=$(dirname "${BASH_SOURCE[0]}")
. "$here/../../host/need_lab.sh"
shift
test=$1
shift
exec python3 -B "$here/$test" "$pcsim" "$@"
