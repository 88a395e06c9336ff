// What the menu of a part tells: pairs of a label and a reading.
import {amperes, count, degrees, duration, percent, rpm, seconds, speedText, volts, whole}
  from "./format.js";
import {STEPS, progressOf} from "./model.js";

const CABLES = {plugged: "plugged", pulled: "pulled"};
const known = (pairs) => pairs.filter(([, value]) => value !== null && value !== undefined
  && value !== "");

function rateText([packets, bytes]) {
  return `${whole(packets)} packets/s, ${whole(bytes)} bytes/s`;
}

function ofPort(port, {rates}) {
  const {row, nic} = port;
  const [rxPackets, rxBytes, txPackets, txBytes, errors] = rates[port.name] ?? [0, 0, 0, 0, 0];
  const counted = port.kind === "port" && port.state !== "dark";
  return known([
    ["Speed", row.speed ? speedText(row.speed, row.duplex) : "no link"],
    ["Flow control", row.flow],
    ["Cable", CABLES[port.cable]],
    ["Receives", counted ? rateText([rxPackets, rxBytes]) : null],
    ["Sends", counted ? rateText([txPackets, txBytes]) : null],
    ["Errors", errors > 0 ? `${whole(errors)} /s` : null],
    ["Interface", port.nicName],
    ["MAC address", nic?.mac],
    ["Link changes", row.changes],
  ]);
}

function ofCard(card, {timeMs}) {
  const {row} = card;
  const progress = progressOf(card, timeMs);
  const steps = STEPS.filter((step) => row[step.took])
    .map((step) => `${step.label} ${seconds(row[step.took])}`);
  return known([
    ["Card", card.name],
    ["Time left", progress && seconds(progress.leftMs)],
    ["In this state", `for ${duration(Math.max(0, timeMs - row.sinceMs))}`],
    ["In service after", row.bringUpMs === null ? null : seconds(row.bringUpMs)],
    ["Steps", steps.join(", ")],
    ["Temperature", card.temperature == null ? null : degrees(card.temperature)],
    ["Ports", card.ports.length ? count(card.ports.length, "port") : null],
    ["Own slot", card.own ? "the software of the switch runs here" : null],
  ]);
}

function ofIdentity({identity, row}) {
  return [["Odometer", row.odometer === null ? null : whole(row.odometer)],
          ["Name", identity.name], ["Serial number", identity.serial],
          ["Part number", identity.part]];
}

function ofFan(fan) {
  if (fan.state === "removed") return [];
  return known([["Speed", rpm(fan.row.rpm)],
                ["Speed asked for", fan.row.setPercent === null ? null
                  : percent(fan.row.setPercent)],
                ["Temperature", degrees(fan.row.temperature)], ...ofIdentity(fan)]);
}

function ofSupply(supply) {
  if (supply.state === "removed") return [];
  const {row, output} = supply;
  const lines = [1, 2, 3].filter((n) => output?.[`line${n}Mv`]).map((n) => [
    `Output ${n}`, `${volts(output[`line${n}Mv`])}, ${amperes(output[`line${n}Ma`])}`]);
  return known([["Input", `${volts(row.inputMv)}, ${amperes(row.inputMa)}`], ...lines,
                ["Temperature", degrees(row.temperature)], ...ofIdentity(supply)]);
}

const OF = {port: ofPort, management: ofPort, card: ofCard, fan: ofFan, supply: ofSupply};

/** The readings of a part: [label, text] each. `around` has {timeMs, rates}. */
export const readingsOf = (part, around) => OF[part.kind](part, around)
  .map(([label, value]) => [label, String(value)]);
