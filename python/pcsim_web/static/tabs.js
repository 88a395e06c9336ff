// The pages behind the panel: one is shown, the arrow keys walk along the tabs.
import {h} from "./dom.js";

/** Tabs in `list`, their pages in `pages`. */
export class Tabs {
  #tabs = [];

  constructor(list, pages) {
    this.list = list;
    this.pages = pages;
    list.addEventListener("keydown", (event) => this.#walk(event));
  }

  /** Adds a page and returns its element. `shown` is called each time it is chosen. */
  add(name, title, shown = () => {}) {
    const page = h("div", {id: `page-${name}`, role: "tabpanel", "aria-labelledby": `tab-${name}`,
                           tabindex: 0, hidden: true});
    const tab = h("button", {id: `tab-${name}`, type: "button", role: "tab", tabindex: -1,
                             "aria-controls": page.id, "aria-selected": "false",
                             onclick: () => this.choose(name)}, title);
    this.#tabs.push({name, tab, page, shown});
    this.list.append(tab);
    this.pages.append(page);
    if (this.#tabs.length === 1) this.choose(name);
    return page;
  }

  /** Shows a page. */
  choose(name) {
    for (const each of this.#tabs) {
      const chosen = each.name === name;
      each.tab.setAttribute("aria-selected", chosen);
      each.tab.tabIndex = chosen ? 0 : -1;
      each.page.hidden = !chosen;
      if (chosen) each.shown();
    }
  }

  #walk(event) {
    const step = {ArrowRight: 1, ArrowLeft: -1}[event.key];
    if (!step) return;
    const at = this.#tabs.findIndex((each) => each.tab === document.activeElement);
    const next = this.#tabs[(at + step + this.#tabs.length) % this.#tabs.length];
    next.tab.focus();
    this.choose(next.name);
    event.preventDefault();
  }
}
