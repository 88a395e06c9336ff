// The track of the slider: marks in the colours of their sources, and times below it.
import {h, setText} from "../dom.js";
import {wallTime} from "./format.js";

const TICKS_S = [10, 30, 60, 120, 300, 600, 900];
const TICK_PX = 84;  // a time needs so much

let colours = new Map();
let coloursOf = "";

/** The colour of a source, as the sheet says it for the tags. */
function colourOf(source, canvas) {
  const style = getComputedStyle(document.documentElement);
  const theme = style.getPropertyValue("--ground");
  if (theme !== coloursOf) {
    colours = new Map();
    coloursOf = theme;
  }
  if (!colours.has(source)) {
    const probe = canvas.parentElement.appendChild(h("span", {class: "tag unseen"}));
    probe.dataset.source = source;
    colours.set(source, getComputedStyle(probe).color);
    probe.remove();
  }
  return colours.get(source);
}

/** A canvas as fine as the screen; null where it can't be seen. */
export function surfaceOf(canvas) {
  const {clientWidth: width, clientHeight: height} = canvas;
  if (width === 0 || height === 0) return null;
  const scale = window.devicePixelRatio || 1;
  if (canvas.width !== Math.round(width * scale) || canvas.height !== Math.round(height * scale)) {
    canvas.width = Math.round(width * scale);
    canvas.height = Math.round(height * scale);
  }
  const surface = canvas.getContext("2d");
  surface.setTransform(scale, 0, 0, scale, 0, 0);
  surface.clearRect(0, 0, width, height);
  return {surface, width, height};
}

/** Draws the marks. What is before `known`, a share of the track, is hatched. */
export function drawMarks(canvas, marks, shareOf, known) {
  const drawn = surfaceOf(canvas);
  if (drawn === null) return;
  const {surface, width, height} = drawn;
  drawUnknown(surface, known * width, height, canvas);
  const taken = new Map();  // column -> sources in it, from the bottom up
  for (const mark of marks) {
    const share = shareOf(mark.at);
    if (share <= 0) continue;
    const column = Math.min(width - 2, Math.round(share * width) - 1);
    const sources = taken.get(column) ?? new Map();
    sources.set(mark.source, (sources.get(mark.source) ?? 0) + mark.count);
    taken.set(column, sources);
  }
  for (const [column, sources] of taken) {
    let bottom = height;
    for (const [source, count] of sources) {
      // One event is seen, and a hundred are more than ten.
      const high = Math.min(bottom,
                            Math.min(height, 10 + 4 * Math.log10(count)) / sources.size + 1);
      surface.fillStyle = colourOf(source, canvas);
      surface.fillRect(column, bottom - high, 2, high);
      bottom -= high;
    }
  }
}

function drawUnknown(surface, width, height, canvas) {
  if (width < 1) return;
  surface.save();
  surface.beginPath();
  surface.rect(0, 0, width, height);
  surface.clip();
  surface.strokeStyle = getComputedStyle(canvas).getPropertyValue("--line");
  surface.lineWidth = 1;
  surface.beginPath();
  for (let x = -height; x < width; x += 7) {
    surface.moveTo(x, height);
    surface.lineTo(x + height, 0);
  }
  surface.stroke();
  surface.restore();
}

/** Writes round times below the track, which ends now and is so many seconds long. */
export function ticksOf(element, now, span) {
  const width = element.clientWidth;
  const step = TICKS_S.find((each) => each / span * width >= TICK_PX) ?? TICKS_S.at(-1);
  const times = [];
  // Round times of the clock on the wall, whose zone may be half an hour off.
  const zone = 60 * new Date().getTimezoneOffset();
  for (let at = Math.floor((now - zone) / step) * step + zone; at > now - span; at -= step) {
    times.push(at);
  }
  while (element.children.length > times.length) element.lastChild.remove();
  while (element.children.length < times.length) element.append(h("span", {}));
  times.forEach((at, index) => {
    const tick = element.children[index];
    const left = (1 - (now - at) / span) * width;
    setText(tick, wallTime(at, step < 60));
    tick.style.left = `${left}px`;
    tick.style.visibility = left < TICK_PX / 3 || left > width - TICK_PX / 3 ? "hidden" : "visible";
  });
}
