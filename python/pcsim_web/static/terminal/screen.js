// What was typed and answered: the part of a terminal above its prompt.
import {h} from "../dom.js";

const MOST = 400000;  // characters that are kept; a browser gets slow with more

/** A log that stays at its end unless one has scrolled up. */
export class Screen {
  #text = null;  // the node that output is added to
  #size = 0;

  constructor() {
    this.log = h("pre", {role: "log", "aria-label": "Answers of the console",
                         "aria-live": "polite"});
    this.ruler = h("span", {class: "ruler", "aria-hidden": "true"}, "0".repeat(20));
  }

  /** The columns that a line has room for. */
  columns() {
    const letter = this.ruler.getBoundingClientRect().width / 20;
    const columns = Math.floor(this.log.clientWidth / letter);
    return letter > 0 ? Math.min(1000, Math.max(20, columns)) : 80;
  }

  /** A line that was entered, behind its prompt. */
  entered(prompt, line) {
    this.#add(h("span", {class: "entered"}, h("span", {class: "prompt"}, prompt), line, "\n"));
  }

  /** A line about the terminal itself, or what was wrong. */
  told(text, kind) { this.#add(h("span", {class: kind}, text, "\n")); }

  /** Output, which may come in pieces. */
  output(text) {
    if (this.#text === null || this.#text.length > MOST / 8) {
      this.#text = document.createTextNode("");
      this.#add(h("span", {}, this.#text), this.#text);
    }
    this.#size += text.length;
    this.#text.appendData(text);
    this.#trim();
  }

  clear() {
    this.log.replaceChildren();
    this.#text = null;
    this.#size = 0;
  }

  #add(element, text = null) {
    this.#text = text;
    this.#size += element.textContent.length;
    this.log.append(element);
    this.#trim();
  }

  #trim() {
    while (this.#size > MOST && this.log.firstChild !== this.log.lastChild) {
      this.#size -= this.log.firstChild.textContent.length;
      this.log.firstChild.remove();
    }
    this.changed?.();
  }
}
