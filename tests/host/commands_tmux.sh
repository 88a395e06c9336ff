#!/usr/bin/env bash
# The prompts in a real terminal of 40, 80 and 200 columns: what tmux has on its screen.
# usage: commands_tmux.sh PCSIM
set -u
. "$(dirname "${BASH_SOURCE[0]}")/console_support.sh"
export PCSIM_RUN_DIR=$scratch HOME=$scratch LC_ALL=C.UTF-8 NO_COLOR=1
folder=$(dirname "$pcsim")
screens=0
# A server of its own for each screen: one that is about to end would still take the next screen.
terminal() { tmux -f /dev/null -S "$scratch/tmux.$screens" "$@"; }
trap 'terminal kill-server 2>/dev/null; kill "$served" 2>/dev/null; rm -rf "$scratch"' EXIT

# sees PATTERN: it appears on the screen, which is then in $scratch/screen.
sees() {
    for _ in $(seq 100); do
        terminal capture-pane -p >"$scratch/screen"
        grep -qE -- "$1" "$scratch/screen" && return
        sleep 0.1
    done
    problem "'$1' is not on the screen of $columns columns: $(cat "$scratch/screen")"
}

# Types at the prompt of a command, and reads its screen.
looks() {
    screens=$((screens + 1))
    terminal new-session -d -x "$columns" -y 50 "$1"
    sees '^one>'
    terminal send-keys 'sh po' Enter
    sees '^  Duplex +full'
    if [ "$columns" -eq 40 ]; then
        sees '^  Port +1:4$'
    else
        sees '^  1:4 +eth4 +enabled +up +100 +full +pause +[0-9]+$'
    fi
    terminal send-keys 'port all dis' Tab Enter
    terminal send-keys 'show port 1:1 | include Admin' Enter
    sees '^  Admin +disabled$'
    terminal send-keys 'port all enable' Enter
    terminal send-keys 'show trunks ?'
    sees '^  <Enter>  trunks, their ports'
    terminal send-keys Enter
    sees '^  none; .trunk create NUMBER. makes$|^  none; .trunk create NUMBER. makes one$'
    terminal send-keys quit Enter
    for _ in $(seq 100); do
        terminal has-session 2>/dev/null || return
        sleep 0.1
    done
    problem "'quit' did not end '$1'"
}

"$pcsim" --lab 4 --quiet --name one --serve &
served=$!
for _ in $(seq 200); do
    [ "$("$folder/pcsimctl" --names)" = one ] && break
    sleep 0.1
done
for columns in 40 80 200; do looks "'$folder/pcsimctl' one"; done
kill $served
wait $served
for columns in 40 80 200; do looks "'$pcsim' --lab 4 --quiet --name one"; done

finish
