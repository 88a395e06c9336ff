#!/usr/bin/env bash
# There is one version: of all programs, the library's file, what pkg-config and CMake are told, what
# an instance says over its socket, and the newest one that the changelog tells of.
#
# usage: versions.sh PROGRAMS SOURCES   the build folder, the tree
set -euo pipefail
programs=$1 sources=$2
export PCSIM_RUN_DIR
PCSIM_RUN_DIR=$(mktemp -d)
trap 'rm -rf "$PCSIM_RUN_DIR"' EXIT
fail() { echo "FAILED: $*"; exit 1; }

numbers() { sed -nE "s/^$1 = \"?([0-9.]+)\"?.*/\1/p" "$sources/python/pcsim/version.py"; }
version=$(numbers VERSION) protocol=$(numbers PROTOCOL)
[[ $version =~ ^[0-9]+\.[0-9]+\.[0-9]+$ && -n $protocol ]] || fail "version.py: '$version', '$protocol'"
abi=${version%%.*}
told="library $version, ABI $abi
protocol $protocol"

for program in pcsim pcsimctl pcsim-nics pcsim-probe pcsim-campaign pcsim-lab pcsim-web; do
    said=$("$programs/$program" --version)
    [ "$said" = "$program $version"$'\n'"$told" ] || fail "$program says: $said"
done
sample=$(sed -n '/^    \$ pcsim --version$/,/^$/s/^    //p' "$sources/docs/compatibility.md" | tail -n +2)
[ "$sample" = "pcsim $version"$'\n'"$told" ] || fail "docs/compatibility.md shows: $sample"
[ "$(readlink -f "$programs/libpcsimulation.so.$abi")" = \
    "$(readlink -f "$programs")/libpcsimulation.so.$version" ] || fail "the library's file"
grep -qx "Version: $version" "$programs/pcsimulation.pc" || fail "pkg-config is told another one"
grep -qF "set(PACKAGE_VERSION \"$version\")" "$programs/pcsimConfigVersion.cmake" ||
    fail "CMake is told another one"
newest=$(sed -nE 's/^## \[([0-9].*)\] - .*/\1/p' "$sources/CHANGELOG.md" | head -1)
[ "$newest" = "$version" ] || fail "CHANGELOG.md's newest is $newest; expected $version"

"$programs/pcsim" --stopped --serve --quiet --name versions &
pcsim=$!
trap 'kill $pcsim 2>/dev/null; rm -rf "$PCSIM_RUN_DIR"' EXIT
said=$(python3 - "$PCSIM_RUN_DIR/versions.sock" <<'END'
import json, socket, sys, time
end = time.monotonic() + 20
with socket.socket(socket.AF_UNIX) as connection:
    while connection.connect_ex(sys.argv[1]) != 0 and time.monotonic() < end:
        time.sleep(0.05)
    connection.sendall(b'{"jsonrpc":"2.0","id":1,"method":"describe"}\n')
    print(*json.loads(connection.makefile().readline())["result"]["versions"].values())
END
)
[ "$said" = "$version $abi $protocol" ] || fail "the instance says: $said"
echo "version $version, ABI $abi, protocol $protocol everywhere"
