// Which part of the switch an event speaks of, and its mark on the front panel while one points at
// the event.

const NAMED = [
  [/\bPort (\d+:\d+)/, (found) => `port ${found[1]}`],
  [/\bManagement port/, () => "management"],
  [/\bSlot (\d+)/, (found) => `card ${found[1]}`],
  [/\bFan (\d+)/, (found) => `fan ${found[1]}`],
  [/\bPower supply (\d+)/, (found) => `supply ${found[1]}`],
];

/** "port 1:1", "card 3", "fan 0", "supply 1", "management", or null. */
export function partOf(text) {
  for (const [pattern, name] of NAMED) {
    const found = text.match(pattern);
    if (found) return name(found);
  }
  return null;
}

/** Marks the elements that draw a part, and only these. */
export function pointAt(part) {
  for (const element of document.querySelectorAll("[data-part].pointed")) {
    if (element.dataset.part !== part) element.classList.remove("pointed");
  }
  if (part === null) return;
  for (const element of document.querySelectorAll(`[data-part="${CSS.escape(part)}"]`)) {
    element.classList.add("pointed");
  }
}
