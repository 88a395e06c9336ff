#!/bin/sh
# The library that is preloaded, as a file and in programs that have no use for it.
# usage: library.sh PROBE CHECK STATIC-PROGRAM DYNAMIC-PROGRAM
set -eu
probe=$1 check=$2 static=$3 alone=$4

# same EXPECTED SEEN
same() {
    [ "$1" = "$2" ] || {
        printf 'expected: %s\nseen: %s\n' "$1" "$2"
        exit 1
    }
}

case $check in
needed)
    same 'ld-linux.so.2 libc.so.6' \
        "$(readelf -d "$probe" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | LC_ALL=C sort | xargs)"
    same '' "$(readelf -d "$probe" | grep -E 'R(UN)?PATH|TEXTREL' || true)"
    ;;
names)
    same dlsym "$(nm -D --defined-only "$probe" | awk '{ print $3 }' | xargs)"
    ;;
no-library)
    # A program without a platform library: the probe says so in one line, behind its own.
    same "$(printf 'static\nstatus 4\n')" "$(LD_PRELOAD=$probe "$alone" 2>/dev/null || echo "status $?")"
    said=$(LD_PRELOAD=$probe "$alone" 2>&1 >/dev/null || true)
    same 'pcsim-probe: the program has loaded no platform library' "$said"
    ;;
wide)
    # A 64-bit program: the dynamic linker passes the library over, and says so.
    same "$(printf 'said\nstatus 3\n')" \
        "$(LD_PRELOAD=$probe /bin/sh -c 'echo said; exit 3' 2>/dev/null || echo "status $?")"
    ;;
static)
    same "$(printf 'static\nstatus 4\n')" "$(LD_PRELOAD=$probe "$static" 2>&1 || echo "status $?")"
    ;;
esac
