# What ./run and ./check share: packages, steps with progress, one clear line when something fails.
# Sourced by both; not a program of its own.

cd "$(dirname "${BASH_SOURCE[0]}")/.."

# Everything that a bare Debian 12 lacks. One line per purpose.
build_packages="g++ g++-multilib cmake ninja-build
    libboost1.81-dev nlohmann-json3-dev libfmt-dev lib32readline-dev
    iproute2 procps"
check_packages="googletest clang-format clang-tidy git python3
    qemu-system-x86 busybox-static xz-utils abigail-tools"

say() { printf '%s\n' "$*"; }

fail() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# install_packages NAME...: installs the ones that are missing, with sudo when this is not root.
install_packages() {
    local missing=() name
    for name in "$@"; do
        dpkg-query -W -f '${db:Status-Abbrev}' "$name" 2>/dev/null | grep -q '^ii' ||
            missing+=("$name")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    local sudo=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null ||
            fail "these packages are missing and there is no sudo to install them: ${missing[*]}"
        sudo=(sudo)
    fi
    say "installing ${missing[*]}"
    local log=build/install.log
    mkdir -p build
    "${sudo[@]}" apt-get update >"$log" 2>&1 || true
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y --no-install-recommends "${missing[@]}" >>"$log" 2>&1 ||
        fail "the packages can't be installed; see $log, or install them by hand: ${missing[*]}"
}

# step TEXT COMMAND...: runs a command with its output in a log; shows the end of it on failure.
step() {
    local text=$1 log start
    shift
    log=build/$(printf '%s' "$text" | tr -c 'a-zA-Z0-9\n' '-').log
    mkdir -p build
    start=$SECONDS
    printf '%-44s' "$text"
    if "$@" >"$log" 2>&1; then
        printf ' ok   %4d s\n' $((SECONDS - start))
    else
        printf ' FAILED %2d s\n' $((SECONDS - start))
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
