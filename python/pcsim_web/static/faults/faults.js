// The page of faults: the rules that are there, and a form that arms one.
import {h, setAttribute, setText} from "../dom.js";
import {FaultForm} from "./form.js";

const COLUMNS = [["rule", "Rule"], ["operation", "Operation"], ["when", "When and what"],
                 ["returns", "Answers"], ["seen", "Seen"], ["hits", "Met"], ["state", "State"]];
const NUMBERS = ["rule", "seen", "hits"];

/** A rule in its row, updated in place. */
class Row {
  constructor(app, number) {
    this.cells = COLUMNS.map(([key, title]) => h("td", {
      "data-title": title, class: NUMBERS.includes(key) ? "number" : key}));
    this.rest = h("button", {type: "button", onclick: () => app.actions.run(this.rest.title)});
    this.remove = app.actions.button("Remove", `fault-remove ${number}`);
    this.node = h("tr", {"data-rule": number}, this.cells,
                  h("td", {class: "acts"}, this.rest, this.remove));
  }

  update(rule, idle) {
    COLUMNS.forEach(([key], n) => setText(this.cells[n], String(rule[key] ?? "–")));
    const applies = rule.state === "on";
    setAttribute(this.node, "data-state", rule.state);
    setText(this.rest, applies ? "Rest" : "Apply again");
    this.rest.title = `${applies ? "fault-off" : "fault-on"} ${rule.rule}`;
    this.rest.disabled = this.remove.disabled = idle;
  }
}

class FaultList {
  constructor(app) {
    this.app = app;
    this.rows = new Map();
    this.body = h("tbody");
    this.table = h("table", {class: "faults"}, h("thead", {}, h("tr", {},
      COLUMNS.map(([key, title]) => h("th", {
        scope: "col", class: NUMBERS.includes(key) ? "number" : key}, title)),
      h("th", {scope: "col"}, h("span", {class: "unseen"}, "What can be done")))), this.body);
    this.none = h("p", {class: "faults-none"}, "No fault is armed: every call goes through.");
    this.clear = app.actions.button("Clear all", "fault-clear");
    this.node = h("div", {}, h("div", {class: "faults-head"}, h("h2", {}, "Armed faults"),
                               this.clear), this.none, this.table);
  }

  update() {
    const {store} = this.app;
    const rules = store.shows.faults?.faults ?? [];
    const idle = store.readOnly || Boolean(store.past) || !store.alive;
    for (const [number, row] of this.rows) {
      if (rules.some((rule) => rule.rule === number)) continue;
      row.node.remove();
      this.rows.delete(number);
    }
    for (const rule of rules) {
      if (!this.rows.has(rule.rule)) {
        this.rows.set(rule.rule, new Row(this.app, rule.rule));
        this.body.append(this.rows.get(rule.rule).node);
      }
      this.rows.get(rule.rule).update(rule, idle);
    }
    this.none.hidden = rules.length > 0;
    this.table.hidden = this.clear.hidden = rules.length === 0;
    this.clear.disabled = idle;
  }
}

/** Adds the page of faults. */
export function mountFaults(app) {
  const list = new FaultList(app);
  const form = new FaultForm(app);
  const page = app.tabs.add("faults", "Faults", () => form.load());
  page.append(list.node, form.node);
  const refresh = () => {
    list.update();
    form.update();
  };
  for (const type of ["whole", "time", "connection"]) app.store.addEventListener(type, refresh);
  app.store.addEventListener("shows", (event) => {
    if (event.detail.has("faults")) list.update();
  });
  refresh();
}
