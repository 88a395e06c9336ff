// Fans and power supplies: modules with a grille or an inlet, a lamp and their readings.
import {s, setText} from "../dom.js";
import {amperes, degrees, rpm, volts} from "./format.js";
import {lamp, light, pressable, rect, say, text} from "./shapes.js";
import {nameOf, wordsOf} from "./words.js";

export const UNIT = {height: 76, gap: 8, least: 116, roomy: 170, compact: 150};
const LAMPS = {present: "good", failing: "bad"};

// A turn of the drawn fan takes so many times as long as one of the real, which nobody would see.
const SLOWED = 120;

function rotor() {
  const blades = [];
  for (let n = 0; n < 7; n++) {
    blades.push(s("path", {class: "fan-blade", transform: `rotate(${n * 360 / 7})`,
                           d: "M3 -6C6 -13 13 -18 18 -18C21 -13 17 -7 7 -2Z"}));
  }
  return s("g", {class: "rotor"}, s("circle", {r: 22, class: "rotor-room"}), blades,
           s("circle", {r: 6.5, class: "hub"}));
}

function grille() {
  return s("g", {class: "grille"}, [9.5, 14.5, 19.5].map((r) => s("circle", {r})),
           s("circle", {r: 24, class: "rim"}),
           s("path", {d: "M0 -24V-6M0 24V6M-24 0H-6M24 0H6"}));
}

function fanFace() {
  const turning = rotor();
  const node = s("g", {}, turning, grille());
  function update(unit) {
    const speed = unit.state === "present" ? unit.row.rpm ?? 0 : 0;
    turning.classList.toggle("turns", speed > 0);
    turning.style.animationDuration = speed > 0 ? `${(60 / speed * SLOWED).toFixed(2)}s` : "";
  }
  return {node, update};
}

/** An inlet with three pins. */
function supplyFace() {
  const node = s("g", {}, rect(-24, -20, 48, 40, "inlet-plate", 4),
                  s("path", {class: "inlet", d: "M-17 -13H17V7L11 13H-11L-17 7Z"}),
                  rect(-2, -9, 4, 9, "pin"), rect(-12, -4, 4, 9, "pin"), rect(8, -4, 4, 9, "pin"));
  return {node, update() {}};
}

/** Two lines. The reading that is missing says that the unit is failing. */
function readingsOf({kind, state, row}, roomy) {
  if (state === "removed") return ["removed", ""];
  const input = roomy ? `${volts(row.inputMv)}, ${amperes(row.inputMa)}` : volts(row.inputMv);
  const first = kind === "fan" ? rpm(row.rpm) : input;
  const second = degrees(row.temperature);
  if (state !== "failing") return [first, second];
  const missing = (kind === "fan" ? row.rpm : row.inputMv) === null;
  return missing ? ["failing", second] : [first, "failing"];
}

function drawFace(unit, small) {
  const face = unit.kind === "fan" ? fanFace() : supplyFace();
  const middle = UNIT.height / 2;
  const transform = small ? `translate(24 ${middle}) scale(0.76)` : `translate(36 ${middle})`;
  return {node: s("g", {class: "face", transform}, face.node), update: face.update};
}

/** Draws a fan or a supply in its bay. */
export function drawUnit(unit, x, y, width) {
  const small = width < UNIT.compact;
  const left = small ? 46 : 68;
  const face = drawFace(unit, small);
  const led = lamp(left + 4, 21, 4);
  const lines = [text(left, 43, "reading"), text(left, 59, "reading")];
  const node = pressable(unit.part, {x: 1, y: 1, width: width - 2, height: UNIT.height - 2},
                         rect(0, 0, width, UNIT.height, "bay", 5), face.node, led,
                         text(left + 13, 25, "unit-name", nameOf(unit)), ...lines);
  node.setAttribute("transform", `translate(${x} ${y})`);
  node.classList.add("unit");
  function update(now) {
    say(node, now.state, wordsOf(now));
    light(led, LAMPS[now.state] ?? "");
    readingsOf(now, width >= UNIT.roomy).forEach((words, n) => setText(lines[n], words));
    face.update(now);
  }
  return {part: unit.part, node, update};
}

/** How the bays stand: those of a kind together, all of a width. */
export function fitUnits(count, width) {
  const fitting = Math.floor((width + UNIT.gap) / (UNIT.least + UNIT.gap));
  const columns = Math.max(1, Math.min(count, fitting));
  const even = columns >= count ? count : [8, 4, 2, 1].find((each) => each <= columns);
  const each = (width - (even - 1) * UNIT.gap) / even;
  const rows = Math.ceil(count / even);
  return {columns: even, each, height: rows * (UNIT.height + UNIT.gap) - UNIT.gap};
}

/** Draws them in rows. */
export function drawUnits(units, fit, x, y) {
  return units.map((unit, n) => drawUnit(
    unit, x + (n % fit.columns) * (fit.each + UNIT.gap),
    y + Math.floor(n / fit.columns) * (UNIT.height + UNIT.gap), fit.each));
}
