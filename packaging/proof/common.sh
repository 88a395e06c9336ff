# What the proofs in a fresh Debian share. Sourced there.
# shellcheck shell=bash disable=SC2034  # the packages are used there

packages=(lib32pcsimulation0 lib32pcsimulation-dev pcsim pcsim-probe pcsim-mii python3-pcsim pcsim-web)

fail() { echo "FAILED: $*"; exit 1; }
told() { printf '  %-34s %s\n' "$1" "$2"; }

seconds_since() { awk -v a="$1" -v b="$EPOCHREALTIME" 'BEGIN { printf "%.1f", b - a }'; }

# Of what comes through a pipe, to its end: what writes it must not fail because nobody reads on.
found() { grep "$@" >/dev/null; }

# What the commands of the file of 'times' have taken of processors.
processor_seconds() { tail -1 "$1" | tr 'ms' '  ' | awk '{ printf "%.1f", $1 * 60 + $2 + $3 * 60 + $4 }'; }

# What is there, but for what apt and dpkg keep of themselves, and caches.
snapshot() {
    find / -xdev \( -path /tmp -o -path /var/cache -o -path /var/log -o -path /var/lib/dpkg \
        -o -path /var/lib/apt -o -path /packages -o -path /previous -o -path /proof -o -path /docs \) \
        -prune -o -printf '%p %y %m %u %g\n' | sort
}

# From the archives that are at hand: there is no network here. With what is recommended, as apt does
# when nobody says otherwise.
install_here() {
    apt-get install -y "$@" >/tmp/apt.log 2>&1 || fail "apt-get install: $(tail -10 /tmp/apt.log)"
    rm -f /tmp/apt.log
}

# What has come along goes along, even if something that was there before speaks well of it.
purge() {
    apt-get purge -y --auto-remove -o APT::AutoRemove::RecommendsImportant=false \
        -o APT::AutoRemove::SuggestsImportant=false "$@" >/tmp/apt.log 2>&1 ||
        fail "purge: $(tail -5 /tmp/apt.log)"
    rm -f /tmp/apt.log
}

as_nobody() { setpriv --reuid 65534 --regid 65534 --clear-groups env HOME=/nonexistent "$@"; }
