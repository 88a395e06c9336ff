#!/usr/bin/env bash
# Calls of the platform's operations by hand. usage: commands_call.sh PCSIM
set -u
. "$(dirname "${BASH_SOURCE[0]}")/console_support.sh"

# They answer reports: values for 'expect' and 'wait', JSON, dumps line by line.
succeeds 'expect call fanReadTemp slot 2 -- temperature is 2502' \
    'expect call system.chassisGetInfo -- info.serialNumber contains SN and info.ownSlot is 1' \
    'wait call cardDb.isCardHwPresent slot 1 -- result is 5 within 100' \
    'expect call cardGetCapability name PCSimC2 -- record.portCount is 2' \
    'expect call ipv4FibDump -- dump.count at-least 2'
run 'call slot.macIntrGetMask --json'
[ "$(cat "$scratch/out")" = '{
  "call": {
    "operation": "pcSimMacIntrGetMask",
    "in": "1",
    "result": 0,
    "mask": 4294967295
  }
}' ] || problem "JSON of a call is $(cat "$scratch/out")"

# They go the way of all calls: counted, traced, ruled by faults.
succeeds 'call family.trunkDelPorts' 'expect show coverage -- pcSimTrunkDelPorts.calls is 1'
answers '^\[    0\.000\] > pcSimCardReadTemperature slot 3 -> 0 temperature 2030$' \
    'calls on only cardReadTemperature' 'call cardReadTemperature slot 3'
succeeds 'fault cardReadTemperature where slot 3 set temperature 7' \
    'expect call cardReadTemperature slot 3 -- temperature is 7' \
    'fault cardReadTemperature returns -4' 'expect call cardReadTemperature -- result is -4'

# Records of the host go by its own words, and so do VLAN instances.
member=('vlan create 10' 'vlan 10 add 1:1')
succeeds "${member[@]}" 'call slot.cardVlanDeletePort vpif 10/1:1' 'call cardPifCreate pif 1:2 as h' \
    'expect call cardPifDelete pif 1:2 handle h -- handle is null' \
    'call family.ipv4McHwCacheAdd group 239.1.1.1 source 10.0.0.1 incomingVlan vlan:10 outgoing.vlanInstance vlan:10 outgoing.port 1:1' \
    'expect call dumpHalMcDb -- result is 0'
refuses "VLAN 11 does not exist; 'vlan create 11' makes it" 'call family.vlanIfCreate vlanIf 11'
refuses "port 1:2 is no member of VLAN 10; 'vlan 10 add 1:2' makes it one" "${member[@]}" \
    'call slot.cardVlanAddPort vpif 10/1:2'
refuses "'10' is no member of a VLAN; expected VLAN/PORT, such as 10/1:2" "${member[@]}" \
    'call slot.cardVlanAddPort vpif 10'
refuses "the host has no record of port 1:9; expected one that 'show ports' or 'show trunks' lists" \
    'call cardPifCreate pif 1:9'

# What has been handed out is handed back by its name, and no longer once it has ended.
entry=('vlan create 10' 'call fdbAllocEntry mac 02:00:00:00:00:01 vlanInstance vlan:10 as e'
    'call fdbAddEntry slot e handle 7 mac 02:00:00:00:00:01 vlanInstance vlan:10 port 1:1')
succeeds "${entry[@]}" 'expect call fdbMacLookup mac 02:00:00:00:00:01 vlanIf 10 -- handle is 7' \
    'call fdbDeleteEntry slot e' \
    'expect call fdbMacLookup mac 02:00:00:00:00:01 vlanIf 10 -- result is -1'
refuses "'e' has ended with family.fdbCleanup; expected one that 'show handles' tells as there" \
    "${entry[@]}" 'call fdbCleanup' 'call fdbDeleteEntry slot e'
refuses "'0x8048000' is nothing that slot can be; expected the name of entry that a call has kept with 'as', or null" \
    'call fdbDeleteEntry slot 0x8048000'

# A table that is freed by hand is made anew before the host looks at it again.
succeeds "${member[@]}" 'fdb add 02:00:00:00:00:02 vlan 10 port 1:1' 'call fdbCleanup' \
    'expect fdb stats -- entries is 0' 'expect event "MAC table made anew: 1 address gone"' \
    'fdb add 02:00:00:00:00:02 vlan 10 port 1:1' 'expect fdb stats -- entries is 1'

# Callbacks are the host's own: those of calls by hand are noted, and its own flushes go on.
succeeds "${member[@]}" 'call fdbFlush argument1 5 argument2 6' 'time warp 1000' \
    'expect event "Callback called with 5 and 6"' 'fdb add 02:00:00:00:00:02 vlan 10 port 1:1' \
    'fdb flush' 'time warp 1000' 'expect event "MAC table flushed: 1 address removed"'
succeeds 'call cardPortSetForwardingState portInstance 1:1 argument1 8' 'time warp 1000' \
    'expect event "Callback called with 8 and 0"'
succeeds 'expect call fdbFlush callback null -- result is 0'

# What is refused says what would be right.
refuses "family.ipAdjAdd takes no null for 'record'; leave it out for zeros, or give it a value" \
    'call ipAdjAdd record null'
refuses "no operation goes by 'fdbMacLokup'; perhaps family.fdbMacLookup" 'call fdbMacLokup'
refuses "cardDb.isCardHwPresent has no parameter 'port'; expected one of slot" \
    'call isCardHwPresent port 1:1'
refuses "there is no slot table 4; expected one of 1" 'call cardInit in 4'
options=(--shape chassis --lab 2 --stopped)
refuses "slot.isPortDisabled is null: this platform doesn't offer it; 'show operations' tells which there are" \
    'call isPortDisabled portInstance 1:1'
succeeds 'expect call cardReadTemperature slot 2 -- in is 2' \
    'expect call cardPortGetMediaType portInstance 3:1 -- in is 3' \
    'expect call cardReadTemperature slot 99 -- in is 9'

finish
