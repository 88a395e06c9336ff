// Values of a table as people read them, by the kind of their column.
import {h} from "../dom.js";
import {partOfUnit, point, portsOf} from "./point.js";

const GOOD = new Set(["up", "yes", "present", "operational", "stored", "enabled"]);
const BAD = new Set(["down", "failed", "missing", "deleted", "error"]);

/** "820 ns", "12.3 µs", "4.56 ms". */
export function duration(ns) {
  for (const [unit, size] of [["s", 1e9], ["ms", 1e6], ["µs", 1e3]]) {
    if (ns >= size) return `${(ns / size).toPrecision(3)} ${unit}`;
  }
  return `${ns} ns`;
}

function age(seconds) {
  if (seconds < 120) return `${seconds} s`;
  return seconds < 7200 ? `${Math.floor(seconds / 60)} min` : `${Math.floor(seconds / 3600)} h`;
}

function text(value) {
  if (value === true) return "yes";
  return value === false ? "no" : String(value);
}

function pointer(label, parts) {
  return h("button", {type: "button", class: "place", title: `Show ${label} on the front panel`,
                      onclick: () => point(parts)}, label);
}

function state(value) {
  const word = text(value);
  const mood = GOOD.has(word) ? "good" : BAD.has(word) ? "bad" : "";
  return h("span", {class: mood}, word);
}

// What is drawn for a value; a text is set without making an element anew.
const DRAWN = {
  count: (value) => value.toLocaleString("en"),
  time: (value) => (value ? duration(value) : "–"),
  age,
  celsius: (value) => `${(value / 100).toFixed(1)} °C`,
  state,
  port: (value) => pointer(value, portsOf(value)),
  ports: (value) => value.split(", ").flatMap((each, n) => [n ? " " : "",
                                                            pointer(each, portsOf(each))]),
  unit: (value) => pointer(value, [partOfUnit(value)]),
  list: (value, {openList}) => h("button", {
    type: "button", class: "place", title: `Show the rules of ${value}`,
    onclick: () => openList(value),
  }, value),
};

/** Puts a value into a cell, if it isn't there already. */
export function draw(cell, kind, value, doors) {
  const seen = `${kind} ${JSON.stringify(value)}`;
  if (cell.dataset.value === seen) return;
  cell.dataset.value = seen;
  cell.className = kind;
  if (value === null || value === undefined) cell.replaceChildren("–");
  else cell.replaceChildren(...[DRAWN[kind]?.(value, doors) ?? text(value)].flat());
}
