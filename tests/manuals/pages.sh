#!/usr/bin/env bash
# The manual pages: without a warning of either formatter, and with all that the programs tell of
# themselves. usage: pages.sh MANUALS PROGRAMS
set -u
manuals=$1 programs=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failures=0

problem() {
    printf 'FAILED: %s\n' "$*"
    failures=$((failures + 1))
}

for tool in man mandoc; do
    command -v $tool >/dev/null || { echo "skipped: there is no $tool"; exit 77; }
done

# has PAGE TEXT...: the page, as it is read, has each text in it.
has() {
    local page=$1 text
    shift
    MANWIDTH=1000 man -l "$manuals/man/$page" 2>/dev/null | col -b >"$scratch/page"
    for text in "$@"; do
        grep -qF -- "$text" "$scratch/page" || problem "$page doesn't tell of $text"
    done
}

pages=0
for page in "$manuals"/man/man*/*; do
    pages=$((pages + 1))
    LC_ALL=C.UTF-8 man --warnings -l "$page" 2>&1 >/dev/null | sed "s|^|${page##*/}: man: |" \
        >>"$scratch/warnings"
    mandoc -Tlint -Wwarning "$page" >>"$scratch/warnings"
    if grep -nF '{{' "$page"; then problem "${page##*/} has a table that isn't filled in"; fi
done
[ $pages -ge 5 ] || problem "there are $pages pages"
[ ! -s "$scratch/warnings" ] || problem "$(cat "$scratch/warnings")"

for program in pcsim pcsim-nics pcsim-probe pcsimctl pcsim-campaign pcsim-lab pcsim-web; do
    [ -x "$programs/$program" ] || continue
    mapfile -t options < <("$programs/$program" --help | grep -oE '^ +(-., )?--[a-z-]+' |
        grep -oE -- '--[a-z-]+')
    [ ${#options[@]} -ge 2 ] || problem "$program --help lists ${#options[@]} options"
    has "man1/$program.1" "${options[@]}" NAME SYNOPSIS DESCRIPTION OPTIONS 'EXIT STATUS'
done
mapfile -t verbs < <("$programs/pcsim" --stopped --quiet -x 'show verbs --json' |
    sed -nE 's/^ *"usage": "(.*)",?$/\1/p')
[ ${#verbs[@]} -ge 100 ] || problem "there are ${#verbs[@]} verbs"
has man7/pcsim-verbs.7 "${verbs[@]}"
mapfile -t words < <("$programs/pcsim" --stopped --quiet -x 'show operations --json' |
    sed -nE 's/^ *"word": "(.*)",?$/\1/p')
[ ${#words[@]} -ge 230 ] || problem "there are ${#words[@]} operations"
has man7/pcsim-interface.7 "${words[@]}" 'Frees the table.' 'HalFdbEntry** slot'

[ $failures -eq 0 ] || exit 1
echo "$pages pages without a warning"
