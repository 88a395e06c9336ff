// The drawing of one chart: what a port has received as an area, what it has sent as a line, errors
// as bars at the foot. A canvas: sixteen of these once a second cost less than as many changed
// paths.
import {niceAbove, perSecond, wallTime} from "./format.js";
import {ERRORS, peakOf} from "./series.js";
import {surfaceOf} from "./track.js";

const LEFT = 58;      // for the numbers of the axis
const FOOT = 18;      // for the times
const HEAD = 8;
const RIGHT = 6;
const GAP_STEPS = 2.6;  // nobody looked for so long: no line is drawn over it
const ERRORS_SHARE = 0.3;  // of the height, for the most errors
const LOWEST_TOP = 10;  // a port at rest has an axis, too
const TIME_PX = 74;
const TIMES_S = [30, 60, 120, 300, 600, 900, 1800];

/** The colours, as the sheet says them. */
export function coloursOf(element) {
  const style = getComputedStyle(element);
  const get = (name) => style.getPropertyValue(name).trim();
  return {received: get("--received"), sent: get("--sent"), errors: get("--errors"),
          line: get("--line"), soft: get("--soft"), text: get("--text"),
          font: `11px ${style.fontFamily}`};
}

/** The share of the window at which a pointer is. */
export function shareAt(canvas, clientX) {
  const box = canvas.getBoundingClientRect();
  return (clientX - box.left - LEFT) / (box.width - LEFT - RIGHT);
}

/** Draws samples at times. `view` is {from, to, step, unit, scale, cursor, colours}; the scale is
 * the top of the axis, 0 that of the port's own peak. */
export function drawChart(canvas, times, samples, view) {
  const drawn = surfaceOf(canvas);
  if (drawn === null) return;
  const {surface, width, height} = drawn;
  const top = view.scale || niceAbove(
    Math.max(LOWEST_TOP, peakOf(samples, [view.unit.received, view.unit.sent])));
  const field = {
    left: LEFT, right: width - RIGHT, top: HEAD, bottom: height - FOOT,
    x: (time) => LEFT + (width - LEFT - RIGHT) * (time - view.from) / (view.to - view.from),
    y: (value) => height - FOOT - (height - FOOT - HEAD) * Math.min(1, value / top),
  };
  surface.font = view.colours.font;
  drawAxis(surface, field, top, view);
  const runs = runsOf(times, view);
  surface.save();
  surface.beginPath();
  surface.rect(field.left, 0, field.right - field.left, height);
  surface.clip();
  for (const run of runs) drawReceived(surface, field, times, samples, run, view);
  if (peakOf(samples, [view.unit.sent]) > 0) {  // else it would hide what was received
    for (const run of runs) drawSent(surface, field, times, samples, run, view);
  }
  drawErrors(surface, field, times, samples, view);
  surface.restore();
  if (view.cursor !== null) drawCursor(surface, field, times, samples, view);
}

function drawAxis(surface, field, top, {from, to, unit, colours}) {
  surface.strokeStyle = colours.line;
  surface.fillStyle = colours.soft;
  surface.lineWidth = 1;
  surface.textAlign = "right";
  surface.textBaseline = "middle";
  surface.beginPath();
  for (const share of [0, 0.5, 1]) {
    const y = Math.round(field.y(share * top)) + 0.5;
    surface.moveTo(field.left, y);
    surface.lineTo(field.right, y);
    if (share > 0) surface.fillText(perSecond(share * top, unit.unit), field.left - 6, y);
    else surface.fillText("0", field.left - 6, y);
  }
  surface.globalAlpha = 0.7;
  surface.stroke();
  surface.globalAlpha = 1;
  surface.textAlign = "center";
  surface.textBaseline = "alphabetic";
  const wide = field.right - field.left;
  const step = TIMES_S.find((each) => each / (to - from) * wide >= TIME_PX) ?? TIMES_S.at(-1);
  for (let at = Math.ceil(from / step) * step; at < to; at += step) {
    const x = field.x(at);
    if (x < field.left + TIME_PX / 4 || x > field.right - TIME_PX / 4) continue;
    surface.fillText(wallTime(at, step < 60), x, field.bottom + 13);
  }
}

/** Samples without a gap between them, [first, behind]. */
function runsOf(times, {step}) {
  const runs = [];
  let first = 0;
  for (let at = 1; at <= times.length; at++) {
    if (at < times.length && times[at] - times[at - 1] <= GAP_STEPS * step) continue;
    runs.push([first, at]);
    first = at;
  }
  return times.length > 0 ? runs : [];
}

function trace(surface, field, times, samples, [first, behind], kind) {
  for (let at = first; at < behind; at++) {
    const value = samples[at] ? samples[at][kind] : 0;
    surface.lineTo(field.x(times[at]), field.y(value));
  }
}

function drawReceived(surface, field, times, samples, run, {unit, colours}) {
  surface.fillStyle = colours.received;
  surface.strokeStyle = colours.received;
  surface.beginPath();
  surface.moveTo(field.x(times[run[0]]), field.bottom);
  trace(surface, field, times, samples, run, unit.received);
  surface.lineTo(field.x(times[run[1] - 1]), field.bottom);
  surface.globalAlpha = 0.2;
  surface.fill();
  surface.globalAlpha = 1;
  surface.beginPath();
  surface.lineWidth = 1.4;
  trace(surface, field, times, samples, run, unit.received);
  surface.stroke();
}

function drawSent(surface, field, times, samples, run, {unit, colours}) {
  surface.strokeStyle = colours.sent;
  surface.lineWidth = 1.4;
  surface.beginPath();
  trace(surface, field, times, samples, run, unit.sent);
  surface.stroke();
}

function drawErrors(surface, field, times, samples, {colours}) {
  const peak = peakOf(samples, [ERRORS]);
  if (peak === 0) return;
  surface.fillStyle = colours.errors;
  const high = ERRORS_SHARE * (field.bottom - field.top);
  samples.forEach((sample, at) => {
    if (sample === 0 || sample[ERRORS] === 0) return;
    const bar = Math.max(3, high * sample[ERRORS] / peak);
    surface.fillRect(field.x(times[at]) - 1, field.bottom - bar, 2, bar);
  });
}

function drawCursor(surface, field, times, samples, {cursor, unit, colours}) {
  const x = Math.round(field.x(times[cursor])) + 0.5;
  surface.strokeStyle = colours.soft;
  surface.lineWidth = 1;
  surface.beginPath();
  surface.moveTo(x, field.top);
  surface.lineTo(x, field.bottom);
  surface.stroke();
  const sample = samples[cursor];
  for (const [kind, colour] of [[unit.received, colours.received], [unit.sent, colours.sent]]) {
    surface.fillStyle = colour;
    surface.beginPath();
    surface.arc(x, field.y(sample ? sample[kind] : 0), 3, 0, 7);
    surface.fill();
  }
}
