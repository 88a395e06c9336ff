#!/usr/bin/env bash
# In a fresh Debian: the version before is installed and has an instance that runs; the packages are
# upgraded under it. It goes on, and answers to the new programs. The version before is in /previous,
# this one in /packages.
set -euo pipefail
. /proof/common.sh

install_here /previous/*.deb
before=$(dpkg-query -W -f '${Version}' pcsim)
pcsim --lab 4 --name old --serve --quiet --json=lines &
old=$!
pcsim-lab up /usr/share/doc/pcsim/examples/leaf-spine/lab.yml --name fabric >/dev/null
for _ in {1..100}; do
    pcsimctl old show ports 2>/dev/null | found '^  1:4 .* up ' && break
    sleep 0.1
done
pcsimctl old vlan create 77 >/dev/null

install_here /packages/*.deb
after=$(dpkg-query -W -f '${Version}' pcsim)
dpkg --compare-versions "$before" lt "$after" || fail "$after does not come after $before"
told "upgraded" "$before to $after"

kill -0 $old 2>/dev/null || fail "the instance has ended"
pcsimctl old show vlans | found '77' || fail "the instance has lost its VLAN"
pcsimctl old cable 2 pull >/dev/null
pcsimctl old wait show ports -- 1:2.link is down within 5000 >/dev/null || fail "its ports stand still"
pcsimctl old port 1:1 disable >/dev/null
pcsimctl old route add 10.1.0.0/16 via 10.0.0.1 vlan 77 >/dev/null || fail "its library is gone"
python3 - <<'END' || fail "the new client doesn't speak with it"
import pcsim
with pcsim.connect("old") as switch:
    assert switch.port("1:2").link == "down"
END
told "the instance of $before" "goes on, and answers pcsimctl and Python of $after"
pcsimctl fabric.leaf1 show ports | found ' up ' || fail "the lab has lost its leaf"
pcsim-lab exec --lab fabric leaf1 -- ip link show eth1 >/dev/null 2>&1 ||
    fail "the new pcsim-lab doesn't reach the lab of $before"
pcsim-lab down fabric >/dev/null
told "the lab of $before" "is ended by pcsim-lab of $after"

pcsimctl old save /tmp/state >/dev/null
pcsimctl old shutdown >/dev/null
wait $old || fail "it ends with status $?"
pcsim --lab 4 --quiet -x 'load /tmp/state' -x 'show vlans' | found 77 ||
    fail "the new version doesn't load what the old one has saved"
told "its state" "is loaded by $after"

purge "${packages[@]}"
left=$(find /usr /etc /var/lib /opt -xdev -iname '*pcsim*')
[ -z "$left" ] || fail "purged, there are still: $left"
told "purged" "no trace"
