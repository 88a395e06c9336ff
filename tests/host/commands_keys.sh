#!/usr/bin/env bash
# docs/console/json.md is what pcsim tells of its answers. usage: commands_keys.sh PCSIM
set -u
. "$(dirname "${BASH_SOURCE[0]}")/console_support.sh"

here=$(dirname "${BASH_SOURCE[0]}")
python3 -B "$here/json_keys.py" "$pcsim" "$here/transcripts" "$here/../../docs/console/json.md" ||
    problem "see above"

finish
