// Pairs of a field and its value, as many as one wants: conditions of a fault, what it hands out.
import {h} from "../dom.js";

export class Pairs {
  #rows = [];

  constructor(name, title, what, changed) {
    this.name = name;
    this.what = what;
    this.changed = changed;
    this.offered = [];
    this.fields = h("datalist", {id: `fault-fields-${name}`});
    this.room = h("div", {class: "pair-rows"});
    this.add = h("button", {type: "button", "aria-label": `Add ${what}`,
                            onclick: () => this.#another()}, "+");
    this.node = h("fieldset", {class: "pairs", "data-pairs": name}, h("legend", {}, title),
                  this.fields, this.room, this.add);
    this.#append();
  }

  /** The fields that there are: {name, takes}. */
  offer(fields) {
    this.offered = fields;
    this.fields.replaceChildren(...fields.map((field) =>
      h("option", {value: field.name}, field.takes ?? field.type)));
    for (const row of this.#rows) this.#hint(row);
  }

  /** The pairs that are complete. */
  values() {
    return this.#rows
      .map(({field, value}) => ({field: field.value.trim(), value: value.value.trim()}))
      .filter(({field, value}) => field && value);
  }

  #append() {
    const row = {
      field: h("input", {list: this.fields.id, placeholder: "field", pattern: "\\S+",
                         autocomplete: "off", "aria-label": `Field of ${this.what}`}),
      value: h("input", {placeholder: "value", autocomplete: "off", pattern: "[^;\\n]+",
                         "aria-label": `Value of ${this.what}`}),
    };
    row.field.addEventListener("input", () => this.#hint(row));
    row.node = h("div", {class: "pair"}, row.field, row.value,
                 h("button", {type: "button", "aria-label": `Take this ${this.what.slice(2)} away`,
                              onclick: () => this.#take(row)}, "−"));
    this.#rows.push(row);
    this.room.append(row.node);
    return row;
  }

  #another() {
    this.#append().field.focus();
    this.changed();
  }

  #take(row) {
    this.#rows = this.#rows.filter((each) => each !== row);
    row.node.remove();
    this.changed();
    this.add.focus();
  }

  #hint({field, value}) {
    const known = this.offered.find((each) => each.name === field.value.trim());
    value.placeholder = known?.takes ?? "value";
  }
}
