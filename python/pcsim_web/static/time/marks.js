// When something happened in the last hour: what the server knows at first, then each event as it
// comes. {at, source, text, count}; what happens at once is one mark of its source.

const KEPT_S = 3600;
const MOST = 4000;
const ONE_MARK_S = 0.5;
const ONE_STEP_S = 0.3;  // marks of several sources that are one change

/** The marks, oldest first. */
export class Marks {
  all = [];
  #open = new Map();  // source -> {begun, mark}

  /** As the server tells them: [at, source, text, count]. */
  begin(told) {
    this.#open.clear();
    this.all = told.map(([at, source, text, count]) => ({at, source, text, count}))
      .sort((one, other) => one.at - other.at);
  }

  /** Events that have come. */
  add(events) {
    for (const {at, source, text, mark: marks} of events) {
      if (!marks) continue;  // it changes nothing of the picture
      const open = this.#open.get(source);
      if (open && at - open.begun < ONE_MARK_S) {
        Object.assign(open.mark, {at, text, count: open.mark.count + 1});
        continue;
      }
      const mark = {at, source, text, count: 1};
      this.#open.set(source, {begun: at, mark});
      this.all.push(mark);
    }
    if (this.all.length > MOST) this.all.splice(0, this.all.length - MOST);
  }

  /** Forgets what is older than an hour. */
  prune(now) {
    const young = this.all.findIndex((mark) => mark.at >= now - KEPT_S);
    if (young !== 0) this.all.splice(0, young < 0 ? this.all.length : young);
  }

  /** The moment of the change before `at`, or behind it; null where there is none. */
  step(at, direction) {
    const steps = this.#steps();
    const found = direction < 0 ? steps.findLast((each) => each < at - 0.001)
      : steps.find((each) => each > at + 0.001);
    return found ?? null;
  }

  /** The marks at most so many seconds away from a moment, the nearest first; of equals the one
   * that came last, which is what the others have led to. */
  near(at, seconds) {
    return this.all.filter((mark) => Math.abs(mark.at - at) <= seconds).reverse()
      .sort((one, other) => Math.abs(one.at - at) - Math.abs(other.at - at));
  }

  #steps() {
    const steps = [];
    for (const {at} of this.all) {
      if (steps.length > 0 && at - steps.at(-1) < ONE_STEP_S) steps[steps.length - 1] = at;
      else steps.push(at);
    }
    return steps;
  }
}

/** A mark as words: "Port 1:1 link down and 3 more". */
export function markText(mark) {
  return mark.count > 1 ? `${mark.text} and ${mark.count - 1} more` : mark.text;
}
