// The front panel: drawn anew when the switch has another shape or the page another width, and kept
// true in place by every document that comes.
import {h} from "../dom.js";
import {panelWords} from "./head.js";
import {drawPanel, structureOf} from "./draw.js";
import {mountMenu} from "./menu.js";
import {modelOf} from "./model.js";
import {drawLegend} from "./legend.js";
import {walk} from "./walk.js";

const DRAWN_FROM = ["chassis", "ports", "cards", "slots", "fans", "power", "environment", "nics",
                    "faults"];
const TICK_MS = 200;

class Panel {
  constructor(app, section) {
    this.app = app;
    this.store = app.store;
    this.section = section;
    this.room = h("div", {class: "panel-room"});
    this.empty = h("p", {class: "panel-empty"}, "Waiting for what the switch tells …");
    section.append(this.empty, this.room, drawLegend());
    this.drawing = null;
    this.structure = "";
    this.focused = null;  // the part that the Tab key comes to
    this.ticking = 0;
    this.lastRates = {};
    this.changed = new EventTarget();
  }

  /** Draws what the store shows now. */
  refresh() {
    this.model = modelOf(this.store);
    this.section.classList.toggle("waiting", this.model === null);
    if (this.model === null) return;
    const width = Math.floor(this.room.clientWidth);
    if (width < 100) return;
    const structure = structureOf(this.model, width);
    if (structure !== this.structure) this.#rebuild(structure, width);
    const now = this.timeMs();
    for (const each of this.drawing.drawn.values()) {
      each.update(this.model.parts.get(each.part), now);
    }
    for (const head of this.drawing.heads) head.update(this.model);
    this.drawing.svg.setAttribute("aria-label", panelWords(this.model, this.store.current));
    this.#tickWhileDue();
    this.changed.dispatchEvent(new Event("changed"));
  }

  /** Blinks the sockets through which frames pass. */
  rates(ports) {
    this.lastRates = ports;
    if (!this.drawing) return;
    for (const {part, activity} of this.drawing.drawn.values()) {
      if (!activity) continue;
      const [received, , sent] = ports[part.replace("port ", "")] ?? [0, 0, 0];
      const rate = this.store.past ? 0 : received + sent;
      const name = rate === 0 ? "lamp" : rate < 100 ? "lamp activity slow" : "lamp activity fast";
      if (activity.getAttribute("class") !== name) activity.setAttribute("class", name);
    }
    this.changed.dispatchEvent(new Event("changed"));
  }

  /** Makes a part the one that the Tab key comes to. */
  attend(part) {
    this.drawing.drawn.get(this.focused)?.node.setAttribute("tabindex", -1);
    this.focused = this.drawing.drawn.has(part) ? part : this.drawing.drawn.keys().next().value;
    this.drawing.drawn.get(this.focused)?.node.setAttribute("tabindex", 0);
  }

  node(part) { return this.drawing?.drawn.get(part)?.node; }

  /** The clock of what is shown. */
  timeMs() { return this.store.timeMs(); }

  #rebuild(structure, width) {
    const held = this.drawing?.svg.contains(document.activeElement);
    this.structure = structure;
    this.drawing = drawPanel(this.model, width);
    this.room.replaceChildren(this.drawing.svg);
    this.attend(this.focused);
    if (held) this.node(this.focused)?.focus();
  }

  #tickWhileDue() {
    const due = !this.store.past && this.store.alive && !this.store.stopped
      && this.model.cards.some((card) => card.row.dueMs != null);
    if (due && !this.ticking) this.ticking = setInterval(() => this.tick(), TICK_MS);
    if (!due) {
      clearInterval(this.ticking);
      this.ticking = 0;
    }
  }

  /** Tells the times that are left anew. */
  tick() {
    if (!this.drawing) return;
    const now = this.timeMs();
    for (const each of this.drawing.drawn.values()) {
      if (each.timed) each.update(this.model.parts.get(each.part), now);
    }
    this.changed.dispatchEvent(new Event("changed"));
  }
}

/** Draws the front panel, and keeps it true. */
export function mountPanel(app) {
  const panel = new Panel(app, app.element("panel"));
  app.panel = panel;
  for (const type of ["whole", "time", "connection"]) {
    app.store.addEventListener(type, () => {
      panel.refresh();
      panel.rates({});
    });
  }
  app.store.addEventListener("shows", (event) => {
    if (app.store.past) return;
    if (DRAWN_FROM.some((name) => event.detail.has(name))) panel.refresh();
    else if (app.store.stopped) panel.tick();  // the clock may have been moved
  });
  app.store.addEventListener("rates", (event) => panel.rates(event.detail.ports));
  new ResizeObserver(() => panel.refresh()).observe(panel.room);
  walk(panel);
  mountMenu(app);
}
