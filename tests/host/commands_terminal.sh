#!/usr/bin/env bash
# pcsim at a terminal. usage: commands_terminal.sh PCSIM
set -u
pcsim=$1
. "$(dirname "${BASH_SOURCE[0]}")/need_lab.sh"
exec python3 "$(dirname "${BASH_SOURCE[0]}")/terminal.py" "$pcsim"
