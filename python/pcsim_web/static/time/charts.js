// The tab of rates: a chart for each port, drawn once a second while it can be seen.
import {h, oncePerFrame, setAttribute, setText} from "../dom.js";
import {coloursOf, drawChart, shareAt} from "./chart.js";
import {niceAbove, perSecond, wallTime} from "./format.js";
import {ERRORS, peakOf, Series, UNITS, WINDOWS} from "./series.js";

const ASK_AFTER_MS = 150;  // the slider may still move
const MOST_PORTS = 128;    // as many as the server tells at once

/** A choice among few: buttons, of which one is pressed. */
function choice(label, options, chosen, choose) {
  const buttons = options.map(([name, value]) => h("button", {
    type: "button", "aria-pressed": String(value === chosen),
    onclick: () => {
      for (const each of buttons) setAttribute(each, "aria-pressed", String(each.value0 === value));
      choose(value);
    }}, name));
  buttons.forEach((button, at) => { button.value0 = options[at][1]; });
  return h("div", {class: "choice", role: "group", "aria-label": label}, buttons);
}

function toggle(label, title, change) {
  const button = h("button", {type: "button", "aria-pressed": "false", title, onclick: () => {
    const pressed = button.getAttribute("aria-pressed") !== "true";
    setAttribute(button, "aria-pressed", String(pressed));
    change(pressed);
  }}, label);
  return button;
}

function legend() {
  return h("p", {class: "legend"}, ["received", "sent", "errors"].map((kind) =>
    h("span", {}, h("i", {class: `key ${kind}`}), kind)), h("span", {class: "at mono"}));
}

/** One port: its name, what it does now or at the cursor, and the canvas. */
class Card {
  seen = false;

  constructor(port) {
    this.port = port;
    this.received = h("span", {class: "received mono"});
    this.sent = h("span", {class: "sent mono"});
    this.errors = h("span", {class: "errors mono"});
    this.canvas = h("canvas", {role: "img", tabindex: 0, "aria-label": `Port ${port}`});
    this.element = h("figure", {class: "chart"},
      h("figcaption", {}, h("strong", {}, port), this.received, this.sent, this.errors),
      this.canvas);
    this.element.card = this;
  }

  /** Draws its part of a series. */
  draw(series, view) {
    const samples = series.of(this.port);
    drawChart(this.canvas, series.times, samples, view);
    const at = view.cursor ?? samples.length - 1;
    const sample = samples[at] || [0, 0, 0, 0, 0];
    const {unit} = view;
    setText(this.received, `↓ ${perSecond(sample[unit.received], unit.unit)}`);
    setText(this.sent, `↑ ${perSecond(sample[unit.sent], unit.unit)}`);
    setText(this.errors, sample[ERRORS] ? `✕ ${perSecond(sample[ERRORS], "")}` : "");
    setAttribute(this.canvas, "aria-label", `Port ${this.port}: received `
      + `${perSecond(sample[unit.received], unit.unit)}, sent `
      + `${perSecond(sample[unit.sent], unit.unit)}, errors ${perSecond(sample[ERRORS], "")}`);
  }
}

class Charts {
  #cards = new Map();
  #cursor = null;     // a time, while one points
  #soon = oncePerFrame(() => this.#draw());
  #stale = true;      // another window is to be asked for
  #asked = 0;
  #timer = 0;

  constructor(app, page) {
    this.store = app.store;
    this.link = app.link;
    this.page = page;
    this.series = new Series(WINDOWS[0]);
    this.unit = UNITS.packets;
    this.same = false;
    this.busy = false;
    this.#build();
    this.#listen();
  }

  #build() {
    const redraw = (change) => (value) => { change(value); this.plan(); };
    const bar = h("div", {class: "bar"},
      choice("Unit", Object.values(UNITS).map((unit) => [unit.name, unit]), this.unit,
             redraw((unit) => { this.unit = unit; })),
      choice("Time", WINDOWS.map((span) => [span.name, span]), WINDOWS[0], (span) => {
        this.series = new Series(span);
        this.ask();
      }),
      toggle("Same scale", "Draw all ports on the axis of the busiest",
             redraw((same) => { this.same = same; })),
      toggle("Busy ports", "Leave out ports that have been at rest",
             redraw((busy) => { this.busy = busy; })));
    this.legend = legend();
    this.grid = h("div", {class: "charts"});
    this.empty = h("p", {class: "empty soft"});
    bar.append(this.legend);
    this.page.classList.add("rates");
    this.page.append(bar, this.grid, this.empty);
    this.watcher = new IntersectionObserver((entries) => {
      for (const entry of entries) entry.target.card.seen = entry.isIntersecting;
      this.plan();
    }, {rootMargin: "60px"});
    new ResizeObserver(() => this.plan()).observe(this.grid);
    this.grid.addEventListener("pointermove", (event) => this.#point(event));
    this.grid.addEventListener("pointerleave", () => this.#pointAt(null));
    this.grid.addEventListener("keydown", (event) => this.#key(event));
  }

  #listen() {
    const {store} = this;
    store.addEventListener("whole", () => {
      this.series = new Series(this.series.span);
      this.ask();
    });
    store.addEventListener("time", () => {
      clearTimeout(this.#timer);
      this.#timer = setTimeout(() => this.ask(), ASK_AFTER_MS);
    });
    store.addEventListener("shows", (event) => { if (event.detail.has("ports")) this.plan(); });
    store.addEventListener("rates", (event) => {
      if (store.past) return;
      this.series.add(event.detail.at, event.detail.ports);
      this.plan();
    });
    document.addEventListener("visibilitychange", () => { if (!document.hidden) this.plan(); });
  }

  get ports() {
    return (this.store.shows.ports?.ports ?? []).map((each) => each.port).slice(0, MOST_PORTS);
  }

  /** Its page has been chosen. */
  shown() {
    if (this.#stale) this.ask();
    this.plan();
  }

  /** Asks for the window that ends now, or at the moment that is shown; while it can't be seen,
   * only later. */
  async ask() {
    this.#stale = this.page.hidden;
    if (this.#stale) return;
    const asked = ++this.#asked;
    const {span} = this.series;
    const {past, current: instance} = this.store;
    const until = past?.time ?? this.store.now();
    const question = {instance, ports: this.ports, since: until - span.seconds, step: span.step,
                      ...(past ? {until} : {})};
    const answer = await this.link.ask("rates", question).catch(() => null);
    if (answer === null || asked !== this.#asked) return;
    this.series.begin(answer);
    this.plan();
  }

  /** Draws with the next frame, if it can be seen. */
  plan() {
    if (!this.page.hidden && !document.hidden) this.#soon();
  }

  #draw() {
    const {series, unit} = this;
    const kinds = [unit.received, unit.sent];
    const ports = this.ports;
    const shown = !this.busy ? ports
      : ports.filter((port) => peakOf(series.of(port), [...kinds, ERRORS]) > 0);
    this.#arrange(shown);
    setText(this.empty, shown.length > 0 ? "" : ports.length === 0
      ? "No port: no card with ports is operational." : "All ports have been at rest.");
    const to = this.store.past?.time
      ?? Math.max(series.times.at(-1) ?? 0, this.store.now() - 2 * series.span.step);
    const cursor = this.#cursor === null ? null : series.near(this.#cursor);
    const view = {
      from: to - series.span.seconds, to, step: series.span.step, unit,
      scale: this.same ? niceAbove(Math.max(...ports.map((port) => peakOf(series.of(port), kinds)),
                                            0)) : 0,
      cursor: cursor === -1 ? null : cursor, colours: coloursOf(this.grid)};
    this.view = view;
    setText(this.legend.lastChild, view.cursor === null ? "" : wallTime(series.times[view.cursor]));
    for (const port of shown) {
      const card = this.#cards.get(port);
      if (card.seen) card.draw(series, view);
    }
  }

  #arrange(ports) {
    const same = ports.length === this.grid.children.length
      && ports.every((port, at) => this.grid.children[at].card.port === port);
    if (same) return;
    for (const card of this.#cards.values()) this.watcher.unobserve(card.element);
    for (const port of ports) {
      if (!this.#cards.has(port)) this.#cards.set(port, new Card(port));
    }
    this.grid.replaceChildren(...ports.map((port) => this.#cards.get(port).element));
    for (const port of ports) this.watcher.observe(this.#cards.get(port).element);
  }

  #point(event) {
    const canvas = event.target.closest("canvas");
    if (!canvas || !this.view) return this.#pointAt(null);
    const share = shareAt(canvas, event.clientX);
    const {from, to} = this.view;
    return this.#pointAt(share < 0 || share > 1 ? null : from + share * (to - from));
  }

  #pointAt(time) {
    if (time === this.#cursor) return;
    this.#cursor = time;
    this.plan();
  }

  #key(event) {
    const step = {ArrowLeft: -1, ArrowRight: 1}[event.key];
    const {times} = this.series;
    if (event.key === "Escape") this.#pointAt(null);
    else if (step && times.length > 0) {
      const at = this.#cursor === null ? times.length : this.series.near(this.#cursor);
      this.#pointAt(times[Math.min(times.length - 1, Math.max(0, at + step))]);
    } else return;
    event.preventDefault();
  }
}

/** The tab of rates. */
export function mountRates(app) {
  let charts = null;
  const page = app.tabs.add("rates", "Rates", () => charts?.shown());
  charts = new Charts(app, page);
}
