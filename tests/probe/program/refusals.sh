#!/usr/bin/env bash
# What pcsim-probe refuses to start, and the one line that it says about it.
# usage: refusals.sh PCSIM-PROBE STATIC-PROGRAM
set -u
. "$(dirname "${BASH_SOURCE[0]}")/support.sh"
static=$2
cd "$scratch" || exit 1

refuses 2 "expected a program to start, for example: pcsim-probe -- my-hal"
refuses 2 "expected a program to start, for example: pcsim-probe -- my-hal" --times --
refuses 2 "there is no option --frob; 'pcsim-probe --help' lists them" --frob -- true
refuses 2 "--flight needs a number of calls from 1 to 1000000" --flight 0 -- true
refuses 1 "'7' can't be a name; expected letters, digits, '-', '_' and '.', at most 60, and not digits alone" \
    --name 7 -- true

refuses 127 "'no-such-hal': there is no such program" -- no-such-hal
refuses 127 "'./no-such-hal': there is no such program" -- ./no-such-hal
: >here && chmod +x here
refuses 127 "'here': there is no such program in PATH; './here' is the one in this folder" -- here
refuses 126 "'./here' is no program: neither a 32-bit one nor a script" -- ./here
: >not-executable
refuses 126 "'./not-executable' is not executable; 'chmod +x' makes it so" -- ./not-executable
refuses 126 "'/' is no program: it is no file" -- /

wide="is a 64-bit program; the platform library and its probe are for 32-bit ones"
refuses 126 "'/bin/true' $wide" -- /bin/true
(PATH=/bin refuses 126 "'/bin/true' $wide" -- true; exit $failures) || failures=$((failures + 1))
printf '#! /bin/sh -e\nexit 0\n' >script && chmod +x script
refuses 126 "'./script' is a script, and '/bin/sh' $wide; start the 32-bit program itself" -- ./script
printf '#!./script\n' >outer && chmod +x outer
refuses 126 "'./outer' is a script, and './script' is a script, and '/bin/sh' $wide; start the 32-bit program itself" \
    -- ./outer
printf '#!./itself\n' >itself && chmod +x itself
runs -- ./itself
[ "$status" -eq 126 ] || problem "a script of itself ended with $status"
grep -q "is a script of scripts" "$scratch/err" || problem "a script of itself: $(cat "$scratch/err")"
printf '#!/no/such\n' >orphan && chmod +x orphan
refuses 127 "'./orphan' is a script, and '/no/such': there is no such program; start the 32-bit program itself" \
    -- ./orphan

refuses 126 "'$static' is statically linked: nothing can be preloaded into it; link it dynamically" \
    -- "$static"
dd if="$static" of=short bs=20 count=1 status=none && chmod +x short
refuses 126 "'./short' is statically linked: nothing can be preloaded into it; link it dynamically" \
    -- ./short

rights="runs with rights of its own (set-user-ID, set-group-ID or capabilities): nothing can be preloaded into it; start a copy without them"
if [ "$(id -u)" -eq 0 ]; then
    cp "$static" theirs && chown 1 theirs && chmod 4755 theirs
    refuses 126 "'./theirs' $rights" -- ./theirs
else
    refuses 126 "'$(command -v su)' $rights" -- "$(command -v su)"
fi

# --- Asking --------------------------------------------------------------------------------------

none="there is none; 'pcsim-probe -- PROGRAM' starts one"
refuses 1 "there is no probed process 'sw1'; $none" sw1 coverage
refuses 1 "there is no probed process '77'; $none" 77 coverage
refuses 2 "--wait needs a number of seconds from 1 to 3600" sw1 --wait 0 coverage
succeeds list
shows "There is none; 'pcsim-probe -- PROGRAM' starts one"
succeeds list --json
shows '"processes": \[\]'
refuses 2 "'x' is not an option; the command takes no words" list x
mkdir "$scratch/open" && chmod 777 "$scratch/open"
PCSIM_RUN_DIR=$scratch/open refuses 1 \
    "others may write into the folder $scratch/open; 'chmod 700' it, or name another in PCSIM_RUN_DIR" list

finish
