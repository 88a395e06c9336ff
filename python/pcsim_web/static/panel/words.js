// What is said of a part in one line: for screen readers, and where the pointer rests.
import {amperes, degrees, rpm, speedText, volts} from "./format.js";

const NAMES = {
  fan: (part) => `Fan ${part.number}`, supply: (part) => `Supply ${part.number}`,
  card: (part) => `Slot ${part.slot}`, port: (part) => `Port ${part.name}`,
  management: () => "Management port",
};

/** What a part is called. */
export const nameOf = (part) => NAMES[part.kind](part);

const CABLE = {plugged: "cable plugged", pulled: "cable pulled"};

function ofPort(port) {
  const states = {dark: "its card is not in service", up: "up", down: "down", disabled: "disabled"};
  const state = port.kind === "management" && port.state === "dark" ? "not in service"
    : states[port.state];
  const speed = port.state === "up" ? speedText(port.row.speed, port.row.duplex) : "";
  return [nameOf(port), state, speed, CABLE[port.cable]];
}

function ofCard(card) {
  return [nameOf(card), card.name, card.own ? "own slot" : "", card.state];
}

function ofUnit(unit) {
  const {row} = unit;
  if (unit.state === "removed") return [nameOf(unit), unit.state];
  const reading = unit.kind === "fan" ? rpm(row.rpm)
    : `${volts(row.inputMv)} ${amperes(row.inputMa)}`;
  return [nameOf(unit), unit.state, reading, degrees(row.temperature)];
}

const OF = {port: ofPort, management: ofPort, card: ofCard, fan: ofUnit, supply: ofUnit};

/** "Port 1:1, up, 100 Mbps full, cable plugged". */
export const wordsOf = (part) => OF[part.kind](part).filter((word) => word).join(", ");
