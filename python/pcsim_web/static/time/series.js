// The rates of all ports in a window of time, as means over steps. Each sample is
// [packets received, bytes received, packets sent, bytes sent, errors] a second, or 0 of a port at
// rest.

/** What can be chosen: 300 points each. */
export const WINDOWS = [
  {name: "5 min", seconds: 300, step: 1},
  {name: "15 min", seconds: 900, step: 3},
  {name: "1 h", seconds: 3600, step: 12},
];

/** The samples, oldest first. */
export class Series {
  times = [];
  #counts = [];
  #ports = new Map();

  constructor(span) { this.span = span; }

  /** As the server tells it. */
  begin({times, counts, ports}) {
    this.times = times;
    this.#counts = counts;
    this.#ports = new Map(Object.entries(ports));
  }

  /** The samples of a port, 0 each if it has none. */
  of(port) { return this.#ports.get(port) ?? []; }

  /** The rates of the last second: one more sample of its step, or the first of the next. */
  add(at, ports) {
    const {step, seconds} = this.span;
    const last = this.times.length - 1;
    const same = last >= 0 && Math.floor(at / step) === Math.floor(this.times[last] / step);
    for (const port of Object.keys(ports)) this.#know(port);
    for (const [port, samples] of this.#ports) {
      const now = ports[port] ?? 0;
      if (same) samples[last] = mean(samples[last], this.#counts[last], now);
      else samples.push(now);
    }
    if (same) {
      this.times[last] = at;
      this.#counts[last]++;
    } else {
      this.times.push(at);
      this.#counts.push(1);
    }
    while (this.times[0] < at - seconds) this.#shift();
  }

  /** The place of the sample nearest to a time, -1 where there is none for three steps. */
  near(time) {
    let [best, least] = [-1, 3 * this.span.step];
    this.times.forEach((each, at) => {
      if (Math.abs(each - time) <= least) [best, least] = [at, Math.abs(each - time)];
    });
    return best;
  }

  #know(port) {
    if (!this.#ports.has(port)) this.#ports.set(port, this.times.map(() => 0));
  }

  #shift() {
    this.times.shift();
    this.#counts.shift();
    for (const samples of this.#ports.values()) samples.shift();
  }
}

function mean(before, count, now) {
  if (before === 0 && now === 0) return 0;
  return [0, 1, 2, 3, 4].map((value) =>
    ((before === 0 ? 0 : before[value]) * count + (now === 0 ? 0 : now[value])) / (count + 1));
}

/** What is drawn of a sample: received, sent, and errors. */
export const UNITS = {
  packets: {name: "Packets", unit: "", received: 0, sent: 2},
  bytes: {name: "Bytes", unit: "B", received: 1, sent: 3},
};
export const ERRORS = 4;

/** The largest value of some kinds among samples. */
export function peakOf(samples, kinds) {
  let peak = 0;
  for (const sample of samples) {
    if (sample !== 0) for (const kind of kinds) peak = Math.max(peak, sample[kind]);
  }
  return peak;
}
