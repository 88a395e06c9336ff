// What can be done to a part, as lines of the console: groups of fields and buttons. The line of a
// button is a text, or made from the values of the group's fields.

const FRAMES = {name: "count", label: "Frames", unit: "frames", type: "number", value: 100,
                min: 1, max: 1000000};
const SPEEDS = [["auto", "automatic"], ["10", "10 Mbps"], ["100", "100 Mbps"],
                ["1000", "1 Gbps"], ["10000", "10 Gbps"]];
const NO_CABLES = "No cables here: a switch that is started with --lab PORTS has some.";

// A presence mask is seen at the next poll, which a stopped clock puts off; until then what was
// asked for last counts, so that two units can be removed one after the other.
const POLL_MS = 3000;
const asked = new Map();  // instance and kind -> {at, mask, shown: the mask at that time}

function cableGroups(port) {
  if (port.cable === null) return [{title: "Cable", note: NO_CABLES, buttons: []}];
  const cable = `cable ${port.number}`;
  return [
    {title: "Cable", buttons: [port.cable === "plugged"
      ? {label: "Pull", line: `${cable} pull`} : {label: "Plug", line: `${cable} plug`}]},
    {title: "Send", fields: [FRAMES],
     buttons: [{label: "In", line: ({count}) => `${cable} send ${count}`},
               {label: "Out", line: ({count}) => `${cable} send ${count} out`}]},
  ];
}

function negotiation(name) {
  return {
    title: "Speed", note: "The platform keeps this, and doesn't send it to the PHY.",
    fields: [{name: "speed", label: "Speed", choices: SPEEDS, value: "auto"},
             {name: "duplex", label: "Duplex", choices: [["full", "full"], ["half", "half"]],
              value: "full"}],
    buttons: [{label: "Set", line: ({speed, duplex}) => speed === "auto" ? `port ${name} autoneg on`
      : `port ${name} autoneg off speed ${speed} duplex ${duplex}`}],
  };
}

function ofPort(port) {
  const verb = `port ${port.name}`;
  return [
    {title: "Port", buttons: [
      port.state === "disabled" ? {label: "Enable", line: `${verb} enable`}
        : {label: "Disable", line: `${verb} disable`},
      {label: "Restart", line: `${verb} restart`},
      {label: "Zero counters", line: `counters zero ${port.name}`},
    ]},
    ...cableGroups(port), negotiation(port.name),
  ];
}

function ofCard(card) {
  const verb = `card ${card.slot}`;
  if (card.state === "empty") {
    return [{title: "Slot", buttons: [{label: "Insert a card", line: `${verb} insert`}]}];
  }
  const off = ["powered off", "powering off", "failed", "present"].includes(card.state);
  const buttons = [off ? {label: "Power on", line: `${verb} power on`}
    : {label: "Power off", line: `${verb} power off`}, {label: "Reset", line: `${verb} reset`}];
  if (card.state === "operational") buttons.push({label: "Diagnose", line: `${verb} diag`});
  return [{title: "Card", buttons: [...buttons, {label: "Remove", line: `${verb} remove`}]}];
}

const UNITS = {
  fan: {verb: "module fans", reading: "fanSlot.fanReadRpm", operations: /fan/i},
  supply: {verb: "module power", reading: "psSlot.pSReadInputLine",
           operations: /psSlot|PSRead|PSGet/},
};

/** The line that removes or inserts a unit: a presence mask of all units of its kind. */
function presence(unit, {instance, units, stopped}, there) {
  const key = `${instance} ${unit.kind}`;
  const last = asked.get(key);
  const shown = units.reduce((mask, each) =>
    each.state === "removed" ? mask : mask | 1 << each.number, 0);
  const waits = last?.shown === shown && (stopped || Date.now() - last.at < POLL_MS);
  const mask = waits ? last.mask : shown;
  const bit = 1 << unit.number;
  const next = there ? mask | bit : mask & ~bit;
  return {line: `${UNITS[unit.kind].verb} 0x${next.toString(16)}`,
          ran: () => asked.set(key, {at: Date.now(), mask: next, shown})};
}

/** The fault rule that lets the unit fail, if there is one. */
function ruleOf(unit, rules) {
  const {operations} = UNITS[unit.kind];
  return rules.find((rule) => rule.state === "on" && operations.test(rule.operation)
    && new RegExp(`\\bwhere slot ${unit.number}\\b`).test(rule.when));
}

function ofUnit(unit, around) {
  const title = unit.kind === "fan" ? "Fan" : "Supply";
  if (unit.state === "removed") {
    return [{title, buttons: [{label: "Insert", ...presence(unit, around, true)}]}];
  }
  const rule = ruleOf(unit, around.rules);
  const fail = `fault ${UNITS[unit.kind].reading} where slot ${unit.number} returns -1`
    + " count 1000000";
  const groups = [{
    title, note: "What changes is seen at the next poll, a few seconds later.",
    buttons: [{label: "Remove", ...presence(unit, around, false)},
              rule ? {label: "Repair", line: `fault-remove ${rule.rule}`}
                : {label: "Let it fail", line: fail}]}];
  if (unit.kind === "fan") groups.push(speedGroup(unit));
  return groups;
}

function speedGroup(fan) {
  return {title: "Speed", fields: [{name: "percent", label: "Percent", unit: "%", type: "number",
                                    value: 60, min: 0, max: 100}],
          buttons: [{label: "Set", line: ({percent}) => `fan ${fan.number} speed ${percent}`},
                    {label: "None", line: `fan ${fan.number} speed none`}]};
}

const OF = {port: ofPort, management: cableGroups, card: ofCard, fan: ofUnit, supply: ofUnit};

/** The groups of a part: {title, note, fields, buttons: [{label, line, ran}]}. `around` has
 * {instance, units, rules, stopped}: units of its kind, fault rules, whether the clock stands. */
export const actsOf = (part, around) => OF[part.kind](part, around);
