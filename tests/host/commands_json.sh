#!/usr/bin/env bash
# Runs of pcsim as JSON, however they go. usage: commands_json.sh PCSIM
set -u
. "$(dirname "${BASH_SOURCE[0]}")/console_support.sh"

python3 -B "$(dirname "${BASH_SOURCE[0]}")/json_runs.py" "$pcsim" || problem "see above"

finish
