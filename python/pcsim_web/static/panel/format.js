// Readings as people read them. What the switch can't tell is a dash.

const NONE = "–";

function reading(value, scale, digits, unit) {
  if (value === null || value === undefined) return NONE;
  return `${(value / scale).toFixed(digits)} ${unit}`;
}

/** From hundredths of a degree. */
export const degrees = (value) => reading(value, 100, 1, "°C");
export const volts = (millivolts) => reading(millivolts, 1000, 1, "V");
export const amperes = (milliamperes) => reading(milliamperes, 1000, 1, "A");
export const percent = (value) => reading(value, 1, 0, "%");
export const seconds = (milliseconds) => reading(milliseconds, 1000, 1, "s");

/** "9.5 s", "18 min 22 s", "2 h 5 min". */
export function duration(milliseconds) {
  const whole = Math.floor(milliseconds / 1000);
  if (whole < 60) return seconds(milliseconds);
  const minutes = Math.floor(whole / 60);
  return minutes < 60 ? `${minutes} min ${whole % 60} s`
    : `${Math.floor(minutes / 60)} h ${minutes % 60} min`;
}

/** With a narrow space between thousands, which no locale takes for a decimal point. */
export const whole = (value) => value === null || value === undefined ? NONE
  : String(Math.round(value)).replace(/\B(?=(\d{3})+$)/g, "\u202f");

export const rpm = (value) => value === null || value === undefined ? NONE : `${whole(value)} rpm`;

/** A speed in Mbps, short enough for the face of a plug. */
export function speedMark(mbps) {
  if (!mbps) return "";
  return mbps >= 1000 ? `${mbps / 1000}G` : String(mbps);
}

export function speedText(mbps, duplex) {
  return mbps ? `${whole(mbps)} Mbps ${duplex ?? ""}`.trim() : NONE;
}

/** "1 port", "2 ports". */
export const count = (number, one, many = `${one}s`) => `${number} ${number === 1 ? one : many}`;
