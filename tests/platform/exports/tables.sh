#!/bin/sh
# A table whose constant forgets a word, names one twice or gives one another type doesn't compile.
# usage: tables.sh SOURCE_FOLDER COMPILER
set -eu
root=$1
compiler=$2
source=$root/platform/card/cardFamilyOps.cpp

compiles() {
    "$compiler" -m32 -std=gnu++20 -fno-exceptions -Wall -Wextra -Werror \
        -Wno-missing-field-initializers -fsyntax-only -I"$root" -I"$root/include" -x c++ - 2>/dev/null
}

failed=0
# refused TEXT SED_SCRIPT: the table, changed by the script, must be refused.
refused() {
    sed "$2" "$source" | cmp -s - "$source" && { echo "nothing to change: $1" >&2; failed=1; }
    if sed "$2" "$source" | compiles; then
        echo "compiles: $1" >&2
        failed=1
    fi
}

compiles <"$source" || { echo "the table itself doesn't compile" >&2; exit 1; }
refused "a word left out" '/\.trunkCreate =/d'
refused "an empty word left out" '/\.reserved24 =/d'
refused "a word that ignores its arguments left out" '/\.mirEnable =/d'
refused "a word named twice" '/\.trunkCreate =/p'
refused "two words in the other order" '/\.vrCreate =/{h;d};/\.vrDelete =/{G}'
refused "a word of another type" 's/\.trunkCreate = .*/.trunkCreate = pcSimTrunkAddPorts,/'
refused "a word of a type for any arguments" 's/\.trunkCreate = .*/.trunkCreate = pcSimMirEnable,/'
refused "any arguments where they are looked at" 's/\.mirEnable = .*/.mirEnable = pcSimTrunkCreate,/'
exit $failed
