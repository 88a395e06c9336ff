#!/usr/bin/env bash
# in_lab.sh COMMAND... PCSIM: runs the command where a lab can be made, and is skipped elsewhere.
pcsim=${!#}
. "$(dirname "${BASH_SOURCE[0]}")/../host/need_lab.sh"
exec "$@"
