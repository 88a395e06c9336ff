// Which rows of a table are seen, and the way to the others.
import {h, setText} from "../dom.js";

const SIZES = [50, 100, 250, 500];

const told = (number) => number.toLocaleString("en");

/** Calls `changed` when another page is wanted: that of `count` rows from `from` on. */
export class Pager {
  from = 0;
  count = 100;
  #total = 0;

  constructor(changed) {
    this.changed = changed;
    const step = (name, label, to) => h("button", {
      type: "button", "aria-label": name, title: name, onclick: () => this.#go(to())}, label);
    this.first = step("First page", "«", () => 0);
    this.previous = step("Page before", "‹", () => this.from - this.count);
    this.next = step("Next page", "›", () => this.from + this.count);
    this.last = step("Last page", "»", () => this.#lastPage());
    this.status = h("span", {class: "status", role: "status"});
    this.goto = h("input", {type: "number", min: 1, step: 1, "aria-label": "Go to row",
                            placeholder: "Go to", onchange: () => this.#typed()});
    this.size = h("select", {"aria-label": "Rows of a page", onchange: () => this.#sized()},
                  SIZES.map((size) => h("option", {value: size, selected: size === this.count},
                                        `${size} rows`)));
    this.element = h("div", {class: "pager", role: "group", "aria-label": "Pages"},
                     this.first, this.previous, this.status, this.next, this.last,
                     this.goto, this.size);
  }

  /** From the first row on, without telling. */
  reset() { this.from = 0; }

  /** Draws where the page is. */
  show({from, shown, total, noun}) {
    this.#total = total;
    setText(this.status, shown === 0 ? `no ${noun}`
      : `${told(from + 1)}–${told(from + shown)} of ${told(total)} ${noun}`);
    this.first.disabled = this.previous.disabled = from === 0;
    this.next.disabled = this.last.disabled = from + shown >= total;
    this.goto.max = Math.max(total, 1);
    const one = total <= Math.min(...SIZES);
    for (const each of [this.first, this.previous, this.next, this.last, this.goto, this.size]) {
      each.hidden = one && from === 0;
    }
  }

  /** Back to a page that there is, when rows have gone meanwhile. Whether it had to. */
  comeBack(total) {
    this.#total = total;
    if (this.from === 0 || this.from < total) return false;
    this.from = this.#lastPage();
    return true;
  }

  #lastPage() { return Math.max(0, Math.floor((this.#total - 1) / this.count) * this.count); }

  #go(from) {
    this.from = Math.max(0, Math.min(from, this.#lastPage()));
    this.changed();
  }

  #typed() {
    const row = Number(this.goto.value);
    this.goto.value = "";
    if (row >= 1) this.#go(Math.floor((Math.min(row, this.#total) - 1) / this.count) * this.count);
  }

  #sized() {
    this.count = Number(this.size.value);
    this.#go(Math.floor(this.from / this.count) * this.count);
  }
}
