// The labs that are up: their nodes and cables. Press a node to see its panel. They are asked for
// while somebody sees them; whoever has them as they are is told no more than that.
import {h, s, setAttribute, setText} from "../dom.js";
import {Kept} from "../kept.js";

const ASK_MS = 2000;
const BOX = {width: 88, height: 34};
const STEP = {x: 104, y: 104};
const EDGE = 12;
const BEND = 22;  // between cables that lie beside each other

const nodeOf = (end) => end.slice(0, end.indexOf(":"));

/** The centre of each node, and the size of all. */
function placesOf({rows, links}) {
  const width = Math.max(...rows.map((row) => row.length)) * STEP.x + 2 * EDGE;
  const places = new Map();
  rows.forEach((row, y) => row.forEach((name, x) => places.set(name, {
    x: EDGE + (width - 2 * EDGE) * (x + 0.5) / row.length,
    y: EDGE + BOX.height / 2 + y * STEP.y})));
  const lowest = links.some((link) => link.endpoints.every(
    (end) => rows.at(-1).includes(nodeOf(end))));
  return {places, width,
    height: 2 * EDGE + BOX.height + (rows.length - 1) * STEP.y + (lowest ? STEP.y / 2 : 0)};
}

/** The way of a cable. Those between the same nodes lie beside each other, and those within a row
 * go below it, as others may stand between. */
function wayOf(a, b, number, count) {
  const aside = (number - (count - 1) / 2) * BEND * 2;
  const below = a.y === b.y ? STEP.y * 0.8 : 0;
  const length = Math.hypot(b.x - a.x, b.y - a.y) || 1;
  const x = (a.x + b.x) / 2 - aside * (b.y - a.y) / length;
  const y = (a.y + b.y) / 2 + aside * Math.abs(b.x - a.x) / length + below;
  return `M${a.x} ${a.y} Q${x} ${y} ${b.x} ${b.y}`;
}

class Cable {
  constructor(way) {
    this.title = s("title");
    this.line = s("path", {d: way});
    this.node = s("g", {}, this.line, s("path", {d: way, class: "near"}), this.title);
  }

  update(link) {
    const known = ["up", "pulled"].includes(link.state) ? link.state : "down";
    setAttribute(this.line, "data-state", known);
    setAttribute(this.node, "data-link", link.endpoints.join(" "));
    setText(this.title, `${link.endpoints.join(" to ")}: ${link.state}`
      + (link.limits && `, ${link.limits}`));
  }
}

class Box {
  constructor(app, node, {x, y}) {
    this.app = app;
    this.small = s("text", {x, y: y + 11, class: "lab-small"});
    this.node = s("g", {"data-node": node.name, "data-kind": node.kind},
      s("rect", {x: x - BOX.width / 2, y: y - BOX.height / 2, ...BOX, rx: 4}),
      s("text", {x, y: y - 2}, node.name), this.small);
    if (node.instance === null) return;
    const open = () => app.store.choose(node.instance);
    setAttribute(this.node, "data-instance", node.instance);
    setAttribute(this.node, "role", "button");
    setAttribute(this.node, "tabindex", "0");
    this.node.addEventListener("click", open);
    this.node.addEventListener("keydown", (event) => {
      if (event.key !== "Enter" && event.key !== " ") return;
      event.preventDefault();
      open();
    });
  }

  update(node) {
    const {store} = this.app;
    const instance = store.instances.find((each) => each.name === node.instance);
    const words = instance?.alive ? `${instance.portsUp} of ${instance.ports} up` : node.state;
    setText(this.small, words);
    setAttribute(this.node, "data-state", node.state.startsWith("ended") ? "ended" : "running");
    if (node.instance === null) return;
    setAttribute(this.node, "aria-label", `${node.name}: ${words}`);
    setAttribute(this.node, "aria-pressed", String(node.instance === store.current));
  }
}

/** One lab. */
class Lab {
  constructor(app, lab) {
    const {places, width, height} = placesOf(lab);
    this.boxes = lab.nodes.map((node) => new Box(app, node, places.get(node.name)));
    const beside = new Map();
    const keys = lab.links.map((link) => link.endpoints.map(nodeOf).sort().join(" "));
    for (const key of keys) beside.set(key, (beside.get(key) ?? 0) + 1);
    const laid = new Map();
    this.cables = lab.links.map((link, n) => {
      const number = laid.get(keys[n]) ?? 0;
      laid.set(keys[n], number + 1);
      // From the same node each time, so that those beside each other bend the same way.
      const [a, b] = keys[n].split(" ").map((name) => places.get(name));
      return new Cable(wayOf(a, b, number, beside.get(keys[n])));
    });
    this.state = h("span", {class: "lab-state"});
    this.node = h("figure", {class: "lab", "data-lab": lab.name},
      h("figcaption", {}, `Lab ${lab.name} `, this.state),
      h("div", {class: "lab-scroll"}, s("svg", {width, height, viewBox: `0 0 ${width} ${height}`},
        this.cables.map((cable) => cable.node), this.boxes.map((box) => box.node))));
  }

  update(lab) {
    lab.nodes.forEach((node, n) => this.boxes[n].update(node));
    lab.links.forEach((link, n) => this.cables[n].update(link));
    const up = lab.links.filter((link) => link.state === "up").length;
    setText(this.state, `${lab.nodes.length} nodes, ${up} of ${lab.links.length} cables up`);
  }
}

/** Draws the labs. */
export function mountLabs(app) {
  const {link, store} = app;
  const section = app.element("labs");
  // Drawn anew when it has other nodes or cables, and else only coloured.
  const kept = new Kept(section, (lab) => new Lab(app, lab),
    ({name, rows, links}) => JSON.stringify([name, rows, links.map((link) => link.endpoints)]));
  let labs = [];
  const draw = () => {
    kept.draw(labs);
    section.hidden = labs.length === 0;
  };
  let seen = 0;  // number of what is known
  let inSight = false;
  let asking = false;
  const ask = async () => {
    if (asking || !link.isOpen) return;
    asking = true;
    try {
      const answer = await link.ask("labs", {seen});
      seen = answer.number;
      labs = answer.labs ?? labs;
      draw();
    } catch {
      seen = 0;  // another pcsim-web has numbers of its own
    } finally {
      asking = false;
    }
  };

  new IntersectionObserver((entries) => { inSight = entries.at(-1).isIntersecting; })
    .observe(section);
  setInterval(() => { if (inSight && !document.hidden) ask(); }, ASK_MS);
  let names = "";
  store.addEventListener("instances", () => {
    draw();
    const now = store.instances.map((each) => `${each.name} ${each.alive}`).join("\n");
    if (now !== names) {
      ask();
      setTimeout(ask, ASK_MS);  // what was answered now may be from just before
    }
    names = now;
  });
  store.addEventListener("whole", () => draw());
  store.addEventListener("connection", () => { seen = 0; ask(); });
}
