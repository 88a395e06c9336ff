// The lettering of a switch, and the lamps that sum up what hangs behind it.
import {setText} from "../dom.js";
import {count, degrees} from "./format.js";
import {at, lamp, light, text, vents} from "./shapes.js";

export const HEAD = {side: 246, strip: 52, tall: 86};

function ofUnits(units) {
  if (units.length === 0) return {how: "", words: "none"};
  const there = units.filter((unit) => unit.state === "present").length;
  const failing = units.some((unit) => unit.state === "failing");
  return {how: failing ? "bad" : there < units.length ? "warn" : "good",
          words: `${there} of ${units.length}`};
}

function ofCards(cards) {
  const there = cards.filter((card) => card.state !== "empty");
  const ready = there.filter((card) => ["operational", "diagnostics"].includes(card.state));
  const failed = there.some((card) => card.state === "failed");
  const well = ready.length < there.length ? "busy" : ready.length ? "good" : "";
  return {how: failed ? "bad" : well, words: `${ready.length} of ${there.length}`};
}

/** The hottest of all readings. What is too hot nobody tells, so its lamp stays dark. */
function ofHeat(model) {
  const all = [...model.cards, ...[...model.fans, ...model.supplies].map((unit) => unit.row)]
    .map((each) => each.temperature).filter((each) => each !== null && each !== undefined);
  return {how: null, words: degrees(all.length ? Math.max(...all) : null)};
}

function ofPorts(model) {
  const ports = model.cards.flatMap((card) => card.ports);
  const up = ports.filter((port) => port.state === "up").length;
  return {how: up ? "good" : "", words: `${up} of ${ports.length}`};
}

const SUMS = [
  {label: "Ports", of: ofPorts},
  {label: "Fans", of: (model) => ofUnits(model.fans)},
  {label: "Power", of: (model) => ofUnits(model.supplies)},
  {label: "Hottest", of: ofHeat},
];

const IN_CHASSIS = [{label: "Cards", of: (model) => ofCards(model.cards)}, ...SUMS.slice(1)];

/** Where the four sums stand: 2 by 2 at the side, else in a row. */
function sumPlaces(form, width) {
  if (form === "side") return [[0, 76], [122, 76], [0, 98], [122, 98]];
  if (form === "tall") return [[0, 66], [0.25 * width, 66], [0.5 * width, 66], [0.75 * width, 66]];
  return [0, 1, 2, 3].map((n) => [width - (4 - n) * 122, 32]);
}

/** Draws the head: at the "side" of the ports, as a "strip" above them, or "tall" where a strip is
 * too narrow. */
export function drawHead(model, x, y, width, form) {
  const small = form === "tall";
  const summed = model.shape === "chassis" ? IN_CHASSIS : SUMS;
  const sums = sumPlaces(form, width).map(([left, top], n) => {
    const led = lamp(left + 5, top - 4, 4);
    const words = text(left + (small ? 13 : 15), small ? top + 16 : top, "sum");
    const label = small ? text(left + 13, top, "sum", summed[n].label) : null;
    return {led, words, label};
  });
  const model_ = text(0, 24, "model", model.chassis.model);
  const node = at(x, y, model_, text(0, 43, "soft", model.chassis.description),
                  form === "strip" && width > 960 ? vents(190, 8, width - 190 - 510, 36) : [],
                  sums.flatMap(({led, words, label}) => [led, words, label]));
  function update(now) {
    summed.forEach((sum, n) => {
      const {how, words} = sum.of(now);
      light(sums[n].led, how ?? "absent");
      setText(sums[n].words, small ? words : `${sum.label} ${words}`);
    });
  }
  return {node, update};
}

/** What the panel is as a whole, for screen readers. */
export const panelWords = (model, name) => `Front panel of ${name}: ${model.chassis.model}, `
  + `${count(model.cards.flatMap((card) => card.ports).length, "port")}`;
