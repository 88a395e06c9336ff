#!/bin/sh
# Checks of the interface headers that need a compiler of their own.
# usage: headers.sh INCLUDE_FOLDER CHECK
set -eu
include=$1

fail() {
    echo "$*" >&2
    exit 1
}

# compile TEXT OPTION...: compiles the lines of a source and generates nothing.
compile() {
    text=$1
    shift
    printf '%b' "$text" | gcc -std=c11 -fsyntax-only -I"$include" "$@" -x c - 2>&1
}

layout='#include "pcsim/layout.h"\n'
case $2 in
word_size)
    # The numbers are those of 32-bit words; compiling for others has to be meant.
    compile "$layout" -m32 || fail "layout.h does not hold for i386"
    if said=$(compile "$layout" -m64); then fail "layout.h is silent about 64-bit words"; fi
    case $said in
    *"32-bit words"*) ;;
    *) fail "layout.h fails without saying why: $said" ;;
    esac
    compile "#define PCSIM_LAYOUT_ANY_WORD_SIZE\n$layout" -m64 ||
        fail "layout.h doesn't take the word of a source that says it is meant"
    ;;
layout_twice)
    # The rows are open to whoever defines their macros, before layout.h and after it.
    own='#define PCSIM_LAYOUT_SIZE(record, bytes) + 1\n'
    own="$own"'#define PCSIM_LAYOUT_FIELD(record, field, offset) + 1\n'
    own="$own"'#define PCSIM_LAYOUT_WORD(record, field, word) + 1\n'
    own="$own"'static const int rows = 0\n#include "pcsim/layout_rows.h"\n;\n'
    compile "$layout$own"'_Static_assert(sizeof rows == 4, "");\n' -m32 ||
        fail "the rows can't be included again"
    ;;
layout_macros)
    left=$(printf '%b' "$layout" | gcc -m32 -dM -E -I"$include" -x c - |
        sed -n 's/^#define \(PCSIM_LAYOUT_[A-Z_]*\|CHECK_[A-Z]*\|PCSIM_STATIC_ASSERT\)\b.*/\1/p' |
        grep -v '^PCSIM_LAYOUT_H$' || true)
    [ -z "$left" ] || fail "layout.h leaves macros behind:" $left
    ;;
*)
    fail "no such check: $2"
    ;;
esac
