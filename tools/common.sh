# What ./run and ./check share: packages, steps with progress, one clear line when something fails.
# Sourced by both; not a program of its own.
# shellcheck shell=bash disable=SC2034  # the lists of packages are used there

cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit

# Everything that a bare Debian 12 lacks. One line per purpose.
build_packages="g++ g++-multilib cmake ninja-build
    libboost1.81-dev nlohmann-json3-dev libfmt-dev libreadline-dev lib32readline-dev
    iproute2 procps xz-utils gzip zstd python3 python3-yaml python3-pyroute2"
web_packages="python3-aiohttp"  # for the page of ./run --web
check_packages="make less tmux googletest clang-format clang-tidy git pkgconf man-db mandoc zsh
    qemu-system-x86 busybox-static abigail-tools python3-clang-14
    clang-14 libclang-rt-14-dev
    python3-pytest python3-pytest-xdist python3-mypy python3-setuptools python3-wheel python3-venv
    $web_packages python3-selenium chromium chromium-driver gnuplot-nox python3-distributed python3-tqdm
    mininet"
# For the packages, which ./check --all builds, looks at and installs.
packaging_packages="debhelper dpkg-dev dh-python lintian mmdebstrap uidmap"

say() { printf '%s\n' "$*"; }

fail() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# --- Steps ---------------------------------------------------------------------------------------

# Where ninja, ctest and apt say how far they are: the last such line of a log.
progress_of() {
    tail -c 4000 "$1" 2>/dev/null | tr '\r' '\n' | sed -nE '
        s|^\[([1-9][0-9]*)/([0-9]+)\] .*|\1 of \2|p
        s|^ *([0-9]+)/([0-9]+) Test +#.*|\1 of \2|p
        s|^dlstatus:[^:]*:([0-9]+).*|downloading, \1 %|p
        s|^pmstatus:[^:]*:([0-9]+).*|installing, \1 %|p' | tail -1
}

# Rewrites the last line of the terminal until this script or the watched command has ended.
show_progress() {
    local text=$1 log=$2 at
    while sleep 0.3 && kill -0 $$ 2>/dev/null; do
        at=$(progress_of "$log")
        [ -z "$at" ] || printf '\r%-44s %s\033[K' "$text" "$at"
    done
}

# watch TEXT LOG COMMAND...: runs a command with its output in a log; on a terminal, one line shows
# how far it is. The command stays in the foreground, so that it hears the interrupt key.
watch() {
    local text=$1 log=$2 result=0 watcher=
    shift 2
    mkdir -p build
    : >"$log"
    if [ -t 1 ]; then
        printf '%-44s' "$text"
        show_progress "$text" "$log" &
        watcher=$!
    else
        say "$text ..."
    fi
    "$@" >"$log" 2>&1 || result=$?
    if [ -n "$watcher" ]; then
        kill "$watcher"
        wait "$watcher" 2>/dev/null || true
        printf '\r\033[K'
    fi
    return $result
}

# report TEXT RESULT START [MORE]: the line of a step that has ended.
report() {
    printf '%-44s %-6s %4d s%s\n' "$1" "$2" $((SECONDS - $3)) "${4:-}"
}

# step TEXT COMMAND...: a command that has to succeed; shows the end of its output when it fails.
step() {
    local text=$1 log start=$SECONDS
    log=build/$(printf '%s' "$text" | tr -c 'a-zA-Z0-9\n' '-').log
    shift
    if watch "$text" "$log" "$@"; then
        report "$text" ok "$start"
    else
        report "$text" FAILED "$start"
        tail -40 "$log" >&2
        fail "'$text' failed; the whole output is in $log"
    fi
}

# build PRESET [TARGET...]: configures and builds.
build() {
    local preset=$1
    shift
    local targets=()
    [ $# -eq 0 ] || targets=(--target "$@")
    cmake --preset "$preset" && cmake --build --preset "$preset" "${targets[@]}"
}

# --- Packages ------------------------------------------------------------------------------------

# missing_packages NAME...: those that are not installed.
missing_packages() {
    local name
    for name in "$@"; do
        dpkg-query -W -f '${db:Status-Abbrev}' "$name" 2>/dev/null | grep -q '^ii' || echo "$name"
    done
}

# apt_install NAME...: as root, or with $sudo. Fails with 100 when the package lists can't be
# fetched and what is there already does not do.
apt_install() {
    local status=0
    "${sudo[@]}" apt-get update --error-on=any || status=100
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
        -o APT::Status-Fd=1 "$@" || return $((status ? status : 1))
}

# install_packages NAME...: installs the ones that are missing, with sudo when this is not root.
install_packages() {
    local missing=() sudo=() result=0 log=build/install.log start=$SECONDS
    mapfile -t missing < <(missing_packages "$@")
    [ ${#missing[@]} -eq 0 ] && return 0
    local by_hand="install them by hand: ${missing[*]}"
    command -v apt-get >/dev/null ||
        fail "packages are missing and this system has no apt-get (pcSim is built on Debian 12); $by_hand"
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || fail "packages are missing and there is no sudo; $by_hand"
        sudo=(sudo)
        [ -t 0 ] || sudo=(sudo -n)
        "${sudo[@]}" -v || fail "packages are missing and sudo refuses to install them; $by_hand"
    fi
    say "These packages are missing: ${missing[*]}"
    say "apt-get installs them; that takes a minute or two, and its output is in $log"
    local text="install ${#missing[@]} packages"
    watch "$text" "$log" apt_install "${missing[@]}" || result=$?
    [ $result -ne 100 ] ||
        fail "the package servers can't be reached (is there a network?); see $log, or $by_hand"
    [ $result -eq 0 ] || fail "apt-get can't install the packages; see $log, or $by_hand"
    report "$text" ok "$start"
}
