// All switches at a glance, when there is more than one: press one to see its panel.
import {h, s, setAttribute, setText} from "../dom.js";
import {Kept} from "../kept.js";

const SHAPES = {stack: [[2, 10, 28, 7]], chassis: [[2, 2, 28, 6], [2, 9, 28, 6], [2, 16, 28, 6]]};
const DOTS = 5;

/** A small picture of the shape: each unit with a row of lamps. */
function picture(shape) {
  const units = SHAPES[shape] ?? SHAPES.stack;
  return units.flatMap(([x, y, width, height]) => [
    s("rect", {x, y, width, height, rx: 1.5, class: "unit-outline"}),
    ...Array.from({length: DOTS}, (_, n) => s("rect", {
      x: x + 4 + 4.4 * n, y: y + height / 2 - 1.2, width: 2.6, height: 2.4, class: "dot"}))]);
}

function stateOf(instance) {
  if (!instance.alive) return "ended";
  const ports = `${instance.portsUp} of ${instance.ports} ports up`;
  return instance.stopped ? `${instance.portsUp} of ${instance.ports} up, clock stopped` : ports;
}

class Tile {
  constructor(app, name) {
    this.app = app;
    this.icon = s("svg", {viewBox: "0 0 32 24", width: 40, height: 30, "aria-hidden": "true"});
    this.shape = null;
    this.state = h("span", {class: "tile-state"});
    this.node = h("button", {type: "button", class: "tile", "data-instance": name,
                             onclick: () => app.store.choose(name)},
                  this.icon, h("span", {class: "tile-words"}, h("strong", {}, name), this.state));
  }

  update(instance) {
    if (this.shape !== instance.shape) this.icon.replaceChildren(...picture(instance.shape));
    this.shape = instance.shape;
    setText(this.state, stateOf(instance));
    setAttribute(this.node, "data-state", instance.alive ? "alive" : "ended");
    setAttribute(this.node, "aria-pressed", String(instance.name === this.app.store.current));
    this.node.title = `${instance.name}: ${instance.problem || stateOf(instance)}`;
  }
}

/** Draws the overview. */
export function mountOverview(app) {
  const {store} = app;
  const section = app.element("overview");
  const tiles = new Kept(section, (instance) => new Tile(app, instance.name));
  const refresh = () => {
    section.hidden = store.instances.length < 2;
    tiles.draw(store.instances);
  };
  for (const type of ["instances", "whole", "connection"]) store.addEventListener(type, refresh);
  refresh();
}
