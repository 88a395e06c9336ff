# What the tests of the program share: sourced with pcsim-probe as their first argument.
probe=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export PCSIM_RUN_DIR=$scratch/run
failures=0

problem() {
    printf 'FAILED: %s\n' "$*"
    failures=$((failures + 1))
}

# runs ARGUMENT...: with standard output and error in files; the status is kept.
runs() {
    timeout 60 "$probe" "$@" >"$scratch/out" 2>"$scratch/err"
    status=$?
}

# ends STATUS LINE ARGUMENT...: pcsim-probe ends with STATUS, and standard error is LINE.
ends() {
    local expected=$1 line=$2
    shift 2
    runs "$@"
    [ "$status" -eq "$expected" ] || problem "'$*' ended with $status, not $expected"
    [ "$(cat "$scratch/err")" = "$line" ] ||
        problem "'$*' said: $(cat "$scratch/err")"$'\n'"  instead of: $line"
}

# refuses STATUS LINE ARGUMENT...: the same with the program's name in front.
refuses() {
    local expected=$1 line=$2
    shift 2
    ends "$expected" "pcsim-probe: $line" "$@"
}

# shows PATTERN: the last run has printed a line that matches.
shows() {
    grep -qE -- "$1" "$scratch/out" || problem "printed no '$1': $(cat "$scratch/out")"
}

# succeeds ARGUMENT...
succeeds() {
    ends 0 "" "$@"
}

# Ends the test with what it found.
finish() {
    [ $failures -eq 0 ] || exit 1
    echo "pcsim-probe did as it should"
}
