// The tables behind the panel, one page at a time: however long a table is, the switch is asked for
// the rows that are seen, again and again while they are.
import {h, setText} from "../dom.js";
import {Chooser} from "./chooser.js";
import {Grid} from "./grid.js";
import {Pager} from "./pager.js";

const TYPING_MS = 250;  // from the last letter to the question
const REST = 20;        // a page that takes long is asked for less often: times what it took,
const LONGEST_MS = 6000;  // up to this

/** The page "Tables". */
class Tables {
  #tables = new Map();
  #name = "";
  #asked = 0;      // number of the last question; older answers come too late
  #timer = 0;
  #drawn = "";     // what is seen: the switch and the table

  constructor(app) {
    this.app = app;
    this.chooser = new Chooser((name) => this.choose(name));
    this.pager = new Pager(() => this.#ask(true));
    this.grid = new Grid({openList: (name) => this.choose("rules", name)});
    this.search = h("input", {type: "search", "aria-label": "Search", spellcheck: "false",
                              autocomplete: "off", oninput: () => this.#typed()});
    this.title = h("h2");
    this.note = h("p", {class: "note"});
    this.problem = h("p", {class: "problem", role: "alert", hidden: true});
    this.empty = h("div", {class: "empty", hidden: true});
    this.line = h("code");
    this.offers = h("span", {class: "offers"});
    this.again = h("button", {type: "button", onclick: () => this.#ask(false)}, "Ask again");
    this.page = app.tabs.add("tables", "Tables", () => this.#shown());
    this.page.append(this.#whole());
    for (const type of ["whole", "time", "connection"]) {
      app.store.addEventListener(type, () => this.#anew());
    }
    document.addEventListener("visibilitychange", () => this.#shown());
  }

  #whole() {
    return h("div", {class: "tables"}, this.chooser.list, h("div", {class: "table"},
      h("div", {class: "head"}, this.chooser.menu, this.title, this.search),
      this.problem, this.note, this.empty, this.grid.element,
      h("div", {class: "foot"}, this.pager.element,
        h("span", {class: "asked"}, this.line, this.again, this.offers))));
  }

  /** Shows another table, perhaps searched. */
  choose(name, search = "") {
    this.#name = name;
    this.search.value = search;
    const {hint, title} = this.#tables.get(name);
    this.search.placeholder = hint;
    this.search.title = hint && `Search for ${hint}`;
    this.search.hidden = hint === "";
    setText(this.title, title);
    this.chooser.mark(name);
    this.pager.reset();
    this.#ask(true);
  }

  #typed() {
    this.pager.reset();
    clearTimeout(this.#timer);
    this.#timer = setTimeout(() => this.#ask(true), TYPING_MS);
  }

  /** Another switch, another moment, or pcsim-web is back. */
  #anew() {
    this.pager.reset();
    this.#shown();
  }

  async #shown() {
    if (!this.#seen() || !this.app.store.connected) return;
    if (this.#tables.size === 0) {
      const tables = await this.app.link.ask("tables").catch(() => []);
      if (tables.length === 0) return;
      this.#tables = new Map(tables.map((table) => [table.name, table]));
      this.chooser.fill(tables);
      this.choose(tables[0].name);
    } else {
      this.#ask(false);
    }
  }

  #seenNow() { return `${this.app.store.current} ${this.#name}`; }

  #seen() { return this.page && !this.page.hidden && !document.hidden; }

  async #ask(toTop) {
    clearTimeout(this.#timer);
    const {store, link} = this.app;
    const number = ++this.#asked;  // whatever was asked before comes too late
    if (!this.#seen() || store.current === null || !this.#name) return;
    if (store.past !== null) {
      this.#refuse("Tables are those of now, the past has none; go back to now to see them.");
      return;
    }
    const begun = performance.now();
    let everyMs = 2000;
    try {
      const page = await link.ask("table", {
        instance: store.current, table: this.#name, search: this.search.value,
        from: this.pager.from, count: this.pager.count});
      if (number !== this.#asked) return;
      if (this.pager.comeBack(page.total)) { this.#ask(true); return; }
      this.#draw(page);
      if (toTop) this.grid.toTop();
      everyMs = 1000 * page.everyS;
    } catch (problem) {
      if (number !== this.#asked) return;
      // How it was last stays in sight when the switch ends.
      if (!problem.gone || this.#drawn !== this.#seenNow()) this.#refuse(problem.message);
    }
    if (everyMs > 0 && store.alive) {
      const rest = Math.min(REST * (performance.now() - begun), LONGEST_MS);
      this.#timer = setTimeout(() => this.#ask(false), Math.max(everyMs, rest));
    }
  }

  #refuse(text) {
    this.#drawn = "";
    setText(this.problem, text);
    this.problem.hidden = false;
    this.grid.element.hidden = this.pager.element.hidden = this.empty.hidden = true;
    this.note.hidden = true;
    setText(this.line, "");
  }

  #draw(page) {
    this.#drawn = this.#seenNow();
    this.problem.hidden = true;
    setText(this.title, [page.title, page.says].filter(Boolean).join(" "));
    this.title.classList.toggle("searched", page.says !== "");
    const notes = [page.note, page.cut ? `${page.cut} more rows of these are not shown` : "",
                   page.everyS === 0 ? "Asked for once: each question calls the platform." : ""];
    setText(this.note, notes.filter(Boolean).join(" · "));
    this.note.hidden = this.note.textContent === "";
    this.again.hidden = page.everyS !== 0;
    setText(this.line, page.line);
    this.grid.element.hidden = page.total === 0;
    this.pager.element.hidden = page.total === 0;
    this.#drawEmpty(page);
    this.#drawOffers(page.offers);
    this.grid.show(page);
    this.pager.show(page);
  }

  #drawEmpty(page) {
    this.empty.hidden = page.total !== 0;
    const told = `${page.total} ${page.table} ${page.says}`;
    if (page.total !== 0 || this.empty.dataset.told === told) return;
    this.empty.dataset.told = told;
    this.empty.replaceChildren(h("p", {}, `There are no ${page.noun}${
      page.says ? ` ${page.says}` : ""}.`));
    if (page.fill.length === 0 || page.says) return;
    this.empty.append(h("p", {}, "Lines of the console that bring some:"),
                      h("ul", {}, page.fill.map((line) => h("li", {}, h("code", {}, line)))));
  }

  #drawOffers(offers) {
    const told = offers.join() + this.app.store.readOnly;
    if (this.offers.dataset.told === told) return;
    this.offers.dataset.told = told;
    this.offers.replaceChildren(...offers.map((line) => this.app.actions.button(line, line)));
  }
}

/** Adds the tab "Tables". */
export function mountTables(app) {
  new Tables(app);
}
