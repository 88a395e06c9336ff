#!/bin/sh
# The switch's script in a lab: what the virtual machine does with cards, with emulated PHYs. Takes
# the directory of the built programs.
build=$1
cd "$(dirname "$0")" || exit 1
PATH=$build:/usr/sbin:/sbin:$PATH
for n in 6 7; do ip link delete eth$n; done

# A phy that is run for a moment has no memory, so it shows link alone; the partner tells the rest.
phy() { LD_PRELOAD="$build/libpcsim-mii.so.0" "$build/phy" "$1"; }
send() {
    frames "$1" "cable${1#eth}" "$3"
    frames "cable${2#eth}" "$2" "$3"
}
pull() { ip link set "cable${1#eth}" down; }
plug() { ip link set "cable${1#eth}" up; }

scripts=$(mktemp -d)
trap 'rm -rf "$scripts"' EXIT
cp switch.pcsim emulated/kind.pcsim "$scripts"
switch=$PWD/switch.sh
cd "$scripts" || exit 1
# shellcheck source=switch.sh
. "$switch"
echo "end: of measurements"
