// The events that the page knows, as rows: each event, and what stands for events that were summed
// up or lost on the way. Newest last.

const ROWS_KEPT = 20_000;
const LET_GO = 2000;    // at once, so that it is rarely done
const ONE_ROW_S = 1;    // what is summed up within this is one row

/** How many events a row stands for. */
export function sumOf(counts) {
  return Object.values(counts).reduce((sum, count) => sum + count, 0);
}

/** What is drawn of the rows. `until` is a moment of the past, or null. */
export class Filter {
  hidden = new Set();  // sources
  text = "";
  until = null;

  /** Whether a row is drawn. */
  takes(row) {
    if (this.until !== null && row.at > this.until) return false;
    if (row.kind === "event") {
      return !this.hidden.has(row.source)
        && (this.text === "" || `${row.source} ${row.text}`.toLowerCase().includes(this.text));
    }
    return this.text === "" && Object.keys(row.counts).some((source) => !this.hidden.has(source));
  }
}

/** Rows: {kind: "event", order, number, timeMs, source, text, at}, {kind: "summed", order, counts,
 * from, to, at} for some of the events from one number up to before the other, and {kind: "lost",
 * order, counts, at}. `shown` are those that the filter takes. */
export class Log {
  rows = [];
  shown = [];
  filter = new Filter();
  sources = new Map();  // how many events of each are known
  untold = 0;           // events that rows stand for
  complete = false;     // whether there are none from before

  /** Another switch, or the same from the beginning. */
  begin(events) {
    this.rows = [];
    this.sources = new Map();
    this.untold = 0;
    this.complete = events.length === 0;
    this.#take(events);
    this.choose();
  }

  /** What is new; returns how many rows are drawn of it. */
  add({events, summed, lost}, now) {
    const before = this.rows.length;
    if (Object.keys(summed).length > 0) this.#sum(summed, events, now);
    if (lost > 0) this.#push({kind: "lost", counts: {lost}, at: now, order: this.newest + 0.25});
    this.#take(events);
    const taken = this.rows.slice(before).filter((row) => this.filter.takes(row));
    this.shown.push(...taken);
    this.#letGo();
    return taken.length;
  }

  /** Events from before those that are known. */
  addOlder(events) {
    const oldest = this.oldest;
    const older = events.filter((event) => event.number < oldest);
    if (older.length === 0) this.complete = true;
    this.#insert(older);
  }

  /** The events that a row stands for, in its place. */
  replace(row, events) {
    const known = new Set(this.rows.map((each) => each.number));
    this.rows.splice(this.rows.indexOf(row), 1);
    this.untold -= sumOf(row.counts);
    this.#insert(events.filter((event) => event.number >= row.from && event.number < row.to
      && !known.has(event.number)));
  }

  /** Chooses what is drawn anew. */
  choose() { this.shown = this.rows.filter((row) => this.filter.takes(row)); }

  /** Whether more would only push out what is there. */
  get full() { return this.rows.length > ROWS_KEPT - LET_GO; }

  /** The number of the oldest event that is known. */
  get oldest() { return this.rows.find((row) => row.kind === "event")?.number ?? Infinity; }

  /** The number of the newest. */
  get newest() {
    const last = this.rows.findLast((row) => row.kind === "event");
    return last ? last.number : -1;
  }

  #push(row) { this.rows.push(row); }

  #take(events) {
    for (const event of events) {
      this.#push({kind: "event", order: event.number, ...event});
      this.sources.set(event.source, (this.sources.get(event.source) ?? 0) + 1);
    }
  }

  #insert(events) {
    this.#take(events);
    this.rows.sort((one, other) => one.order - other.order);
    this.choose();
  }

  #sum(summed, events, now) {
    const from = this.newest + 1;
    const to = events[0]?.number ?? from;
    let row = this.rows.findLast((each) => each.kind === "summed");
    if (!row || now - row.at >= ONE_ROW_S) {
      row = {kind: "summed", counts: {}, from, at: events[0]?.at ?? now, order: from - 0.5};
      this.#push(row);
    }
    row.to = to;
    for (const [source, count] of Object.entries(summed)) {
      row.counts[source] = (row.counts[source] ?? 0) + count;
      this.untold += count;
    }
    row.changes = (row.changes ?? 0) + 1;
  }

  #letGo() {
    if (this.rows.length <= ROWS_KEPT) return;
    for (const row of this.rows.splice(0, LET_GO)) {
      if (row.kind === "summed") this.untold -= sumOf(row.counts);
    }
    this.complete = false;
    this.choose();
  }
}
