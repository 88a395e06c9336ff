# shellcheck shell=dash
# Measures what the platform's three PHY accesses do to a card with real registers. Sourced by the
# first process.
for n in 0 1 2 3 4; do echo "link.eth$n: $(link_becomes eth$n 4)"; done
sleep 1
for n in 0 1 2 3 4; do echo "registers.eth$n: $(phy eth$n)"; done
echo "refused: $(phy eth5)"
echo "absent: $(phy eth6)"

outside pull eth2
echo "pulled: $(link_becomes eth2 0)"
echo "pulled.registers: $(phy eth2)"
echo "pulled.others: $(link_becomes eth4 4)"
outside plug eth2
echo "plugged: $(link_becomes eth2 4)"
sleep 1
echo "plugged.registers: $(phy eth2)"

phy eth1 set 4 0x0001
echo "silenced.register4: $(phy eth1 get 4)"
echo "silenced: $(phy eth1 down)"
echo "silenced.later: $(link_becomes eth1 4)"
sleep 1
echo "silenced.registers: $(phy eth1)"
echo "reset: $(phy eth1 up)"
echo "reset.later: $(link_becomes eth1 4)"
sleep 1
echo "reset.registers: $(phy eth1)"

sleep 4 # the driver itself follows the link with a delay of up to two seconds
before=$(counters eth4)
frames eth3 eth4 1000
for _ in 1 2 3 4 5 6 7 8; do # and reads its counters every two seconds
    [ "$(counters eth4 | cut -d ' ' -f 1)" -ge 1000 ] && break
    sleep 1
done
sleep 3
echo "frames.received: $before -> $(counters eth4)"
echo "frames.sent: $(counters eth3)"
