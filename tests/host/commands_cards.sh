#!/usr/bin/env bash
# Cards, environment, devices, PoE and sampling from the outside: the one clear line of each problem.
# usage: commands_cards.sh PCSIM
set -u
. "$(dirname "$0")/console_support.sh"

# A chassis with delayed reports whose clock stands still.
options=(--shape chassis --remote-io --stopped --lab 4 --quiet)

# Cards
for command in 'show card 8' 'card 8 power on' 'card 8 power off' 'card 8 diag' 'card 8 reset' \
    'card 8 remove' 'odometer card 8 5' 'show poe slot 8' 'poe slot 8 enable'; do
    refuses "slot 8 is empty; insert a card first" "$command"
done
refuses "slot 11 does not exist; slots are 1 to 10" 'card 11 insert'
refuses "slot 300 does not exist; slots are 1 to 10" 'card 300 diag'
refuses "slot 99999999999 does not exist; slots are 1 to 10" 'card 99999999999 diag'
for command in 'show card abc' 'card abc diag' 'card abc insert' 'card abc power on' \
    'show poe slot abc' 'poe slot abc enable' 'counters slot abc' 'counters zero slot abc' \
    'odometer card abc 5'; do
    refuses "slot 'abc' is not a number; slots are 1 to 10" "$command"
done
refuses "slot 3 holds a card already; remove it first" 'card 3 insert'
refuses "slot 3 is powering on; diagnostics need an operational card" 'card 3 diag'
refuses "slot 3 is powering on; only a card that is powered off or failed can be powered on" \
    'card 3 power on'
refuses "slot 9 is operational; only a card that is powered off or failed can be powered on" \
    'card 9 power on'
refuses "slot 3 is powering off already" 'card 3 power off' 'card 3 power off'
refuses "slot 3 is powered off; 'card 3 power on' brings it up" 'card 3 power off' \
    'time warp 2000' 'card 3 reset'
refuses "'explode' is not known after 'card 3'; expected power, diag|reset|remove, insert" \
    'card 3 explode'
refuses "'PCSimC12' is not a card type; expected PCSimC2, PCSimC128, PCSimC256, PCSimMGT or PCSimStack" \
    'show capability PCSimC12'
answers '1 to 256 +4 +4 +0x00000000 +0 to 255' 'show capability PCSimC256'
answers 'Type +407' 'show capability PCSimC128'
answers '  8  PCSimC2 +powering on' 'card 8 insert' 'show cards'
answers '"downloadMs": 5000' 'time warp 22000' 'show cards --json'
answers ' 10  PCSimMGT  powered off' 'card 10 power off' 'show cards'

# The management port is known from when its card is up, and no more when that is gone.
answers 'Link +up$' 'show ports'
answers 'Link +-$' 'card 9 remove' 'show ports'
answers '"link": null' 'card 9 remove' 'show ports --json'
answers 'Link +up$' 'card 9 remove' 'card 9 insert' 'show ports'
answers 'Link +down$' 'cable 0 pull' 'card 9 remove' 'card 9 insert' 'show ports'

# One of a kind is told as one.
options=(--lab 1 --stopped --quiet)
answers '  1 of 1 card is operational$' 'show cards'
answers 'Slot 1: 1 port enabled$' 'show events'
options=(--shape chassis --remote-io --stopped --lab 4 --quiet)

# Fans, supplies, odometers
refuses "fan 4 is not present; present are 0, 1, 2, 3" 'fan 4 speed 50'
refuses "fan '300' is not a number from 0 to 7" 'fan 300 speed 50'
refuses "percent '101' is not a number from 0 to 100" 'fan 1 speed 101'
refuses "fan '9' is not a number from 0 to 7" 'odometer fan 9 1'
refuses "fan 7 is not present; present are 0, 1, 2, 3" 'odometer fan 7 1'
refuses "power supply 'x' is not a number from 0 to 7" 'odometer power x init'
refuses "power supply 0 is not present; present are 1, 2, 3, 4" 'odometer power 0 init'
refuses "fan 1 is not present; present are none" 'module fans 0' 'time warp 1000' 'fan 1 speed 50'
answers 'fan 0 +present +25.00' 'show environment'
answers '"rpm": 20003' 'show fans --json'
answers '"line1Mv": 4891' 'show power --json'

# Devices
for command in 'show device 2' 'device 2 info' 'device 2 status' 'device 2 enable' \
    'device 2 disable' 'device 2 restart' 'device 2 state 1'; do
    refuses "device 2 does not exist; devices are 0 (PSUCTRL 1), 1 (PSUCTRL 2), 3 (mouse usb), 5 (floppy A)" \
        "$command"
done
refuses "state 8 is out of range; device states are 0 to 7" 'device 1 state 8'
for number in -1 abc 4294967296; do
    refuses "device $number does not exist; devices are 0 (PSUCTRL 1), 1 (PSUCTRL 2), 3 (mouse usb), 5 (floppy A)" \
        "device $number info"
done
refuses "device 0: the platform answered -32" 'fault pcSimDeviceCommand returns -32' 'device 0 info'
answers 'Answer +Command not supported' 'device 3 enable'
answers '"result": 0' 'device 5 disable --json'

# Power over Ethernet, sampling
refuses "port 3:1 does not exist; there are no ports yet" 'show poe port 3:1'
refuses "port 3:9 does not exist; ports are 1:1 to 1:2, 2:1 to 2:2, 3:1 to 3:2, 4:1 to 4:2, 5:1 to 5:2, 6:1 to 6:2, 7:1 to 7:2" \
    'time warp 22000' 'sflow 3:9 add'
refuses "port 3:1 is sampled already" 'time warp 22000' 'sflow 3:1 add' 'sflow 3:1 add'
refuses "port 3:1 is not sampled" 'time warp 22000' 'sflow 3:1 del'
refuses "PoE: the platform sent no reply of type 3" 'fault pcSimCardPoeGetVersion returns 0' \
    'show poe slot 3'
answers '"word36": 300' 'show poe slot 3 --json'
answers '"frames": 100' 'time warp 22000' 'show sflow 3:1 --json'

# Memberships may be there before the card; one that can never come is refused.
options=(--shape chassis --lab 16 --stopped)
answers '^ +10 +4096  \(8:1\) +\(8:2\) +0$' 'vlan create 10' 'vlan 10 add 8:1' \
    'vlan 10 add 8:2 tagged' 'show vlans'
answers '^ +10 +4096  - +8:1 ' 'vlan create 10' 'vlan 10 add 8:1' 'vlan 10 add 8:1 tagged' \
    'card 8 insert' 'show vlans'
answers '^ +1  0x01000001  8:1-2 ' 'trunk create 1' 'trunk add 1 8:1' 'trunk add 1 8:2' \
    'card 8 insert' 'show trunks'
answers '^ +10 +4096  - +- +0$' 'vlan create 10' 'vlan 10 add 8:1' 'vlan 10 remove 8:1' \
    'card 8 insert' 'show vlans'
refuses 'port 8:1 is in VLAN 10 already, untagged' 'vlan create 10' 'vlan 10 add 8:1' 'vlan 10 add 8:1'
refuses 'port 8:1 is in trunk 1 already' 'trunk create 1' 'trunk create 2' 'trunk add 1 8:1' \
    'trunk add 2 8:1'
ports='ports are 1:1 to 1:2, 2:1 to 2:2, 3:1 to 3:2, 4:1 to 4:2, 5:1 to 5:2, 6:1 to 6:2, 7:1 to 7:2'
for port in 8:0 8:257 11:1 0:1 1:3 9:1; do
    refuses "port $port does not exist; $ports" 'vlan create 10' "vlan 10 add $port"
    refuses "port $port does not exist; $ports" 'trunk create 1' "trunk add 1 $port"
done

finish
