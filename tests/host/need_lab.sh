# Sourced with $pcsim set: ends the script as skipped where no lab can be made, and as failed where
# the programs are missing. The lab alone is tried, so that a pcsim that can't start is a failure.
lab=$(dirname "$(readlink -f "$pcsim")")/pcsim-nics
for program in "$pcsim" "$lab"; do
    [ -x "$program" ] || { echo "FAILED: $program is not built"; exit 1; }
done
if ! reason=$("$lab" --ports 1 -- true 2>&1); then
    echo "skipped: this machine cannot make a network namespace: $reason"
    exit 77
fi
