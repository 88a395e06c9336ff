// A card in its slot: what it is, how far it is on its way to service, and its ports.
import {s, setAttribute, setText} from "../dom.js";
import {degrees} from "./format.js";
import {stepsBar, singleBar} from "./bars.js";
import {STEPS, progressOf} from "./model.js";
import {PORT, drawPort, drawPorts, fitPorts} from "./port.js";
import {at, lamp, light, pressable, rect, say, text, vents} from "./shapes.js";
import {wordsOf} from "./words.js";

export const BLADE = {height: 50, gap: 3};
const IN_ROW = 8;  // ports that stand beside the name; more stand below
const PORTS_AT = 262;  // of a wide blade
const SHOWN = {
  operational: "good", diagnostics: "busy", failed: "bad", present: "warn", "powering off": "busy",
  ...Object.fromEntries(STEPS.map((step) => [step.state, "busy"])),
};

function stateText(card, progress, narrow) {
  if (!progress) return card.state;
  return `${card.state}, ${Math.ceil(progress.leftMs / 1000)} s${narrow ? "" : " left"}`;
}

function lever(x, height, mirrored) {
  return s("g", {class: "lever", transform: mirrored ? `translate(${x} 0) scale(-1 1)`
    : `translate(${x} 0)`}, rect(3, 6, 7, height - 12, "handle", 3),
           rect(5, 10, 3, height - 20, "grip", 1.5));
}

/** Where the things of a blade stand, by its width. */
function placesOf(card, {width, barAt}, management) {
  const ports = card.ports.length + (management ? 1 : 0);
  const narrow = width < 560;
  const name = narrow ? 50 : 56;
  const beside = ports <= (narrow ? 3 : IN_ROW);
  const fit = fitPorts(card.ports.length, width - 44, [1], !beside);
  const portsAt = narrow ? width - 16 - (management ? 40 : 0) - (card.ports.length ? fit.width : 0)
    : PORTS_AT;
  const height = BLADE.height + (beside ? 0 : fit.height + 6);
  const bar = narrow ? {x: name, y: 42, width: Math.max(80, Math.min(150, portsAt - name - 12))}
    : {x: barAt, y: 16, width: width - 112 - barAt};
  return {narrow, name, beside, fit, portsAt, height, bar};
}

/** What the blades of a chassis have in common, so that their things stand in columns. */
export function gridOf(cards, width) {
  const most = Math.max(0, ...cards.map((card) => card.ports.length).filter((n) => n <= IN_ROW));
  return {width, barAt: PORTS_AT + Math.max(2, most) * (PORT.width + PORT.gap) + 40};
}

export const bladeHeight = (card, grid, management) => placesOf(card, grid, management).height;

/** The lettering, the lamp and the bars of a blade. */
function drawFace(card, {name, narrow, bar}, width) {
  const top = narrow ? 0 : 2;
  const led = lamp(name + 4, 17 + top, 4.5);
  const title = s("tspan", {class: "card-name"});
  const own = s("tspan", {class: "own", dx: 8}, narrow ? "own" : "own slot");
  const heading = s("text", {x: name + 16}, title, own);
  const state = text(name + (narrow ? 0 : 16), 37 + top, "card-state");
  const temperature = text(width - 24, 30, "reading", "", "end");
  const air = narrow ? null : vents(bar.x, 14, bar.width, 22);
  const bars = [stepsBar(bar.x, bar.y, bar.width, !narrow), singleBar(bar.x, bar.y, bar.width)];
  function update(now, progress) {
    const empty = now.state === "empty";
    light(led, SHOWN[now.state] ?? "");
    setText(title, now.name ?? "empty");
    setAttribute(heading, "y", empty ? 30 : 22 + top);
    setText(state, empty ? "" : stateText(now, progress, narrow));
    setText(temperature, narrow || now.temperature == null ? "" : degrees(now.temperature));
    own.style.display = now.own ? "" : "none";
    const moving = bars.map((each) => each.update(now, progress)).some((shown) => shown);
    if (air) air.style.display = moving || empty ? "none" : "";
  }
  return {nodes: [text(31, 31, "slot-number", card.slot, "middle"), led, heading, state,
                  temperature, air, ...bars.map((each) => each.node)], update};
}

function drawSockets(card, places, width, management) {
  const sockets = places.beside ? drawPorts(card.ports, places.fit, places.portsAt, 1)
    : drawPorts(card.ports, places.fit, 22, BLADE.height);
  const last = places.narrow ? width - 16 - PORT.width
    : places.portsAt + (places.beside ? card.ports.length * (PORT.width + PORT.gap) : 0);
  return management ? [...sockets, drawPort(management, last, 15)] : sockets;
}

/** Draws a slot with its card; `management` stands on the card of the own slot. */
export function drawCard(card, x, y, grid, management = null) {
  const {width} = grid;
  const places = placesOf(card, grid, management);
  const {height} = places;
  const face = drawFace(card, places, width);
  const node = pressable(card.part, {x: 1, y: 1, width: width - 2, height: height - 2},
                         rect(0, 0, width, height, "blade", 4), lever(0, height, false),
                         lever(width, height, true), ...face.nodes);
  node.classList.add("card");
  function update(now, timeMs) {
    say(node, now.state, wordsOf(now));
    face.update(now, progressOf(now, timeMs));
  }
  const sockets = drawSockets(card, places, width, management);
  const group = at(x, y, node, sockets.map((each) => each.node));
  return {node: group, height, drawn: [{part: card.part, node, update, timed: true}, ...sockets]};
}
