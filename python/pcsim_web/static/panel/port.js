// A socket with its two lamps, the plug of its cable, and the speed on it. Banks of them stand in
// rows of two, the lower row upside down, as on a real front.
import {s, setAttribute, setText} from "../dom.js";
import {speedMark} from "./format.js";
import {at, light, line, pressable, rect, say, text} from "./shapes.js";
import {wordsOf} from "./words.js";

export const PORT = {width: 36, height: 32, gap: 4, group: 6, groupGap: 10, label: 14, bankGap: 10};
const LAMPS = {up: "good", disabled: "warn"};

function socket(flipped) {
  const contacts = [];
  for (let x = 10.5; x < 26; x += 2.15) contacts.push(line(x, 9, x, 13, "contact"));
  const lamps = {link: rect(3, 2, 10, 5, "lamp", 1), activity: rect(23, 2, 10, 5, "lamp", 1)};
  const plug = s("g", {class: "plug"}, rect(6.5, 10, 23, 14.5, "boot", 1.5),
                 rect(13, 24.5, 10, 4, "boot latch", 1));
  const shape = s("g", {transform: flipped ? "translate(0 32) scale(1 -1)" : null},
                  rect(0, 0, 36, 32, "bezel", 2.5), lamps.link, lamps.activity,
                  s("path", {class: "opening", d: "M5 8.5h26v16h-7v4.5h-12v-4.5h-7z"}),
                  contacts, plug);
  return {shape, lamps, plug};
}

/** Draws a socket; `scale` makes it larger, its label stands above it, or below when flipped. */
export function drawPort(port, x, y, scale = 1, flipped = false) {
  const {shape, lamps, plug} = socket(flipped);
  const middle = flipped ? 18.6 : 20.6;
  const speed = text(18, middle, "speed", "", "middle");
  const half = at(31, flipped ? 4.5 : 27.5, s("circle", {r: 5.5, class: "half"}),
                  text(0, 3.2, "half-text", "½", "middle"));
  const cross = s("path", {class: "crossed", d: "M7 9.5l22 14M29 9.5l-22 14"});
  const {width, height} = {width: PORT.width * scale, height: PORT.height * scale};
  const label = text(width / 2, flipped ? height + 11.5 : -4, "label", port.label, "middle");
  const node = pressable(port.part, {x: -2, y: -2, width: width + 4, height: height + 4},
                         s("g", {transform: `scale(${scale})`}, shape, speed, half, cross), label);
  node.setAttribute("transform", `translate(${x} ${y})`);
  node.classList.add("port");
  function update(now) {
    say(node, now.state, wordsOf(now));
    light(lamps.link, LAMPS[now.state] ?? "");
    setText(speed, now.state === "up" ? speedMark(now.row.speed) : "");
    setAttribute(node, "data-speed", now.state === "up" ? now.row.speed : null);
    setAttribute(node, "data-cable", now.cable ?? "none");
    // Nobody tells of cables outside of a switch's own lab; where there is link there is one.
    const plugged = now.cable ? now.cable === "plugged" : now.state === "up";
    plug.style.display = plugged ? "" : "none";
    half.style.display = now.state === "up" && now.row.duplex === "half" ? "" : "none";
    cross.style.display = now.state === "disabled" ? "" : "none";
  }
  return {part: port.part, node, update, activity: lamps.activity};
}

/** The width of so many columns. */
function widthOf(columns, scale) {
  return scale * (columns * (PORT.width + PORT.gap) - PORT.gap
    + PORT.groupGap * Math.floor((columns - 1) / PORT.group));
}

/** How a bank of ports fits: columns, rows in all, and the measures of it. */
export function fitPorts(count, width, scales = [1], twoRows = true) {
  const rows = twoRows && count > 1 ? 2 : 1;
  const wanted = Math.max(1, Math.ceil(count / rows));
  const scale = scales.find((each) => widthOf(wanted, each) <= width) ?? scales.at(-1);
  let columns = wanted;
  while (columns > 1 && widthOf(columns, scale) > width) columns--;
  if (columns < wanted && columns > PORT.group) columns -= columns % PORT.group;
  const banks = Math.max(1, Math.ceil(count / (rows * columns)));
  const bankHeight = rows * (PORT.height * scale + PORT.label) + (rows - 1) * 4;
  return {count, rows, columns, scale, banks, bankHeight, width: widthOf(columns, scale),
          height: banks * bankHeight + (banks - 1) * PORT.bankGap};
}

/** Draws the ports as they fit, odd numbers above even ones. */
export function drawPorts(ports, fit, x, y) {
  return ports.map((port, index) => {
    const bank = Math.floor(index / (fit.rows * fit.columns));
    const inBank = index % (fit.rows * fit.columns);
    const column = Math.floor(inBank / fit.rows);
    const lower = fit.rows === 2 && inBank % 2 === 1;
    const left = x + fit.scale * (column * (PORT.width + PORT.gap)
      + PORT.groupGap * Math.floor(column / PORT.group));
    const top = y + bank * (fit.bankHeight + PORT.bankGap) + PORT.label
      + (lower ? PORT.height * fit.scale + 4 : 0);
    return drawPort(port, left, top, fit.scale, lower);
  });
}
