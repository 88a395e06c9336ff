// Shows where a part is: scrolls the front panel to it and lights it up for a moment.

const LIT_MS = 2500;

let lit = [];
let timer = 0;

function dark() {
  for (const element of lit) element.classList.remove("pointed-at");
  lit = [];
}

/** Lights up these parts, named as the panel names them: "port 1:1", "card 3", "fan 0". Whether
 * there are any of them. */
export function point(parts) {
  clearTimeout(timer);
  dark();
  lit = parts.map((part) => document.querySelector(`[data-part="${CSS.escape(part)}"]`))
    .filter((element) => element !== null);
  for (const element of lit) element.classList.add("pointed-at");
  lit[0]?.scrollIntoView({block: "center", inline: "center", behavior: "auto"});
  timer = setTimeout(dark, LIT_MS);
  return lit.length > 0;
}

/** The ports of a text like "1:1-3" or "(2:7)", as parts. */
export function portsOf(text) {
  const range = /^\(?(\d+):(\d+)(?:-(\d+))?\)?$/.exec(text);
  if (!range) return [];
  const [, slot, first, last] = range;
  const count = Math.min(Number(last ?? first) - Number(first) + 1, 1024);
  return Array.from({length: count}, (_, n) => `port ${slot}:${Number(first) + n}`);
}

/** The part of a unit of the environment: "slot 3" has card 3. */
export function partOfUnit(text) {
  return text.replace(/^slot /, "card ");
}
