// What stands above the list of events: which are shown, and a copy of them.
import {h, setAttribute, setText} from "../dom.js";
import {sumOf} from "./log.js";

const SEARCH_AFTER_MS = 120;
const SAID_MS = 2500;
const SOURCE_WIDTH = 9;  // as the console writes events

/** A field for a part of an event's text. */
export function searchField(filter, chosen) {
  let timer = 0;
  return h("input", {
    type: "search", placeholder: "Search events", "aria-label": "Search events", class: "search",
    oninput: (event) => {
      clearTimeout(timer);
      timer = setTimeout(() => {
        filter.text = event.target.value.trim().toLowerCase();
        chosen();
      }, SEARCH_AFTER_MS);
    },
  });
}

/** A button for each source of which there are events; what is not pressed is not shown. */
export function chips(filter, chosen) {
  const buttons = new Map();
  const element = h("div", {class: "chips", role: "group", "aria-label": "Sources that are shown"});
  const drawState = () => {
    for (const [source, button] of buttons) {
      setAttribute(button, "aria-pressed", String(!filter.hidden.has(source)));
    }
  };
  const toggle = (source, alone) => {
    const others = [...buttons.keys()].filter((each) => each !== source);
    if (!alone) {
      if (!filter.hidden.delete(source)) filter.hidden.add(source);
    } else if (others.every((each) => filter.hidden.has(each))) filter.hidden.clear();
    else filter.hidden = new Set(others);
    drawState();
    chosen();
  };
  const make = (source) => {
    const button = h("button", {
      type: "button", class: "chip tag", title: "Show or hide; with Shift, show these alone",
      onclick: (event) => toggle(source, event.shiftKey)}, source);
    button.dataset.source = source;
    buttons.set(source, button);
    const sorted = [...buttons].sort(([one], [other]) => one.localeCompare(other));
    element.replaceChildren(...sorted.map(([, each]) => each));
    drawState();
  };
  const draw = (sources) => {
    for (const source of sources.keys()) if (!buttons.has(source)) make(source);
  };
  return {element, draw};
}

/** An event as the console prints it. */
function lineOf(row) {
  if (row.kind === "event") {
    const time = (row.timeMs / 1000).toFixed(3).padStart(9);
    return `[${time}] ${row.source.padEnd(SOURCE_WIDTH)} ${row.text}`;
  }
  return `[      ...] ${sumOf(row.counts)} more, ${row.kind === "lost" ? "lost" : "summed up"}`;
}

async function copy(text) {
  // Only pages of this very machine have a clipboard without encryption.
  if (navigator.clipboard) return navigator.clipboard.writeText(text);
  const field = h("textarea", {class: "unseen"}, text);
  document.body.append(field);
  field.select();
  const done = document.execCommand("copy");
  field.remove();
  if (!done) throw new Error("refused");
}

/** A button that copies what is shown, the oldest first. */
export function copyButton(log) {
  const label = "Copy";
  const button = h("button", {type: "button", title: "Copy what is shown here as text"}, label);
  button.addEventListener("click", async () => {
    try {
      await copy(`${log.shown.map(lineOf).join("\n")}\n`);
      setText(button, `Copied ${log.shown.length.toLocaleString("en")}`);
    } catch {
      setText(button, "The browser refuses");
    }
    setTimeout(() => setText(button, label), SAID_MS);
  });
  return button;
}
