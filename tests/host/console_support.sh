# What the command tests share: sourced with PCSIM as their first argument.
pcsim=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failures=0

problem() {
    printf 'FAILED: %s\n' "$*"
    failures=$((failures + 1))
}

# What pcsim is started as: a stack with two ports and a stopped clock, unless a test says otherwise.
options=(--lab 2 --stopped)

# run COMMAND...: runs the commands on a pcsim of its own.
run() {
    local arguments=("${options[@]}") command
    for command in "$@"; do arguments+=(-x "$command"); done
    "$pcsim" "${arguments[@]}" >"$scratch/out" 2>"$scratch/err"
}

# Has the disk full for what this shell starts from now on. A build that counts lines writes its
# counters elsewhere then, and does not tell that there is no room for them either.
fill_disk() {
    export GCOV_PREFIX=$scratch/counters GCOV_ERROR_FILE=/dev/null
    trap '' XFSZ
    ulimit -f 1
}

# succeeds COMMAND...: they do.
succeeds() {
    run "$@" || problem "'$*' failed: $(cat "$scratch/err")"
}

# shows PATTERN ARGUMENT...: pcsim succeeds and prints a line that matches.
shows() {
    local pattern=$1
    shift
    "$pcsim" "$@" >"$scratch/out" 2>"$scratch/err" || problem "'$*' failed: $(cat "$scratch/err")"
    prints "$pattern"
}

# types COMMAND...: the same at the prompt, on a terminal, where an error does not end the session.
types() {
    printf '%s\n' "$@" quit |
        HOME=$scratch TERM=dumb script -qec "$pcsim --lab 2 --stopped" /dev/null >"$scratch/out" 2>&1
}

# refuses LINE COMMAND...: the last command ends pcsim with 1 and says LINE, those before succeed.
refuses() {
    local line=$1
    shift
    run "$@"
    local got=$?
    [ $got -eq 1 ] || problem "'$*' ended with $got, not 1"
    [ "$(cat "$scratch/err")" = "pcsim: $line" ] ||
        problem "'$*' said: $(cat "$scratch/err")"$'\n'"  instead of: pcsim: $line"
}

# ends STATUS LINE ARGUMENT...: pcsim ends with STATUS, and standard error is LINE.
ends() {
    local status=$1 line=$2
    shift 2
    timeout 20 "$pcsim" "$@" >"$scratch/out" 2>"$scratch/err"
    said $? "$status" "$line" "$*"
}

# said GOT STATUS LINE WHAT: of the last run.
said() {
    [ "$1" -eq "$2" ] || problem "'$4' ended with $1, not $2"
    [ "$(cat "$scratch/err")" = "$3" ] ||
        problem "'$4' said: $(cat "$scratch/err")"$'\n'"  instead of: $3"
}

# interrupted SIGNAL WHAT ARGUMENT...: pcsim, once it has printed "started", ends with 1 at the signal
# and says why.
interrupted() {
    local signal=$1 what=$2 process
    shift 2
    "$pcsim" "$@" >"$scratch/out" 2>"$scratch/err" &
    process=$!
    for _ in $(seq 200); do
        grep -q started "$scratch/out" && break
        sleep 0.05
    done
    kill "-$signal" $process
    wait $process
    said $? 1 "pcsim: interrupted" "SIG$signal $what"
}

# answers PATTERN COMMAND...: all commands succeed, and a line that matches is printed.
answers() {
    local pattern=$1
    shift
    run "$@" || problem "'$*' failed: $(cat "$scratch/err")"
    prints "$pattern"
}

# prints PATTERN: the last run has printed a line that matches.
prints() {
    grep -qE -- "$1" "$scratch/out" || problem "printed no '$1': $(cat "$scratch/out")"
}

# Ends the test with what it found.
finish() {
    [ $failures -eq 0 ] || exit 1
    echo "all commands answered as they should"
}

. "$(dirname "${BASH_SOURCE[0]}")/need_lab.sh"
