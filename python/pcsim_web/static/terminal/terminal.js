// The prompt in the page: the console itself, with its history, completion and help.
import {h, setText} from "../dom.js";
import {completed, inColumns} from "./completion.js";
import {History} from "./history.js";
import {Screen} from "./screen.js";
import {Shell} from "./shell.js";

/** The page "Console". */
class Terminal {
  #history = new History();
  #shown = null;   // what was said last of the switch: its name, and whether it runs
  #stopped = null;

  constructor(app) {
    this.app = app;
    this.screen = new Screen();
    this.shell = new Shell(app, this.screen);
    this.prompt = h("label", {for: "console-line", class: "prompt"});
    this.line = h("input", {id: "console-line", type: "text", "aria-label": "Line of the console",
                            autocomplete: "off", autocapitalize: "off", spellcheck: "false",
                            enterkeyhint: "send"});
    this.stop = h("button", {type: "button", title: "Ctrl-C", hidden: true,
                             onclick: () => this.#interrupt()}, "Interrupt");
    this.keys = h("p", {class: "keys"}, "Tab completes, ? tells what may follow, ↑ and ↓ walk "
                  + "through what was typed, Ctrl-C interrupts, Ctrl-L clears.");
    this.closed = h("p", {class: "closed", hidden: true},
                    "This page is read-only: it may look, but has no console.");
    this.entry = h("div", {class: "entry"}, this.prompt, this.line, this.stop);
    this.glass = h("div", {class: "glass"}, this.screen.ruler, this.screen.log, this.entry);
    this.page = app.tabs.add("console", "Console", () => this.#chosen());
    this.page.append(h("div", {class: "terminal"}, this.closed, this.glass, this.keys));
    app.element("tab-console").addEventListener("click", () => this.line.focus());
    this.#listen();
  }

  #listen() {
    this.screen.changed = () => this.#toEnd();
    this.shell.changed = () => this.#drawPrompt();
    this.line.addEventListener("keydown", (event) => this.#key(event));
    this.line.addEventListener("paste", (event) => this.#paste(event));
    // A click beside the text is one on the prompt, unless it has marked something.
    this.glass.addEventListener("click", () => {
      if (getSelection().isCollapsed) this.line.focus({preventScroll: true});
    });
    for (const type of ["whole", "instances", "connection", "shows"]) {
      this.app.store.addEventListener(type, () => this.#follow());
    }
  }

  #chosen() {
    this.#stopped = null;
    this.#follow();
  }

  /** Says once when the switch is another one, has gone or is back. */
  #follow() {
    if (!this.page || this.page.hidden) return;
    const {store} = this.app;
    this.closed.hidden = !store.readOnly;
    this.glass.hidden = this.keys.hidden = store.readOnly;
    if (store.readOnly || store.current === null) return;
    const now = `${store.current} ${store.alive}`;
    if (now === this.#shown && store.stopped === this.#stopped) return;
    if (now !== this.#shown) this.#tell(store);
    this.#shown = now;
    this.#stopped = store.stopped;
    if (store.alive && !this.shell.busy) this.shell.askPrompt();
  }

  #tell({current, alive}) {
    const [name, was] = (this.#shown ?? "").split(" ");
    if (!alive) {
      if ((was !== "false" || name !== current) && !this.shell.lost) {
        this.screen.told(`${current} has ended; start it again, or choose another switch.`,
                         "wrong");
      }
    } else if (name && name !== current) {
      this.screen.told(`This is the console of ${current}.`, "remark");
    } else if (was === "false") {
      this.screen.told(`${current} runs again.`, "remark");
    }
  }

  #drawPrompt() {
    setText(this.prompt, this.shell.busy ? "" : this.shell.prompt);
    this.stop.hidden = !this.shell.busy;
    this.#toEnd();
  }

  #toEnd() { this.glass.scrollTop = this.glass.scrollHeight; }

  #key(event) {
    const act = this.#actOf(event);
    if (act === null) return;
    event.preventDefault();
    act().catch((problem) => this.screen.told(`error: ${problem.message}`, "wrong"));
  }

  /** What a key does; null for one that types. */
  #actOf(event) {
    const {key, ctrlKey, altKey, metaKey, shiftKey} = event;
    if (altKey || metaKey || event.isComposing) return null;
    if (ctrlKey) return this.#actOfControl(key.toLowerCase());
    // With Shift, and in an empty line, Tab leads on through the page.
    if (key === "Tab") return shiftKey || this.line.value === "" ? null : () => this.#complete();
    return {
      Enter: async () => this.#enter(), "?": () => this.#question(),
      ArrowUp: async () => this.#walk(-1), ArrowDown: async () => this.#walk(1),
      Escape: async () => this.#set(""),
    }[key] ?? null;
  }

  #actOfControl(key) {
    const {selectionStart: start, selectionEnd: end, value} = this.line;
    const marked = start !== end || !getSelection().isCollapsed;
    return {
      c: marked ? null : () => this.#interrupt(),
      k: async () => this.#set(value.slice(0, start)),
      l: async () => this.screen.clear(),
      u: async () => this.#set(value.slice(end), 0),
    }[key] ?? null;
  }

  #set(text, at = text.length) {
    this.line.value = text;
    this.line.setSelectionRange(at, at);
  }

  #enter() {
    const line = this.line.value;
    this.#set("");
    this.#history.add(line);
    this.shell.enter(line);
  }

  #walk(step) {
    const line = this.#history.walk(step, this.line.value);
    if (line !== null) this.#set(line);
  }

  async #interrupt() {
    if (!this.shell.busy) this.screen.entered(this.shell.prompt, `${this.line.value}^C`);
    this.#set("");
    await this.shell.interrupt();
  }

  #split() {
    const at = this.line.selectionStart;
    return [this.line.value.slice(0, at), this.line.value.slice(at)];
  }

  async #complete() {
    const [before, behind] = this.#split();
    const {line, choices} = completed(before, await this.shell.complete(before));
    if (this.line.value !== before + behind) return;  // typed on meanwhile
    this.#set(line + behind, line.length);
    if (choices.length > 0) {
      this.screen.entered(this.shell.prompt, before);
      this.screen.output(inColumns(choices, this.screen.columns()));
    }
  }

  async #question() {
    // It stands there until it is known that it asks, so that nothing typed behind it gets before.
    const [before, behind] = this.#split();
    const asked = `${before}?${behind}`;
    this.#set(asked, before.length + 1);
    const help = await this.shell.question(before);
    if (help === null || this.line.value !== asked) return;
    this.#set(before + behind, before.length);
    this.screen.entered(this.shell.prompt, asked);
    this.screen.output(help);
  }

  /** Of several lines all run but the last, which may want an end. */
  #paste(event) {
    const text = event.clipboardData.getData("text").replaceAll("\r\n", "\n").replaceAll("\t", " ");
    if (!text.includes("\n")) return;
    event.preventDefault();
    const [before, behind] = this.#split();
    const lines = (before + text + behind).split("\n");
    this.#set(lines.pop());
    for (const line of lines) {
      this.#history.add(line);
      this.shell.enter(line);
    }
  }
}

/** Adds the tab "Console". */
export function mountTerminal(app) {
  new Terminal(app);
}
