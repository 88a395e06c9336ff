#!/bin/sh
# Checks of the finished library as a file: what it exports, needs and does when it is loaded.
# usage: library.sh LIBRARY EXPORTS_MAP CHECK
set -eu
library=$1
map=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "$library: $*" >&2
    exit 1
}

dynamic() { readelf -dW "$library"; }

# The entries that an array section holds, one per line, without leading zeros.
entries_of() {
    readelf -x "$1" "$library" | awk '/^  0x/ {
        for (i = 2; i <= 5 && length($i) == 8 && $i ~ /^[0-9a-f]+$/; ++i)
            print substr($i, 7, 2) substr($i, 5, 2) substr($i, 3, 2) substr($i, 1, 2)
    }' | sed 's/^0*//'
}

address_of() { nm "$library" | awk -v name="$1" '$3 == name { print $1 }' | sed 's/^0*//'; }

case $3 in
names)
    sed -n '/global:/,/local:/p' "$map" | sed -n 's/^ *\([A-Za-z_][A-Za-z0-9_]*\);.*/\1/p' |
        LC_ALL=C sort >"$work/listed"
    [ -s "$work/listed" ] || fail "the list of exported names is empty"
    LC_ALL=C sort -u "$work/listed" | cmp -s - "$work/listed" || fail "a name is listed twice"
    nm -D --defined-only "$library" | awk '{ print $3 }' | LC_ALL=C sort >"$work/exported"
    diff "$work/listed" "$work/exported" >"$work/difference" || {
        cat "$work/difference"
        fail "the exported names (>) are not the listed ones (<)"
    }
    ;;
soname)
    dynamic | grep -q '(SONAME).*\[libpcsimulation\.so\.0\]' || fail "another SONAME"
    ;;
needed)
    needed=$(dynamic | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
    [ "$needed" = libc.so.6 ] || fail "needs" $needed
    ;;
undefined)
    nm -D --undefined-only "$library" | awk '{ print $2 }' >"$work/undefined"
    # What the library leaves open is the host's or libc's, nothing of the C++ runtime ...
    ! grep -E '^(_Z|__cxa_(throw|guard|pure|allocate|begin|end|atexit)|__gxx)' "$work/undefined" ||
        fail "refers to the C++ runtime"
    # ... and no operation of its own.
    ! grep -E '^_*pcSim' "$work/undefined" || fail "lacks an operation of its own"
    ;;
relocations)
    ! dynamic | grep -E 'TEXTREL' || fail "has text relocations"
    ! dynamic | grep -E '\(SYMBOLIC\)|\(BIND_NOW\)|\(FLAGS.*(SYMBOLIC|NOW)' ||
        fail "binds its symbols so that a host can't replace them or has to define them all"
    ;;
machine)
    readelf -hW "$library" | grep -q 'Class: *ELF32' || fail "is not a 32-bit library"
    readelf -hW "$library" | grep -q 'Machine: *Intel 80386' || fail "is for another machine"
    readelf -lW "$library" | grep 'GNU_STACK' | grep -qv 'RWE' || fail "wants an executable stack"
    # An old host aligns its stack to 4 bytes and its processor may have no vector registers: only
    # functions that say so in their name use them, which are chosen at run time.
    objdump -d --no-show-raw-insn "$library" | awk '
        /^[0-9a-f]+ </ { name = $2 }
        /%[xyz]mm[0-9]|%mm[0-7]/ && name !~ /Sse2|Avx2/ { print name, $0; found = 1 }
        END { exit found }' || fail "has vector instructions"
    ;;
constructors)
    # The compiler's own start-up and tear-down, which do nothing, are all that runs.
    for array in init_array:frame_dummy fini_array:__do_global_dtors_aux; do
        expected=$(address_of "${array#*:}")
        [ -n "$expected" ] || fail "has no ${array#*:}"
        held=$(entries_of ".${array%:*}")
        [ "$held" = "$expected" ] || fail ".${array%:*} holds" $held "instead of $expected"
    done
    ;;
*)
    fail "no such check: $3"
    ;;
esac
