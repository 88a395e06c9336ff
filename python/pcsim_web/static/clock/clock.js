// The clock of the switch: what time it is there, and lines that stop it, let it go on, or move it.
import {h, setAttribute, setText} from "../dom.js";

const TICK_MS = 250;
const UNITS = [["ms", 1], ["s", 1000], ["min", 60000]];

/** "1:02:03", with thousandths when the clock stands: "0:00:12.500". */
export function clockText(timeMs, exact) {
  const whole = Math.floor(timeMs / 1000);
  const two = (value) => String(value).padStart(2, "0");
  const text = `${Math.floor(whole / 3600)}:${two(Math.floor(whole / 60) % 60)}:${two(whole % 60)}`;
  return exact ? `${text}.${String(Math.floor(timeMs % 1000)).padStart(3, "0")}` : text;
}

class Clock {
  constructor(app, place) {
    this.app = app;
    this.time = h("time", {class: "clock-time", title: "Time of the switch since it was started"});
    this.state = h("span", {class: "clock-state"});
    this.toggle = h("button", {type: "button", onclick: () => app.actions.run(this.toggle.title)});
    this.amount = h("input", {type: "number", min: 0.001, step: "any", value: 1, required: true,
                              "aria-label": "How far to move the clock"});
    this.unit = h("select", {"aria-label": "Unit"},
                  UNITS.map(([name, ms]) => h("option", {value: ms}, name)));
    this.unit.value = "1000";
    this.warp = h("button", {type: "button", onclick: () => app.actions.run(this.warp.title)},
                  "Warp");
    this.moving = h("span", {class: "clock-warp"}, this.amount, this.unit, this.warp);
    place.append(this.time, this.state, this.toggle, this.moving);
    for (const input of [this.amount, this.unit]) {
      input.addEventListener("input", () => this.refresh());
    }
  }

  tick() {
    const {store} = this.app;
    const now = store.timeMs();
    const known = Number.isFinite(now);
    setText(this.time, known ? clockText(now, store.stopped && !store.past) : "–");
  }

  refresh() {
    const {store} = this.app;
    const stopped = store.stopped;
    const going = stopped ? "stopped" : "runs";
    const words = store.past ? "in the past" : store.alive ? going : "ended";
    setText(this.state, words);
    setAttribute(this.state, "data-state", words);
    setText(this.toggle, stopped ? "Go on" : "Stop");
    this.toggle.title = stopped ? "time run" : "time stop";
    this.moving.hidden = !stopped || Boolean(store.past);
    this.warp.title = `time warp ${Math.round(this.amount.value * this.unit.value)}`;
    const idle = Boolean(store.past) || !store.alive || store.readOnly;
    this.toggle.disabled = idle;
    this.warp.disabled = idle || !this.amount.checkValidity();
    this.tick();
  }
}

/** Draws the clock. */
export function mountClock(app) {
  const clock = new Clock(app, app.element("clock"));
  for (const type of ["whole", "shows", "time", "connection"]) {
    app.store.addEventListener(type, () => clock.refresh());
  }
  setInterval(() => clock.tick(), TICK_MS);
  clock.refresh();
}
