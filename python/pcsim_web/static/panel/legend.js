// What the lamps and marks mean, under the panel.
import {h, s} from "../dom.js";
import {lamp, light} from "./shapes.js";

const LAMPS = [["good", "up, in service"], ["busy", "on its way"], ["warn", "disabled, waiting"],
               ["bad", "failing"], ["", "down, off"], ["activity", "frames pass"]];

function swatch(how) {
  const dot = lamp(7, 7, 5);
  light(dot, how);
  return s("svg", {width: 14, height: 14, "aria-hidden": "true"}, dot);
}

/** The list of lamps. */
export function drawLegend() {
  return h("ul", {class: "lamp-legend", "aria-label": "What the lamps mean"},
           LAMPS.map(([how, words]) => h("li", {}, swatch(how), words)),
           h("li", {class: "hint", id: "panel-hint"},
             "Press a part for its readings and what can be done to it; arrow keys walk."));
}
