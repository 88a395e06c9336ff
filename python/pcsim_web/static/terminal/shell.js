// A session of the console: lines run one after the other, as in a terminal.

/** Tells what becomes of lines to a screen. */
export class Shell {
  prompt = "";
  lost = false;  // whether a line has told already that the switch is gone
  #waiting = [];
  #running = false;

  constructor(app, screen) {
    this.app = app;
    this.screen = screen;
  }

  get busy() { return this.#running; }

  /** Runs a line behind those that wait already. */
  async enter(line) {
    this.#waiting.push(line);
    if (this.#running) return;
    this.#running = true;
    this.changed?.();
    while (this.#waiting.length > 0) await this.#run(this.#waiting.shift());
    this.#running = false;
    this.changed?.();
  }

  /** Ctrl-C: ends what runs and forgets what waits, or else the block that was begun. */
  async interrupt() {
    this.#waiting = [];
    const what = this.#running ? "interrupt" : "drop";
    await this.#ask(what, {terminal: true}).catch((problem) => this.#refused(problem));
    if (!this.#running) await this.askPrompt();
  }

  /** What the last word of the line may become. */
  complete(line) { return this.#ask("complete", {line}); }

  /** What may follow, null where a question mark is a character like others. */
  async question(line) {
    return (await this.#ask("question", {line, width: this.screen.columns()})).text;
  }

  /** Asks what stands before the next line. */
  async askPrompt() {
    try {
      this.prompt = (await this.#ask("prompt")).text;
    } catch { /* the next line says what is wrong */ }
    this.changed?.();
  }

  async #run(line) {
    this.screen.entered(this.prompt, line);
    if (this.app.store.past !== null) {
      this.screen.told("this is the past; go back to now to touch the switch", "wrong");
      return;
    }
    try {
      const answer = await this.#ask("run", {line, stream: true, terminal: true,
                                             width: this.screen.columns()},
                                     (text) => this.screen.output(text));
      this.lost = false;
      if (answer.text) this.screen.output(answer.text);
      if (answer.ended) this.screen.told("The session has ended; the next line begins another.",
                                         "remark");
    } catch (problem) {
      this.#refused(problem);
    }
    await this.askPrompt();
  }

  #refused(problem) {
    this.lost = problem.gone === true;
    this.screen.told(`error: ${problem.message}`, "wrong");
  }

  #ask(what, params = {}, output = null) {
    return this.app.link.ask(what, {instance: this.app.store.current, ...params}, output);
  }
}
