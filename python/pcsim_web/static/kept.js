// Lists that are told again and again: what stands is not drawn anew.

/** One part for each item in a container that holds nothing else, in the order of the items. A part
 * is the same element for as long as its item is there: neither a press on it is lost nor the focus
 * when others come and go. `make(item)` makes a part, which has `node`, its element, and
 * `update(item)`; `nameOf(item)` tells items apart. */
export class Kept {
  #parts = new Map();

  constructor(container, make, nameOf = (item) => item.name) {
    this.container = container;
    this.make = make;
    this.nameOf = nameOf;
  }

  draw(items) {
    const names = new Set(items.map(this.nameOf));
    for (const [name, part] of this.#parts) {
      if (names.has(name)) continue;
      part.node.remove();
      this.#parts.delete(name);
    }
    items.forEach((item, n) => {
      const name = this.nameOf(item);
      if (!this.#parts.has(name)) this.#parts.set(name, this.make(item));
      const part = this.#parts.get(name);
      const here = this.container.children[n] ?? null;
      if (here !== part.node) this.container.insertBefore(part.node, here);
      part.update(item);
    });
  }
}
