// The parts of a switch as the panel draws them, put together from the documents that are shown.
// Each part has the name that its element carries: "port 1:1", "card 3", "fan 0", "supply 1",
// "management".

/** The steps on the way to service, in their order, with the words that label them. */
export const STEPS = [
  {state: "powering on", label: "power", took: "powerMs"},
  {state: "self test", label: "test", took: "testMs"},
  {state: "downloading", label: "load", took: "downloadMs"},
  {state: "booting", label: "boot", took: "bootMs"},
];

const numberOf = (interfaceName) => Number(/\d+$/.exec(interfaceName ?? "")?.[0] ?? NaN);

function portState(row, card) {
  if (card && card.state !== "operational" && card.state !== "diagnostics") return "dark";
  if (!row) return "dark";
  if (row.admin === "disabled") return "disabled";
  return row.link === "up" ? "up" : "down";
}

function portOf(name, nicName, row, card, known) {
  const nic = known.nics.get(nicName);
  const number = numberOf(nicName);
  return {
    part: `port ${name}`, kind: "port", name, slot: card?.slot, number, nicName,
    label: name.split(":")[1], state: portState(row, card), row: row ?? {},
    cable: nic?.cable ?? null, nic,
  };
}

/** The ports of a card: those that it has by its interfaces, also while it isn't in service. */
function portsOf(slot, card, known) {
  const rows = known.ports.filter((row) => row.port.startsWith(`${slot.slot}:`));
  const first = numberOf(/^eth\d+/.exec(slot.interfaces ?? "")?.[0]);
  const names = new Set(rows.map((row) => row.port));
  for (let n = 1; n <= (slot.ports ?? 0); n++) names.add(`${slot.slot}:${n}`);
  return [...names].map((name) => {
    const row = rows.find((each) => each.port === name);
    const nth = Number(name.split(":")[1]);
    const nic = row?.interface ?? (Number.isNaN(first) ? "" : `eth${first + nth - 1}`);
    return portOf(name, nic, row, card, known);
  });
}

function cardOf(slot, known) {
  const row = known.cards.find((each) => each.slot === slot.slot) ?? slot;
  const temperature = known.environment.find((each) => each.unit === `slot ${slot.slot}`);
  const card = {
    part: `card ${slot.slot}`, kind: "card", slot: slot.slot, name: slot.card ?? row.card,
    state: row.state, row, own: slot.slot === known.ownSlot, temperature: temperature?.temperature,
  };
  card.ports = portsOf(slot, card, known);
  return card;
}

function managementOf(known, row) {
  const nic = known.nics.get("eth0");
  const state = row?.link === "up" ? "up" : row?.link === "down" ? "down" : "dark";
  return {part: "management", kind: "management", name: "management", number: 0, nicName: "eth0",
          label: "MGMT", state, row: row ?? {}, cable: nic?.cable ?? null, nic};
}

function unitsOf(kind, key, rows, {identities, outputs} = {}) {
  return (rows ?? []).map((row) => ({
    part: `${kind} ${row[key]}`, kind, number: row[key], state: row.state, row,
    identity: identities?.find((each) => each[key] === row[key]) ?? {},
    output: outputs?.find((each) => each[key] === row[key]),
  }));
}

/** The model of what the store shows; null until the documents are there. */
export function modelOf(store) {
  const {chassis, ports, cards, slots, fans, power, environment, nics} = store.shows;
  if (!chassis || !slots) return null;
  const known = {
    ports: ports?.ports ?? [], cards: cards?.cards ?? [],
    environment: environment?.environment ?? [],
    nics: new Map((nics?.nics ?? []).map((nic) => [nic.name, nic])),
    ownSlot: chassis.chassis.ownSlot,
  };
  const model = {
    chassis: chassis.chassis, shape: chassis.chassis.shape,
    cards: slots.slots.map((slot) => cardOf(slot, known)),
    management: managementOf(known, ports?.management),
    fans: unitsOf("fan", "fan", fans?.fans, fans),
    supplies: unitsOf("supply", "supply", power?.power, power),
  };
  const ofPorts = model.cards.flatMap((card) => card.ports);
  model.parts = new Map([model.management, ...model.cards, ...ofPorts, ...model.fans,
                         ...model.supplies].map((part) => [part.part, part]));
  return model;
}

/** How far a card is with its step, 0 to 1, and the ms that are left; null when nothing is due. */
export function progressOf(card, timeMs) {
  const {dueMs, sinceMs} = card.row;
  if (dueMs === null || dueMs === undefined) return null;
  const leftMs = Math.max(0, dueMs - timeMs);
  return {leftMs, done: dueMs > sinceMs ? 1 - Math.min(1, leftMs / (dueMs - sinceMs)) : 1};
}
