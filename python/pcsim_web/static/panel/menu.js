// The menu of a part: its readings, and buttons for what can be done to it. It stands beside the
// part, or at the foot of a narrow page.
import {h, setText} from "../dom.js";
import {actsOf} from "./acts.js";
import {drawGroups} from "./groups.js";
import {readingsOf} from "./readings.js";
import {nameOf} from "./words.js";

const NARROW = 600;
const WIDE = 600;  // parts whose name and ports stand at their left, where nothing shall cover them
const GAP = 8;

class Menu {
  constructor(app) {
    this.app = app;
    this.panel = app.panel;
    this.part = null;
    this.key = "";
    this.title = h("h2", {id: "menu-title"});
    this.state = h("span", {class: "menu-state"});
    this.close_ = h("button", {type: "button", class: "menu-close", "aria-label": "Close",
                               onclick: () => this.close()}, "×");
    this.readings = h("dl");
    this.groups = h("div", {class: "menu-groups"});
    this.why = h("p", {class: "menu-why"});
    this.line = h("code", {class: "menu-line"});
    this.dialog = h("dialog", {class: "menu", tabindex: -1, "aria-labelledby": "menu-title"},
                    h("div", {class: "menu-head"}, this.title, this.state, this.close_),
                    this.readings, this.groups, this.why, this.line);
    document.body.append(this.dialog);
    this.#listen();
  }

  /** Opens for a part, or closes when it is open for that one. */
  open(part) {
    if (this.part === part) return this.close();
    this.close(false);
    this.part = part;
    this.instance = this.app.store.current;
    this.key = "";
    this.refresh();
    this.dialog.show();
    this.#place();
    this.dialog.scrollIntoView({block: "nearest"});
    this.dialog.focus();  // and no button: the key that has opened it may still be pressed
  }

  close(back = true) {
    if (this.part === null) return;
    const node = this.panel.node(this.part);
    node?.classList.remove("open");
    node?.removeAttribute("aria-expanded");
    this.part = null;
    this.dialog.close();
    if (back) node?.focus();
  }

  /** Tells how the part is now. */
  refresh() {
    if (this.part === null) return;
    const part = this.panel.model?.parts.get(this.part);
    if (!part || this.instance !== this.app.store.current) return this.close();
    const node = this.panel.node(this.part);
    node.classList.add("open");
    node.setAttribute("aria-expanded", "true");
    setText(this.title, nameOf(part));
    setText(this.state, part.state === "dark" ? "not in service" : part.state);
    this.state.dataset.state = part.state;
    this.#tell(readingsOf(part, {timeMs: this.panel.timeMs(), rates: this.panel.lastRates}));
    this.#offer(part);
  }

  #tell(pairs) {
    while (this.readings.children.length > 2 * pairs.length) this.readings.lastChild.remove();
    pairs.forEach(([label, value], n) => {
      if (!this.readings.children[2 * n]) this.readings.append(h("dt"), h("dd"));
      setText(this.readings.children[2 * n], label);
      setText(this.readings.children[2 * n + 1], value);
    });
  }

  #offer(part) {
    const {store} = this.app;
    const units = part.kind === "fan" ? this.panel.model.fans : this.panel.model.supplies;
    const rules = store.shows.faults?.faults ?? [];
    const groups = actsOf(part, {instance: this.instance, units, rules,
                                 stopped: store.stopped});
    const why = whyNot(store);
    const key = JSON.stringify([this.part, groups, why]);
    if (key === this.key) return;
    const focused = [...this.groups.querySelectorAll("button, input, select")]
      .indexOf(document.activeElement);
    this.key = key;
    setText(this.why, why);
    drawGroups(this.app, this.groups, groups, why !== "");
    if (focused >= 0) this.groups.querySelectorAll("button, input, select")[focused]?.focus();
  }

  /** Beside the part: below it, or above where there is no room; on a narrow page above the foot,
   * which tells what became of a line. */
  #place() {
    const {style} = this.dialog;
    const narrow = innerWidth < NARROW;
    style.left = style.top = "";
    style.bottom = narrow ? `${this.app.element("verbs").offsetHeight}px` : "";
    const part = this.panel.node(this.part).getBoundingClientRect();
    if (narrow) {
      // The part stays in sight above the sheet.
      const hidden = part.bottom + GAP - this.dialog.getBoundingClientRect().top;
      if (hidden > 0) scrollBy(0, hidden);
      return;
    }
    const {width, height} = this.dialog.getBoundingClientRect();
    const middle = part.left + part.width * (part.width > WIDE ? 0.65 : 0.5);
    const left = Math.max(GAP, Math.min(middle - width / 2, innerWidth - width - GAP));
    const below = part.bottom + GAP;
    const above = part.top - GAP - height;
    const top = below + height <= innerHeight || above < 0 ? below : above;
    style.left = `${left + scrollX}px`;
    style.top = `${top + scrollY}px`;
  }

  #listen() {
    const show = (event) => {
      const button = event.target.closest?.("button[title]");
      setText(this.line, button ? `> ${button.title}` : "");
    };
    this.dialog.addEventListener("focusin", show);
    this.dialog.addEventListener("pointerover", show);
    this.dialog.addEventListener("input", show);
    document.addEventListener("keydown", (event) => {
      if (event.key === "Escape") this.close();
    });
    document.addEventListener("pointerdown", (event) => {
      if (!event.target.closest?.(".menu, [data-part]")) this.close(false);
    });
    const placed = () => this.part !== null && this.#place();
    addEventListener("resize", placed);
    new ResizeObserver(placed).observe(this.app.element("verbs"));
    this.panel.changed.addEventListener("changed", () => this.refresh());
  }
}

/** Why nothing can be done now; "" when it can. */
function whyNot(store) {
  if (store.past) return "This is the past: go back to now to touch the switch.";
  if (!store.alive) return "The switch has ended.";
  return store.readOnly ? "This page is read-only." : "";
}

/** Lets parts of the panel be pressed. */
export function mountMenu(app) {
  const menu = new Menu(app);
  const {room} = app.panel;
  const press = (event) => {
    const node = event.target.closest?.("[data-part]");
    if (!node) return;
    event.preventDefault();
    app.panel.attend(node.dataset.part);
    menu.open(node.dataset.part);
  };
  room.addEventListener("click", press);
  room.addEventListener("keydown", (event) => {
    if (event.key === "Enter" || event.key === " ") press(event);
  });
}
