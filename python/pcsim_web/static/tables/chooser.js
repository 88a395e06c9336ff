// The list of tables: at the side where there is room, a menu where there is none.
import {h} from "../dom.js";

function grouped(tables) {
  const groups = new Map();
  for (const table of tables) {
    groups.set(table.group, [...groups.get(table.group) ?? [], table]);
  }
  return [...groups];
}

/** Calls `chosen(name)`. */
export class Chooser {
  #buttons = new Map();

  constructor(chosen) {
    this.chosen = chosen;
    this.list = h("nav", {class: "choose", "aria-label": "Tables"});
    this.menu = h("select", {class: "choose", "aria-label": "Table",
                             onchange: () => this.chosen(this.menu.value)});
  }

  /** Takes the tables, as pcsim-web tells them. */
  fill(tables) {
    const groups = grouped(tables);
    this.menu.replaceChildren(...groups.map(([name, each]) => h("optgroup", {label: name}, each.map(
      (table) => h("option", {value: table.name}, table.title)))));
    this.#buttons.clear();
    this.list.replaceChildren(...groups.map(([name, each]) => h("div", {role: "group",
                                                                        "aria-label": name},
      h("h3", {}, name), each.map((table) => this.#button(table)))));
  }

  /** Marks one as chosen. */
  mark(name) {
    this.menu.value = name;
    for (const [each, button] of this.#buttons) {
      button.setAttribute("aria-pressed", String(each === name));
    }
  }

  #button({name, title}) {
    const button = h("button", {type: "button", "aria-pressed": "false",
                                onclick: () => this.chosen(name)}, title);
    this.#buttons.set(name, button);
    return button;
  }
}
