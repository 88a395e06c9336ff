// Elements from a few words: h("button", {type: "button", onclick}, "Pull"). Texts are always
// texts, so that nothing a switch tells becomes markup.

function fill(element, attributes, children) {
  for (const [name, value] of Object.entries(attributes ?? {})) {
    if (name.startsWith("on")) element.addEventListener(name.slice(2), value);
    else if (value === true) element.setAttribute(name, "");
    else if (value !== false && value !== null && value !== undefined) {
      element.setAttribute(name, value);
    }
  }
  element.append(...children.flat().filter((child) => child !== null && child !== undefined));
  return element;
}

/** An element of HTML. */
export function h(tag, attributes, ...children) {
  return fill(document.createElement(tag), attributes, children);
}

/** An element of SVG. */
export function s(tag, attributes, ...children) {
  return fill(document.createElementNS("http://www.w3.org/2000/svg", tag), attributes, children);
}

/** A function that has `draw` called with the next frame, once, however often it is called. */
export function oncePerFrame(draw) {
  let planned = false;
  return () => {
    if (planned) return;
    planned = true;
    requestAnimationFrame(() => {
      planned = false;
      draw();
    });
  };
}

/** Sets a text or an attribute only where it changes: a screen reader tells what was set. */
export function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

export function setAttribute(element, name, value) {
  if (value === null || value === undefined || value === false) element.removeAttribute(name);
  else if (element.getAttribute(name) !== String(value)) element.setAttribute(name, value);
}
