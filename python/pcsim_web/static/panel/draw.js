// Where everything stands on the panel: in px of the page, so that letters keep their size. A stack
// is a unit seen from the front and from the rear, a chassis one tall frame.
import {s} from "../dom.js";
import {BLADE, bladeHeight, drawCard, gridOf} from "./card.js";
import {HEAD, drawHead} from "./head.js";
import {PORT, drawPort, drawPorts, fitPorts} from "./port.js";
import {at, definitions, frame, text, vents} from "./shapes.js";
import {drawUnits, fitUnits} from "./unit.js";

const NARROW = 760;
const MIDDLING = 1080;
const FEW = 16;  // ports that leave room for a head beside them where the width is middling
const CAPTION = 22;
const LARGER = [1.5, 1.25, 1];  // scales of ports that are tried

function measures(width) {
  const narrow = width < NARROW;
  const ear = narrow ? 8 : 34;
  const pad = narrow ? 10 : 16;
  return {width, narrow, ear, pad, left: ear + pad, inner: width - 2 * (ear + pad)};
}

/** What differs between two panels so much that one can't become the other by an update. */
export function structureOf(model, width) {
  const units = [...model.fans, ...model.supplies];
  const ports = model.cards.map((card) => card.ports.map((port) => port.part));
  return JSON.stringify([model.chassis, width, ports, units.map((unit) => unit.part)]);
}

/** Where the head of a stack stands, and what room it leaves for the sockets. */
function frontOf(count, m) {
  if (m.narrow) return {form: "tall", side: 0, top: HEAD.tall + 6, socket: 0, scales: [1]};
  const socket = PORT.width + 24;  // of the management port
  return m.width < MIDDLING && count > FEW
    ? {form: "strip", side: 0, top: HEAD.strip, socket, scales: LARGER}
    : {form: "side", side: HEAD.side, top: 0, socket, scales: LARGER};
}

function drawManagement(model, m, {form, side, top}, height) {
  return form === "tall" ? drawPort(model.management, m.left + m.inner - 38, 20)
    : drawPort(model.management, m.left + side, top + (height - top - PORT.height) / 2 + 6);
}

/** Says that there is no port, or fills the room beside the ports. */
function drawRest(m, {form, side, socket}, fit, height) {
  const left = m.left + side + socket;
  if (fit.count === 0) {
    return text(left, height / 2 + (form === "tall" ? 38 : 5), "soft",
                "no ports: there is no interface eth1");
  }
  const end = left + fit.width + 28;
  const rest = m.left + m.inner - end;
  return form !== "side" || rest < 90 ? null : vents(end, 20, rest, height - 40);
}

function drawFront(model, m) {
  const ports = model.cards.flatMap((card) => card.ports);
  const front = frontOf(ports.length, m);
  const {form, side, top, socket} = front;
  const head = drawHead(model, m.left, form === "side" ? 10 : 6, m.inner, form);
  const fit = fitPorts(ports.length, m.inner - side - socket, front.scales);
  const height = top + Math.max(form === "side" ? 118 : 0, fit.height + 20);
  const management = drawManagement(model, m, front, height);
  const spare = form === "tall" ? m.inner - fit.width : 0;
  const drawn = drawPorts(ports, fit, m.left + side + socket + spare / 2,
                          top + (height - top - fit.height) / 2);
  return {height, drawn: [management, ...drawn], heads: [head],
          nodes: [head.node, drawRest(m, front, fit, height), management.node,
                  ...drawn.map((each) => each.node)]};
}

function drawBays(model, m, y) {
  const groups = [model.fans, model.supplies].filter((units) => units.length);
  const all = groups.flat();
  const whole = fitUnits(all.length, m.inner);
  if (whole.columns === all.length) {
    const drawn = drawUnits(all, whole, m.left, y);
    return {drawn, nodes: drawn.map((each) => each.node), height: whole.height};
  }
  const drawn = [];
  let height = 0;
  for (const units of groups) {
    const fit = fitUnits(units.length, m.inner);
    drawn.push(...drawUnits(units, fit, m.left, y + height));
    height += fit.height + 8;
  }
  return {drawn, nodes: drawn.map((each) => each.node), height: Math.max(0, height - 8)};
}

function drawStack(model, m) {
  const front = drawFront(model, m);
  const bays = drawBays(model, m, 14);
  const rearY = CAPTION + front.height + CAPTION + 6;
  const rearHeight = bays.height + 28;
  const nodes = [text(m.ear, 14, "caption", "Front"),
                 at(0, CAPTION, frame(m.width, front.height, m.ear, ...front.nodes))];
  if (bays.drawn.length) {
    nodes.push(text(m.ear, rearY - 8, "caption", "Rear"),
               at(0, rearY, frame(m.width, rearHeight, m.ear, ...bays.nodes)));
  }
  return {height: bays.drawn.length ? rearY + rearHeight : CAPTION + front.height,
          nodes, drawn: [...front.drawn, ...bays.drawn], heads: front.heads};
}

function drawChassis(model, m) {
  const strip = m.narrow ? HEAD.tall + 10 : HEAD.strip + 8;
  const head = drawHead(model, m.left, m.narrow ? 8 : 6, m.inner, m.narrow ? "tall" : "strip");
  const drawn = [];
  const nodes = [head.node];
  const grid = gridOf(model.cards, m.inner);
  let y = strip;
  for (const card of model.cards) {
    const management = card.own ? model.management : null;
    const blade = drawCard(card, m.left, y, grid, management);
    nodes.push(blade.node);
    drawn.push(...blade.drawn);
    y += bladeHeight(card, grid, management) + BLADE.gap;
  }
  const bays = drawBays(model, m, y + 8);
  const height = y + (bays.drawn.length ? bays.height + 20 : 8);
  return {height, nodes: [frame(m.width, height, m.ear, ...nodes, ...bays.nodes)],
          drawn: [...drawn, ...bays.drawn], heads: [head]};
}

/** Draws a panel of that width: {svg, drawn, heads}, where each of the drawn has a part, a node and
 * an update. */
export function drawPanel(model, width) {
  const m = measures(width);
  const {height, nodes, drawn, heads} = model.shape === "chassis" ? drawChassis(model, m)
    : drawStack(model, m);
  const svg = s("svg", {class: "faceplate", role: "group", width, height,
                        "aria-describedby": "panel-hint",
                        viewBox: `0 0 ${width} ${height}`}, definitions(), nodes);
  return {svg, drawn: new Map(drawn.map((each) => [each.part, each])), heads};
}
