// Clicks run lines of the console. Each is shown with its answer at the foot of the page, so that
// whoever clicks learns what to type.
import {h} from "./dom.js";

const KEPT = 50;

/** The foot of the page: the lines that were run, the newest first. */
export class Actions {
  constructor(store, foot) {
    this.store = store;
    this.list = h("ol", {reversed: true});
    foot.append(h("h2", {class: "unseen"}, "Lines that were run"), this.list);
  }

  /** Runs a line. The promise becomes its answer {text, data}, or null when it was refused, which
   * is told at the foot. */
  async run(line) {
    const status = h("span", {class: "status"}, "…");
    const entry = h("li", {}, h("code", {}, line), " ", status);
    this.list.prepend(entry);
    while (this.list.children.length > KEPT) this.list.lastChild.remove();
    try {
      if (this.store.past) throw new Error("this is the past; go back to now to touch the switch");
      const answer = await this.store.link.ask("run", {instance: this.store.current, line});
      status.textContent = answer.text.trim().split("\n")[0] || "done";
      entry.className = "done";
      return answer;
    } catch (problem) {
      status.textContent = problem.message;
      entry.className = "refused";
      return null;
    }
  }

  /** A button that runs a line, and says in its title which. */
  button(label, line, attributes = {}) {
    return h("button", {type: "button", title: line, disabled: this.store.readOnly, ...attributes,
                        onclick: () => this.run(line)}, label);
  }
}
