// The lines that were typed, kept by the browser from one visit to the next.

const KEY = "console-history";
const KEPT = 500;

function stored() {
  try {
    const lines = JSON.parse(localStorage.getItem(KEY) ?? "[]");
    return Array.isArray(lines) ? lines.filter((each) => typeof each === "string") : [];
  } catch {
    return [];  // whatever it was, or a browser that keeps nothing
  }
}

/** Walks through the lines; what was being typed waits behind the newest. */
export class History {
  #lines = stored();
  #at = this.#lines.length;
  #draft = "";

  /** Keeps a line that was entered. */
  add(line) {
    if (line.trim() !== "" && line !== this.#lines.at(-1)) {
      this.#lines.push(line);
      this.#lines.splice(0, this.#lines.length - KEPT);
      try {
        localStorage.setItem(KEY, JSON.stringify(this.#lines));
      } catch { /* full, or forbidden: this visit has them all the same */ }
    }
    this.#at = this.#lines.length;
    this.#draft = "";
  }

  /** The line `step` further, or null where there is none; `typed` is what stands there now. */
  walk(step, typed) {
    const to = this.#at + step;
    if (to < 0 || to > this.#lines.length) return null;
    if (this.#at === this.#lines.length) this.#draft = typed;
    this.#at = to;
    return to === this.#lines.length ? this.#draft : this.#lines[to];
  }
}
