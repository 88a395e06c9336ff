// The form that arms a fault: an operation, which of its calls are meant, and what becomes of them.
// The line that it makes is shown while it is put together.
import {h, setText} from "../dom.js";
import {Pairs} from "./pairs.js";

const PARTS = [
  {name: "returns", label: "Answers", hint: "a number, or null",
   pattern: "-?\\d+|-?0x[0-9a-fA-F]+|null"},
  {name: "delay", label: "Comes late by", hint: "ms", type: "number", min: 0},
  {name: "after", label: "After so many calls", hint: "0", type: "number", min: 0},
  {name: "count", label: "Applies so often", hint: "once", type: "number", min: 1},
];
const ORDER = ["after", "count", "delay", "returns"];

/** The line that arms the fault. */
export function lineOf({operation, where, set, ...parts}) {
  const pairs = (word, all) => all.map(({field, value}) => ` ${word} ${field} ${value}`).join("");
  const said = ORDER.filter((name) => parts[name])
    .map((name) => ` ${name} ${parts[name]}`).join("");
  return `fault ${operation || "OPERATION"}${pairs("where", where)}${said}${pairs("set", set)}`;
}

export class FaultForm {
  #asked = null;  // the instance whose operations are known
  #described = "";

  constructor(app) {
    this.app = app;
    this.operations = h("datalist", {id: "fault-operations"});
    this.operation = h("input", {name: "operation", list: "fault-operations", required: true,
                                 pattern: "\\S+", autocomplete: "off", spellcheck: "false",
                                 placeholder: "type some letters of its name"});
    this.known = h("p", {class: "fault-known"});
    this.where = new Pairs("where", "Only calls where", "a condition", () => this.update());
    this.set = new Pairs("set", "Hand out instead", "a handed-out value", () => this.update());
    this.parts = PARTS.map((part) => ({...part, input: h("input", {
      name: part.name, type: part.type ?? "text", min: part.min, pattern: part.pattern,
      placeholder: part.hint, autocomplete: "off"})}));
    this.line = h("code", {class: "fault-line"});
    this.arm = h("button", {type: "submit"}, "Arm");
    this.node = this.#draw();
    this.node.addEventListener("input", () => this.update());
    this.node.addEventListener("submit", (event) => {
      event.preventDefault();
      app.actions.run(lineOf(this.#values()));
    });
    this.operation.addEventListener("change", () => this.#describe());
  }

  /** Asks which operations there are, once for each switch. */
  async load() {
    const {store, link} = this.app;
    const name = store.current;
    if (store.readOnly || !store.alive || this.#asked === name) return;
    this.#asked = name;
    try {
      const {data} = await link.ask("run", {instance: name, line: "show operations"});
      this.operations.replaceChildren(...data.operations.map((each) =>
        h("option", {value: each.word}, each.operation)));
      setText(this.known, `${data.operations.length} operations; functions of the host and the C `
        + "library go by their own names, * stands for any letters.");
    } catch (problem) {
      this.#asked = null;
      setText(this.known, problem.message);
    }
  }

  update() {
    const {store} = this.app;
    const line = lineOf(this.#values());
    setText(this.line, line);
    this.arm.title = line;
    this.arm.disabled = store.readOnly || Boolean(store.past) || !store.alive
      || !this.node.checkValidity();
    if (!this.node.closest("[hidden]") && this.node.isConnected) this.load();
  }

  /** Asks what there is to say of the operation's calls. */
  async #describe() {
    const {store, link} = this.app;
    const operation = this.operation.value.trim();
    if (!operation || operation === this.#described || store.readOnly) return;
    this.#described = operation;
    const line = `show operation ${operation}`;
    try {
      const {data} = await link.ask("run", {instance: store.current, line});
      this.where.offer(data.values ?? []);
      this.set.offer([...data.outputs ?? [], {name: "result", takes: "a number"}]);
      setText(this.known, data.operation.signature);
    } catch {
      // Functions of the host and of the C library have no description, and can fail all the same.
      this.where.offer([]);
      this.set.offer([]);
      setText(this.known, "");
    }
  }

  #values() {
    return {operation: this.operation.value.trim(), where: this.where.values(),
            set: this.set.values(),
            ...Object.fromEntries(this.parts.map(({name, input}) => [name, input.value.trim()]))};
  }

  #draw() {
    return h("form", {class: "fault-form", novalidate: true}, h("h2", {}, "Arm a fault"),
             h("label", {class: "fault-operation"}, "Operation", this.operation), this.operations,
             this.known,
             h("div", {class: "fault-parts"}, this.parts.map(({label, input}) =>
               h("label", {}, label, input))),
             this.where.node, this.set.node,
             h("p", {class: "fault-known"}, "A fault that neither answers, delays nor hands out "
               + "anything lets the call fail."),
             h("div", {class: "fault-arm"}, this.arm, this.line));
  }
}
