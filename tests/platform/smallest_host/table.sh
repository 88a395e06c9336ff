#!/bin/sh
# Compares the table of what a host provides with what the finished library leaves to its host.
# usage: table.sh LIBRARY NAME...
set -eu
library=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
printf '%s\n' "$@" | LC_ALL=C sort >"$work/listed"
# Names of libc carry a version; the compiler's own are not the host's.
nm -D --undefined-only "$library" | awk '$2 !~ /@/ { print $2 }' |
    grep -Ev '^(_ITM_|__gmon_start__)' |
    LC_ALL=C sort >"$work/open"
diff "$work/listed" "$work/open" || {
    echo "the table of host functions (<) is not what $library leaves open (>)" >&2
    exit 1
}
