// The keyboard on the panel: the Tab key comes to one part, the arrow keys go on from there.

const ARROWS = {ArrowRight: [1, 0], ArrowLeft: [-1, 0], ArrowDown: [0, 1], ArrowUp: [0, -1]};

function middle(node) {
  const {left, top, width, height} = node.getBoundingClientRect();
  return [left + width / 2, top + height / 2];
}

/** The nearest part in that direction: what lies aside counts thrice. */
function nearest(nodes, from, [dx, dy]) {
  const [x, y] = middle(from);
  let best = null;
  let least = Infinity;
  for (const node of nodes) {
    const [atX, atY] = middle(node);
    const ahead = (atX - x) * dx + (atY - y) * dy;
    const aside = Math.abs((atX - x) * dy) + Math.abs((atY - y) * dx);
    if (node !== from && ahead > 2 && ahead + 3 * aside < least) {
      best = node;
      least = ahead + 3 * aside;
    }
  }
  return best;
}

/** Lets the keys walk over a panel. */
export function walk(panel) {
  panel.room.addEventListener("keydown", (event) => {
    const from = event.target.closest?.("[data-part]");
    const way = ARROWS[event.key];
    if (!from || !way) return;
    event.preventDefault();
    const nodes = [...panel.drawing.drawn.values()].map((each) => each.node);
    const next = nearest(nodes, from, way);
    if (!next) return;
    panel.attend(next.dataset.part);
    next.focus();
  });
  panel.room.addEventListener("focusin", (event) => {
    const part = event.target.closest?.("[data-part]")?.dataset.part;
    if (part && part !== panel.focused) panel.attend(part);
  });
}
