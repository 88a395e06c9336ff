// What the drawing is made of: sheet metal, screws, vents, lamps, and elements to press.
import {s, setAttribute} from "../dom.js";

export const rect = (x, y, width, height, name, radius = 0) =>
  s("rect", {x, y, width, height, rx: radius, class: name});

export const text = (x, y, name, words = "", anchor = "start") =>
  s("text", {x, y, class: name, "text-anchor": anchor}, words);

export const line = (x1, y1, x2, y2, name) => s("line", {x1, y1, x2, y2, class: name});

export const at = (x, y, ...children) => s("g", {transform: `translate(${x} ${y})`}, ...children);

/** A lamp; its colour is the class that `light` gives it. */
export function lamp(x, y, radius = 4) {
  return s("circle", {cx: x, cy: y, r: radius, class: "lamp"});
}

/** Lights a lamp: "good", "busy", "warn", "bad", or "" for dark. */
export const light = (element, how) => setAttribute(element, "class", `lamp ${how}`.trim());

function screw(x, y, radius) {
  const arm = radius * 0.55;
  return at(x, y, s("circle", {r: radius, class: "screw"}),
            line(-arm, -arm, arm, arm, "cross"), line(-arm, arm, arm, -arm, "cross"));
}

function ear(x, width, height) {
  const middle = x + width / 2;
  const radius = Math.min(6, width * 0.24);
  const pairs = Math.max(1, Math.round(height / 220));
  if (width < 20) return rect(x, 0, width, height, "metal", 4);
  const between = (height - 44) / pairs;
  const holes = height > 90 ? [...Array(pairs + 1).keys()].map((n) => 22 + n * between)
    : [height / 2];
  return s("g", {class: "ear"}, rect(x, 0, width, height, "metal", 4),
           holes.flatMap((y) => [rect(middle - radius * 1.6, y - radius * 1.15, radius * 3.2,
                                  radius * 2.3, "hole", radius * 1.15), screw(middle, y, radius)]));
}

/** A rack unit: the sheet, and an ear with screws at each side. Children stand on its face. */
export function frame(width, height, earWidth, ...children) {
  return s("g", {class: "frame"}, ear(0, earWidth + 6, height),
           ear(width - earWidth - 6, earWidth + 6, height),
           rect(earWidth, 0, width - 2 * earWidth, height, "sheet", 5),
           rect(earWidth + 1, 1, width - 2 * earWidth - 2, 1.5, "edge", 1), children);
}

const VENT = {width: 14, height: 7, gap: 4};

/** Rows of slots through which the air comes, none of them cut. */
export function vents(x, y, width, height) {
  const left = Math.ceil(x / VENT.width) * VENT.width;
  const top = Math.ceil(y / VENT.height) * VENT.height;
  const across = Math.floor((x + width - left + VENT.gap) / VENT.width) * VENT.width - VENT.gap;
  const down = Math.floor((y + height - top) / VENT.height) * VENT.height;
  return rect(left, top, across, down, "vents");
}

/** What the fills refer to. Several drawings stand in one page with the same names, all alike. */
export function definitions() {
  const shade = (id, from, to) => s("linearGradient", {id, x1: 0, y1: 0, x2: 0, y2: 1},
                                    s("stop", {offset: 0, class: from}),
                                    s("stop", {offset: 1, class: to}));
  return s("defs", {}, shade("metal", "metal-light", "metal-dark"),
           shade("sheet", "sheet-light", "sheet-dark"), shade("blade", "blade-light", "blade-dark"),
           s("pattern", {id: "vents", width: VENT.width, height: VENT.height,
                         patternUnits: "userSpaceOnUse"},
             rect(0, 2, VENT.width - VENT.gap, 3, "vent", 1.5)));
}

/** A part that can be pressed. It has its ring for the focus, and its words as a title. */
export function pressable(part, ring, ...children) {
  const title = s("title", {});
  return s("g", {"data-part": part, role: "button", tabindex: -1, class: "part",
                 "aria-haspopup": "dialog"},
           title, ...children,
           rect(ring.x, ring.y, ring.width, ring.height, "ring", 4));
}

/** What a part says of itself. */
export function say(node, state, words) {
  setAttribute(node, "data-state", state);
  setAttribute(node, "aria-label", words);
  const title = node.firstChild;
  if (title.textContent !== words) title.textContent = words;
}
