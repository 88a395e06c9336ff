// A slider through the last hour: marks where something happened, and the switch as it was at the
// moment that is chosen.
import {h, oncePerFrame, setAttribute, setText} from "../dom.js";
import {ago, counted, wallTime} from "./format.js";
import {markText, Marks} from "./marks.js";
import {drawMarks, ticksOf} from "./track.js";

const SPANS_S = [60, 300, 900, 1800, 3600];  // the track is as long as one of these
const SNAP_PX = 5;     // so near to a mark its moment is meant
const NOW_PX = 4;      // so near to the end now is meant
const SHORTEST_S = 2;  // before that nothing is worth a slider
const PAGE_S = 60;

class Slider {
  #wanted = undefined;  // the moment to go to next; undefined: none
  #going = false;
  plan = oncePerFrame(() => this.draw());

  constructor(app, section) {
    this.store = app.store;
    this.link = app.link;
    this.marks = new Marks();
    this.build(section);
    this.listen();
    this.draw();
  }

  build(section) {
    const step = (text, label, direction) => h("button", {
      type: "button", class: "step", title: label, "aria-label": label,
      onclick: () => this.step(direction)}, text);
    this.moment = h("p", {class: "moment", role: "status"});
    this.canvas = h("canvas", {"aria-hidden": "true"});
    this.range = h("input", {type: "range", min: 0, max: 1000, step: "any",
                             "aria-label": "The moment that is shown",
                             oninput: () => this.slid(),
                             onkeydown: (event) => this.key(event)});
    this.ticks = h("div", {class: "ticks", "aria-hidden": "true"});
    this.hint = h("div", {class: "hint", "aria-hidden": "true", hidden: true});
    this.track = h("div", {class: "track"}, this.canvas, this.range, this.ticks, this.hint);
    this.before = step("‹", "The change before", -1);
    this.behind = step("›", "The change behind", 1);
    this.now = h("button", {type: "button", class: "now", title: "Show the switch as it is now",
                            onclick: () => this.go(null)}, "Now");
    this.section = section;
    section.append(this.moment, h("div", {class: "line"},
                                  this.before, this.track, this.behind, this.now));
    this.track.addEventListener("pointermove", (event) => this.point(event.clientX));
    this.track.addEventListener("pointerleave", () => { this.hint.hidden = true; });
  }

  listen() {
    const {store} = this;
    store.addEventListener("whole", () => this.begin());
    store.addEventListener("events", (event) => {
      this.marks.add(event.detail.events);
      this.plan();
    });
    for (const type of ["time", "connection"]) store.addEventListener(type, () => this.draw());
    setInterval(() => { if (!document.hidden) this.draw(); }, 1000);
    new ResizeObserver(() => this.plan()).observe(this.track);
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.plan());
  }

  async begin() {
    this.marks.begin([]);
    this.draw();
    const instance = this.store.current;
    const answer = await this.link.ask("changes", {instance}).catch(() => null);
    if (answer === null || instance !== this.store.current) return;
    this.store.historyFrom = answer.first;
    this.marks.begin(answer.marks);
    this.draw();
  }

  // --- Where is what -----------------------------------------------------------------------------

  get span() {
    const known = this.store.now() - (this.from ?? Infinity);
    return SPANS_S.find((each) => each >= known) ?? SPANS_S.at(-1);
  }

  /** From when on something is known. */
  get from() {
    const {historyFrom} = this.store;
    return historyFrom && Math.max(historyFrom, this.store.now() - SPANS_S.at(-1));
  }

  /** What is known begins there, and this is before now. */
  timeAt(share) {
    const now = this.store.now();
    return Math.max(this.from ?? now, now - (1 - share) * this.span);
  }

  shareOf(time) {
    return Math.min(1, Math.max(0, 1 - (this.store.now() - time) / this.span));
  }

  /** The moment at a share of the track: that of a mark if one is there. */
  momentAt(share) {
    const width = this.track.clientWidth || 1;
    if ((1 - share) * width < NOW_PX) return null;
    const time = this.timeAt(share);
    return this.marks.near(time, SNAP_PX * this.span / width)[0]?.at ?? time;
  }

  // --- What one does -----------------------------------------------------------------------------

  slid() { this.go(this.momentAt(this.range.value / 1000)); }

  step(direction) {
    const at = this.#wanted ?? this.store.past?.time ?? Infinity;
    const to = this.marks.step(at, direction);
    if (to !== null && to >= (this.from ?? Infinity)) this.go(to);
    else this.go(direction > 0 ? null : this.from);
  }

  key(event) {
    const at = this.store.past?.time ?? this.store.now();
    const does = {
      ArrowLeft: () => this.step(-1), ArrowDown: () => this.step(-1),
      ArrowRight: () => this.step(1), ArrowUp: () => this.step(1),
      PageDown: () => this.go(Math.max(this.from, at - PAGE_S)),
      PageUp: () => this.go(at + PAGE_S < this.store.now() ? at + PAGE_S : null),
      Home: () => this.go(this.from), End: () => this.go(null), Escape: () => this.go(null),
    }[event.key];
    if (!does) return;
    event.preventDefault();
    does();
  }

  /** Goes to a moment. While the server is asked for one, only the last that is wanted counts. */
  async go(time) {
    this.#wanted = time;
    if (this.#going) return;
    this.#going = true;
    while (this.#wanted !== undefined) {
      const next = this.#wanted;
      this.#wanted = undefined;
      await this.store.goTo(next).catch((problem) => setText(this.moment, problem.message));
    }
    this.#going = false;
  }

  point(x) {
    const box = this.track.getBoundingClientRect();
    const share = (x - box.left) / box.width;
    const time = this.timeAt(share);
    const marks = this.marks.near(time, SNAP_PX * this.span / box.width);
    const more = marks.length > 1 ? `, ${counted(marks.length - 1, "other")}` : "";
    setText(this.hint, marks.length > 0
      ? `${wallTime(marks[0].at)}  ${markText(marks[0])}${more}` : wallTime(time));
    this.hint.hidden = this.range.disabled;
    const half = this.hint.offsetWidth / 2;
    this.hint.style.left =
      `${Math.min(box.width - half, Math.max(half, x - box.left))}px`;
  }

  // --- What one sees -----------------------------------------------------------------------------

  draw() {
    const {store} = this;
    const now = this.store.now();
    const known = this.from !== null && now - this.from >= SHORTEST_S;
    this.marks.prune(now);
    this.range.disabled = !known || !store.connected;
    for (const button of [this.before, this.behind, this.now]) {
      button.disabled = this.range.disabled || (button !== this.before && store.past === null);
    }
    this.range.value = 1000 * (store.past ? this.shareOf(store.past.time) : 1);
    this.section.classList.toggle("shows-past", store.past !== null);
    this.say(now, known);
    ticksOf(this.ticks, now, this.span);
    drawMarks(this.canvas, this.marks.all, (time) => this.shareOf(time),
              known ? this.shareOf(this.from) : 1);
  }

  say(now, known) {
    const {past} = this.store;
    let text = "Now";
    if (past) {
      const mark = this.marks.near(past.time, 0.002)[0];
      text = `This is ${wallTime(past.time)}, ${ago(now - past.time)}; nothing can be touched.`
        + (mark ? ` ${markText(mark)}.` : "");
    } else if (!known) {
      text = "No past is known yet; it begins with the first seconds that pcsim-web has seen.";
    }
    setText(this.moment, text);
    setAttribute(this.range, "aria-valuetext", past ? text : "now");
  }
}

/** The slider above the tabs. */
export function mountSlider(app) {
  new Slider(app, app.element("slider"));
}
