// The rows of one page of a table. Cells are kept while their values change, so that focus,
// selection and the place that one has scrolled to stay.
import {h, setText} from "../dom.js";
import {draw} from "./cells.js";

const RIGHT = new Set(["number", "count", "time", "age", "celsius"]);

/** A table in a box that scrolls, its header always in sight. */
export class Grid {
  #columns = "";

  /** `doors.openList(name)` shows the rules of an access list. */
  constructor(doors) {
    this.doors = doors;
    this.head = h("tr");
    this.body = h("tbody");
    this.caption = h("caption", {class: "unseen"});
    this.element = h("div", {class: "rows", tabindex: 0, role: "region", "aria-label": "Rows"},
                     h("table", {}, this.caption, h("thead", {}, this.head), this.body));
  }

  /** Draws a page. */
  show(page) {
    const columns = JSON.stringify(page.columns);
    if (columns !== this.#columns) {
      this.#columns = columns;
      this.head.replaceChildren(...page.columns.map(
        ({title, kind}) => h("th", {scope: "col", class: RIGHT.has(kind) ? "right" : ""}, title)));
      this.body.replaceChildren();
    }
    setText(this.caption, page.title);
    const rows = this.body.rows;
    while (rows.length > page.rows.length) rows[rows.length - 1].remove();
    page.rows.forEach((values, n) => {
      const row = rows[n] ?? this.body.appendChild(
        h("tr", {}, page.columns.map(() => h("td"))));
      values.forEach((value, at) => draw(row.cells[at], page.columns[at].kind, value, this.doors));
    });
  }

  /** Shows the first row. */
  toTop() { this.element.scrollTop = 0; }
}
