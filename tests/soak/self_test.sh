#!/usr/bin/env bash
# The soak finds one block too much, and says so. usage: self_test.sh PCSIM
set -u
export PCSIM=$1
said=$("$(dirname "${BASH_SOURCE[0]}")/run" --shape stack --hours 1 --minutes 5 --seed 1 \
    --expect-blocks 1)
status=$?
[ $status -ne 77 ] || { echo "$said"; exit 77; }
[ $status -eq 1 ] || { echo "FAILED: status $status: $said"; exit 1; }
for text in "FAILED after 1 h: the library's blocks: missing [(('rest', 16384), 2)]" \
    "repeat with: tests/soak/run --shape stack --seed 1"; do
    grep -qF "$text" <<<"$said" || { echo "FAILED: no '$text' in: $said"; exit 1; }
done
