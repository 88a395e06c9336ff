#!/usr/bin/env bash
# call_all.py where labs can be made. usage: call_all.sh PCSIM [OPTION...]
set -u
pcsim=$1
. "$(dirname "${BASH_SOURCE[0]}")/need_lab.sh"
exec "$(dirname "${BASH_SOURCE[0]}")/call_all.py" "$@"
