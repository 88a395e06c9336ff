// A list of any length in which only the rows that can be seen are elements. All rows are equally
// high, the newest is at the top, and a row that one looks at stays where it is when others come.
import {h, oncePerFrame, setAttribute} from "../dom.js";

const BEYOND = 4;   // rows that are drawn above and below what can be seen
const NEAR_END = 30;  // rows before the last at which more are asked for

/** `make()` gives an empty element of a row, `draw(element, row)` fills it. Tells "follow" when it
 * begins or ends to follow the newest row, "end" when the oldest rows come into view, "point" with
 * a row, or null, when another is pointed at, and "choose" with one on which Enter is pressed. */
export class NewestFirst extends EventTarget {
  following = true;
  #rows = [];            // newest last
  #nodes = new Map();    // row -> element
  #active = null;
  #pointed = null;
  plan = oncePerFrame(() => this.#draw());

  constructor(label, make, draw) {
    super();
    this.make = make;
    this.draw = draw;
    this.space = h("div", {class: "rows"});
    this.element = h("div", {class: "newest-first", role: "listbox", tabindex: 0,
                             "aria-label": label, onscroll: () => this.#scrolled(),
                             onkeydown: (event) => this.#key(event)}, this.space);
    this.space.addEventListener("pointerover", (event) => this.#point(event.target));
    this.space.addEventListener("pointerleave", () => this.#point(null));
    this.element.addEventListener("blur", () => this.#activate(null));
    new ResizeObserver(() => this.plan()).observe(this.element);
  }

  /** The rows, of which `added` have come at the newer end since the last time. */
  show(rows, added) {
    this.#rows = rows;
    if (!this.following && added > 0) this.#keepPlace(added);
    this.plan();
  }

  /** Begins to follow the newest row, or stays where it is. */
  follow(following) {
    if (following) this.element.scrollTop = 0;
    if (this.following === following) return;
    this.following = following;
    this.dispatchEvent(new Event("follow"));
  }

  get #height() {
    return parseFloat(getComputedStyle(this.element).getPropertyValue("--row-height")) || 32;
  }

  #keepPlace(added) {
    const height = this.#height;
    this.space.style.height = `${this.#rows.length * height}px`;
    this.element.scrollTop += added * height;
  }

  #draw() {
    if (this.element.clientHeight === 0) return;  // its page is not shown
    const height = this.#height;
    const count = this.#rows.length;
    this.space.style.height = `${count * height}px`;
    if (this.following && this.element.scrollTop > 0) this.element.scrollTop = 0;
    const first = Math.max(0, Math.floor(this.element.scrollTop / height) - BEYOND);
    const behind = Math.min(count, first + 2 * BEYOND
      + Math.ceil(this.element.clientHeight / height) + 1);
    this.#place(first, behind, height);
    if (behind > count - NEAR_END) this.dispatchEvent(new Event("end"));
  }

  #place(first, behind, height) {
    const seen = new Map();
    for (let at = first; at < behind; at++) seen.set(this.#rows[this.#rows.length - 1 - at], at);
    const free = [];
    for (const [row, node] of this.#nodes) {
      if (seen.has(row)) continue;
      this.#nodes.delete(row);
      free.push(node);
    }
    for (const [row, at] of seen) {
      const node = this.#nodes.get(row) ?? free.pop() ?? this.space.appendChild(this.make());
      if (node.row !== row || node.drawn !== row.changes) {
        node.row = row;
        node.drawn = row.changes;
        this.draw(node, row);
      }
      this.#nodes.set(row, node);
      node.style.transform = `translateY(${at * height}px)`;
      setAttribute(node, "aria-posinset", at + 1);
      setAttribute(node, "aria-setsize", this.#rows.length);
      node.classList.toggle("active", row === this.#active);
      node.id = `event-${at % 512}`;
    }
    for (const node of free) node.remove();
  }

  #scrolled() {
    if (this.following && this.element.scrollTop > 1) this.follow(false);
    this.plan();
  }

  #point(target) {
    const row = target?.closest?.(".row")?.row ?? null;
    if (row === this.#pointed) return;
    this.#pointed = row;
    this.dispatchEvent(new CustomEvent("point", {detail: row}));
  }

  #activate(row) {
    this.#active = row;
    this.dispatchEvent(new CustomEvent("point", {detail: row}));
    setAttribute(this.element, "aria-activedescendant", this.#nodes.get(row)?.id);
    this.plan();
  }

  #key(event) {
    if (event.target !== this.element || event.ctrlKey || event.altKey || event.metaKey) return;
    const page = Math.max(1, Math.floor(this.element.clientHeight / this.#height) - 1);
    const last = this.#rows.length - 1;
    const at = this.#active === null ? -1 : last - this.#rows.lastIndexOf(this.#active);
    const to = {ArrowDown: at + 1, ArrowUp: at - 1, PageDown: at + page, PageUp: at - page,
                Home: 0, End: last}[event.key];
    if (to !== undefined && last >= 0) this.#walkTo(Math.min(last, Math.max(0, to)));
    else if (event.key === "Enter" && this.#active !== null) {
      this.dispatchEvent(new CustomEvent("choose", {detail: this.#active}));
    } else if (event.key === "Escape") this.#activate(null);
    else return;
    event.preventDefault();
  }

  #walkTo(at) {
    const height = this.#height;
    const {scrollTop, clientHeight} = this.element;
    if (at * height < scrollTop) this.element.scrollTop = at * height;
    else if ((at + 1) * height > scrollTop + clientHeight) {
      this.element.scrollTop = (at + 1) * height - clientHeight;
    }
    this.#draw();
    this.#activate(this.#rows[this.#rows.length - 1 - at]);
  }
}
