#!/bin/bash
# The library under MemorySanitizer, which gcc doesn't have: compiled by clang with the rows of
# tests/races and their host. Neither needs the C++ runtime, which would have to be compiled so, too.
# usage: library.sh SOURCE_FOLDER SOURCE...    in a folder for what is compiled; names as of the root
set -euo pipefail
root=$1
shift

common=(-fsanitize=memory -fsanitize-memory-track-origins -fno-omit-frame-pointer -O1 -g1 -fPIE
    "-I$root/include" "-I$root")
# A count of 32 bits is compared with what 32-bit addresses reach.
cxx=(-std=gnu++20 -fvisibility=hidden -fno-exceptions -fno-rtti -fno-threadsafe-statics
    '-DPCSIM_API=__attribute__((visibility("default")))'
    -Wno-tautological-constant-out-of-range-compare)

# compile LANGUAGE_OPTIONS... -- FILE
compile() {
    local options=()
    while [ "$1" != -- ]; do options+=("$1"); shift; done
    clang-14 "${common[@]}" "${options[@]}" -c "$root/$2" -o "${2//\//_}.o"
}

rm -f ./*.o
for file in "$@" tree/tree.cpp tests/races/{host,rows,set_up,side_by_side,tables}.c; do
    while [ "$(jobs -rp | wc -l)" -ge "$(nproc)" ]; do wait -n; done
    case $file in
    *.cpp) compile "${cxx[@]}" -- "$file" & ;;
    *) compile -std=gnu11 -- "$file" & ;;
    esac
done
while [ -n "$(jobs -p)" ]; do wait -n; done
clang-14 -fsanitize=memory -rdynamic ./*.o -o alone -lpthread

# What nobody has written is seen.
if said=$(./alone unwritten 2>&1); then
    echo "memory that nobody has written goes unseen" >&2
    exit 1
elif [[ $said != *use-of-uninitialized-value* ]]; then
    echo "$said" >&2
    exit 1
fi
for shape in stack chassis; do
    while read -r row; do
        ./alone "$shape" 70 "$row" >said 2>&1 || { tail -60 said >&2; exit 1; }
        tail -1 said
    done < <(./alone rows "$shape")
done
