// Times and amounts as words.

const two = (number) => String(number).padStart(2, "0");

/** The clock of a switch: 252345 ms is 0:04:12.345. */
export function switchTime(ms) {
  const seconds = Math.floor(ms / 1000);
  return `${Math.floor(seconds / 3600)}:${two(Math.floor(seconds / 60) % 60)}:${two(seconds % 60)}`
    + `.${String(Math.floor(ms % 1000)).padStart(3, "0")}`;
}

/** The clock on the wall, from seconds since 1970. */
export function wallTime(at, withSeconds = true) {
  const date = new Date(1000 * at);
  return `${two(date.getHours())}:${two(date.getMinutes())}`
    + (withSeconds ? `:${two(date.getSeconds())}` : "");
}

/** "1 event", "3 events". */
export function counted(count, one, more = `${one}s`) {
  return `${count.toLocaleString("en")} ${count === 1 ? one : more}`;
}

/** How long ago it was. */
export function ago(seconds) {
  if (seconds < 1.5) return "a moment ago";
  if (seconds < 90) return `${counted(Math.round(seconds), "second")} ago`;
  return `${counted(Math.round(seconds / 60), "minute")} ago`;
}

const PREFIXES = ["", "k", "M", "G", "T"];

/** An amount per second with three digits: 1234 packets are "1.23 k/s", 1234 bytes "1.23 kB/s". */
export function perSecond(value, unit) {
  let power = 0;
  while (value >= 999.5 && power < PREFIXES.length - 1) {
    value /= 1000;
    power++;
  }
  const digits = value >= 99.95 || value === Math.round(value) ? 0 : value >= 9.995 ? 1 : 2;
  return `${Number(value.toFixed(digits))}${power || unit ? " " : ""}${PREFIXES[power]}${unit}/s`;
}

/** The next number with one digit that is not 0 and no smaller: what an axis ends with. */
export function niceAbove(value) {
  const power = 10 ** Math.floor(Math.log10(Math.max(value, 1)));
  return [1, 2, 3, 4, 5, 6, 8, 10].find((factor) => factor * power >= value) * power;
}
