// The WebSocket: questions and their answers, what is told without being asked, and coming back
// after a loss.

const SOON_MS = 250;
const LATEST_MS = 4000;

/** A question that was answered with an error; `right` says what would be right, or is "", `gone`
 * whether the switch is. */
export class Refused extends Error {
  constructor(error) {
    super(error.message);
    this.right = error.right ?? "";
    this.code = error.code;
    this.text = error.text ?? "";
    this.gone = error.gone ?? false;
  }
}

/** Tells "open", "closed", and a "tell-X" event for each message that has "tell": X, with the
 * message as its detail. */
export class Link extends EventTarget {
  #socket = null;
  #last = 0;
  #open = new Map();  // number of a question -> {resolve, reject, output}
  #wait = SOON_MS;

  constructor(address) {
    super();
    this.address = address;
    this.#connect();
  }

  get isOpen() { return this.#socket?.readyState === WebSocket.OPEN; }

  /** Asks; the promise becomes the answer, or a Refused. `output` gets what a line prints on the
   * way. */
  ask(what, params = {}, output = null) {
    if (!this.isOpen) {
      return Promise.reject(new Refused({message: "pcsim-web does not answer; start it again"}));
    }
    const id = ++this.#last;
    this.#socket.send(JSON.stringify({id, do: what, ...params}));
    return new Promise((resolve, reject) => this.#open.set(id, {resolve, reject, output}));
  }

  #connect() {
    this.#socket = new WebSocket(this.address);
    this.#socket.onopen = () => {
      this.#wait = SOON_MS;
      this.dispatchEvent(new Event("open"));
    };
    this.#socket.onmessage = (message) => this.#heard(JSON.parse(message.data));
    this.#socket.onclose = () => this.#closed();
  }

  #closed() {
    for (const question of this.#open.values()) {
      question.reject(new Refused({message: "the connection was lost before the answer came"}));
    }
    this.#open.clear();
    this.dispatchEvent(new Event("closed"));
    setTimeout(() => this.#connect(), this.#wait);
    this.#wait = Math.min(2 * this.#wait, LATEST_MS);
  }

  #heard(message) {
    if (message.tell === "output") {
      this.#open.get(message.to)?.output?.(message.text);
    } else if (message.tell) {
      this.dispatchEvent(new CustomEvent(`tell-${message.tell}`, {detail: message}));
    } else {
      const question = this.#open.get(message.id);
      this.#open.delete(message.id);
      if (message.error) question?.reject(new Refused(message.error));
      else question?.resolve(message.answer);
    }
  }
}
