#!/bin/busybox sh
# shellcheck shell=dash source-path=SCRIPTDIR
# First process of the virtual machine. Makes its interfaces ready, runs the measurements and prints
# one line for each: "<step>: <what was measured>". A line that begins with "@" asks the world
# outside for something ("@pull eth2") and waits for its answer. The recording of the switch's run
# leaves through the second serial port.
/bin/busybox --install -s /bin
mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t devtmpfs dev /dev
exec </dev/ttyS0 >/dev/ttyS0 2>&1
stty -echo -onlcr
export PATH=/bin LD_LIBRARY_PATH=/lib

outside() {
    echo "@$*"
    read -r _
}

# What a card's driver is called, "-" for a card that is not there.
driver() {
    if [ -e "/sys/class/net/$1" ]; then basename "$(readlink "/sys/class/net/$1/device/driver/module")"; else echo -; fi
}

# Prints "name up" or "name down" as soon as the PHY of a card says so, or after three seconds what
# it says then.
link_becomes() {
    for _ in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15; do
        [ $((0x$(phy "$1" get 1) & 4)) = "$2" ] && break
        usleep 200000
    done
    if [ $((0x$(phy "$1" get 1) & 4)) = 4 ]; then echo "$1 up"; else echo "$1 down"; fi
}

counters() { # received frames and bytes, sent frames and bytes
    grep "$1:" /proc/net/dev | tr ':' ' ' | awk '{ print $3, $2, $11, $10 }'
}

while read -r module; do insmod "/modules/$module"; done </modules/order
for scope in all default; do echo 1 >/proc/sys/net/ipv6/conf/$scope/disable_ipv6; done
for _ in 1 2 3 4 5 6 7 8 9 10; do
    [ -e /sys/class/net/eth6 ] && break
    usleep 200000
done
# eth0 to eth4 have real MII, eth5's driver refuses it, there are no eth6 and eth7.
for name in eth5 eth6; do ip link set $name down; done
ip link set eth5 name eth8
ip link set eth6 name eth5
for n in 0 1 2 3 4 5 8; do ip link set eth$n arp off multicast off up; done
echo "cards: $(for n in 0 1 2 3 4 5 6 8; do printf 'eth%d=%s ' $n "$(driver eth$n)"; done)"

# shellcheck source=phy.sh
. /tests/phy.sh
if [ -e /bin/pcsim ]; then
    export PCSIM_MII=off # the drivers' own word
    send() { frames "$1" "$2" "$3"; }
    pull() { :; } # the world outside does it
    plug() { :; }
    cd /tests || exit 1
    echo "record cards.rec" >record.plan
    switch_plan=record.plan
    # shellcheck source=switch.sh
    . /tests/switch.sh
    { stty raw && gzip -9 -c cards.rec; } </dev/ttyS1 >/dev/ttyS1
fi
echo "end: of measurements"
poweroff -f
