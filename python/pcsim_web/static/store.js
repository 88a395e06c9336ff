// What the page knows of the switch that it shows, now or at a moment of the last hour.

const EVENTS_KEPT = 5000;

/** Tells
 *   "instances"   the list of switches has changed
 *   "connection"  pcsim-web answers, or doesn't any more
 *   "whole"       another switch is shown, or the same from the beginning
 *   "shows"       documents have changed; detail: a Set of their names
 *   "events"      there are new events; detail: {events, summed, lost}
 *   "rates"       rates of the last second; detail: {at, ports: {port: [rxPackets, rxBytes,
 *                 txPackets, txBytes, errors]}}, ports at rest left out
 *   "time"        the page shows another moment: the present one, or one of the past
 */
export class Store extends EventTarget {
  instances = [];
  current = null;     // name of the switch that is shown
  alive = false;      // whether it runs
  readOnly = true;
  connected = false;
  events = [];        // newest last; each {number, timeMs, source, text, at}
  past = null;        // {time, shows, clock: {timeMs, stopped}} while a moment of the past is shown
  historyFrom = null;  // seconds since 1970; from when on there is a past
  #shows = {};
  #ahead = 0;         // seconds that this clock is ahead of the server's, with the way of a message
  #moves = 0;         // how often another moment was wanted
  #now = {at: 0, timeMs: 0, stopped: false};

  constructor(link) {
    super();
    this.link = link;
    link.addEventListener("open", () => this.#opened());
    link.addEventListener("closed", () => this.#closed());
    link.addEventListener("tell-hello", (event) => { this.readOnly = event.detail.readOnly; });
    link.addEventListener("tell-instances", (event) => this.#listed(event.detail.instances));
    link.addEventListener("tell-news", (event) => this.#news(event.detail));
    window.addEventListener("hashchange", () => this.#follow());
  }

  /** The documents as they are shown, by name: "ports", "cards", ... A document that has not come
   * is undefined. */
  get shows() { return this.past?.shows ?? this.#shows; }

  /** The server's clock, in seconds since 1970: all times that it tells are of it. */
  now() { return Date.now() / 1000 - this.#ahead; }

  /** Whether the clock of the switch stands, or stood. */
  get stopped() { return this.past ? this.past.clock.stopped : this.#now.stopped; }

  /** The clock of the switch, in ms, as far as one can know it without asking. */
  timeMs() {
    if (this.past) return this.past.clock.timeMs;
    const {at, timeMs, stopped} = this.#now;
    return stopped || !this.alive ? timeMs : timeMs + Math.max(0, 1000 * (this.now() - at));
  }

  /** Shows another switch, which the address of the page names from now on. */
  choose(name) {
    location.hash = encodeURIComponent(name);
    if (this.instances.some((each) => each.name === name)) this.#look(name);
  }

  /** Shows a moment of the past, in seconds since 1970; null is the present. */
  async goTo(time) {
    const move = ++this.#moves;
    const answer = time === null ? null
      : await this.link.ask("at", {instance: this.current, time});
    if (move !== this.#moves) return;  // meanwhile another moment is wanted
    this.past = answer && {time, shows: answer.shows, clock: answer.clock};
    this.historyFrom = answer?.first ?? this.historyFrom;
    this.#tell("time");
  }

  #tell(type, detail) { this.dispatchEvent(new CustomEvent(type, {detail})); }

  #opened() {
    this.connected = true;
    this.#tell("connection");
    if (this.current) this.#look(this.current);
  }

  #closed() {
    this.connected = false;
    this.alive = false;
    this.#tell("connection");
  }

  #listed(instances) {
    // leaf2 stands before leaf10.
    this.instances = [...instances].sort(
      (a, b) => a.name.localeCompare(b.name, "en", {numeric: true}));
    this.#follow();
    this.#tell("instances");
  }

  // The switch that the address names is shown as soon as there is one of that name, and any other
  // until then.
  #follow() {
    const named = this.instances.find(
      (each) => `#${encodeURIComponent(each.name)}` === location.hash);
    const any = this.instances.find((each) => each.alive) ?? this.instances[0];
    const name = named?.name ?? this.current ?? any?.name ?? null;
    if (name !== this.current) this.#look(name);
  }

  async #look(name) {
    this.current = name;
    this.past = null;
    this.#moves++;
    await this.link.ask("look", {instance: name}).catch(() => this.#tell("instances"));
  }

  #news(news) {
    if (news.instance !== this.current) return;
    this.alive = news.alive;
    this.#now = news.now;
    // The message that was under way the shortest tells best.
    const ahead = Date.now() / 1000 - news.at;
    this.#ahead = news.whole ? ahead : Math.min(this.#ahead, ahead);
    if (news.whole) {
      this.#shows = news.shows;
      this.events = news.events;
      this.historyFrom = news.history;
      this.#tell("whole");
      return;
    }
    Object.assign(this.#shows, news.shows);
    if (Object.keys(news.shows).length > 0) this.historyFrom ??= news.at;
    if (news.events || news.summed || news.lost) this.#happened(news);
    this.#tell("shows", new Set(Object.keys(news.shows)));
    if (news.rates) this.#tell("rates", news.rates);
  }

  #happened(news) {
    const events = news.events ?? [];
    this.events.push(...events);
    if (this.events.length > EVENTS_KEPT) this.events.splice(0, this.events.length - EVENTS_KEPT);
    this.#tell("events", {events, summed: news.summed ?? {}, lost: news.lost ?? 0});
  }
}
