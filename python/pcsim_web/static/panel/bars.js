// Bars that tell how far a card is: one of four segments on the way to service, a plain one for a
// step that stands alone.
import {setAttribute} from "../dom.js";
import {STEPS} from "./model.js";
import {at, rect, text} from "./shapes.js";

/** The four steps as segments of one bar. */
export function stepsBar(x, y, width, labelled) {
  const gap = 3;
  const each = (width - 3 * gap) / STEPS.length;
  const fills = STEPS.map((_, n) => rect(n * (each + gap), 0, each, 6, "fill", 3));
  const node = at(x, y, STEPS.flatMap((step, n) => [
    rect(n * (each + gap), 0, each, 6, "track", 3), fills[n],
    labelled ? text(n * (each + gap) + each / 2, 19, "step", step.label, "middle") : null]));
  function update(card, progress) {
    const current = STEPS.findIndex((step) => step.state === card.state);
    node.style.display = current < 0 ? "none" : "";
    if (current < 0) return false;
    fills.forEach((fill, n) => {
      const done = n < current ? 1 : n === current ? progress?.done ?? 0 : 0;
      setAttribute(fill, "width", (each * done).toFixed(1));
    });
    return true;
  }
  return {node, update};
}

/** The same for a step that stands alone: diagnostics, powering off. */
export function singleBar(x, y, width) {
  const fill = rect(0, 0, width, 6, "fill", 3);
  const node = at(x, y, rect(0, 0, width, 6, "track", 3), fill);
  function update(card, progress) {
    const alone = progress && !STEPS.some((step) => step.state === card.state);
    node.style.display = alone ? "" : "none";
    if (alone) setAttribute(fill, "width", (width * progress.done).toFixed(1));
    return Boolean(alone);
  }
  return {node, update};
}
