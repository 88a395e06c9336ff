"""A lab as a picture: SVG, or text for mermaid. Hosts stand at the bottom, and what they have
cables to above them; from there on, nodes with fewer cables stand below those with more.
"""
from __future__ import annotations

from html import escape
from typing import Mapping, Sequence

from .topology import Endpoint, Link, Node, Topology

BOX, GAP, ROW, EDGE = (96, 36), 28, 120, 20
FILLS = {"pcsim": "#d8e8f8", "hal": "#e4dcf4", "linux": "#e8f0dc"}
STROKES = {"up": "#2a7a2a", "down": "#b02020"}
STYLE = ("text{font:12px sans-serif;text-anchor:middle} .small{font-size:9px;fill:#555} "
         "rect{stroke:#444}")


def rows(topology: Topology) -> list[list[str]]:
    """Names of nodes from top to bottom."""
    near: dict[str, set[str]] = {node.name: set() for node in topology.nodes}
    for link in topology.links:
        near[link.a.node].add(link.b.node)
        near[link.b.node].add(link.a.node)
    level = {node.name: 0 for node in topology.nodes if node.kind == "linux"}
    if not level:
        fewest = min(map(len, near.values()))
        level = {name: 0 for name, others in near.items() if len(others) == fewest}
    lowest_switch = max(level.values()) + 1
    border = list(level)
    for name in border:  # which grows meanwhile
        for other in sorted(near[name] - level.keys()):
            above = level[name] <= lowest_switch or len(near[other]) >= len(near[name])
            level[other] = max(level[name] + (1 if above else -1), lowest_switch)
            border.append(other)
    lowest = {node.name: level.get(node.name, 0) for node in topology.nodes}
    return [[name for name in lowest if lowest[name] == each]
            for each in range(max(lowest.values()), -1, -1)]


def places(lines: Sequence[Sequence[str]]) -> tuple[dict[str, tuple[int, int]], int, int]:
    """The centre of each node, and the width and height of all."""
    width = max(len(line) for line in lines) * (BOX[0] + GAP) + 2 * EDGE
    found = {}
    for y, line in enumerate(lines):
        step = (width - 2 * EDGE) / len(line)
        for x, name in enumerate(line):
            found[name] = (round(EDGE + step * (x + 0.5)), EDGE + BOX[1] // 2 + y * ROW)
    return found, width, 2 * EDGE + BOX[1] + (len(lines) - 1) * ROW


def svg(topology: Topology, states: Mapping[tuple[Endpoint, Endpoint], str]) -> str:
    """The picture; cables whose state is known are green or red."""
    at, width, height = places(rows(topology))
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
             f'viewBox="0 0 {width} {height}">', f"<title>{escape(topology.name)}</title>",
             f"<style>{STYLE}</style>"]
    for link in topology.links:
        parts += cable(link, at, states.get((link.a, link.b)))
    parts += [box(node, *at[node.name]) for node in topology.nodes]
    return "\n".join([*parts, "</svg>"])


def cable(link: Link, at: Mapping[str, tuple[int, int]], state: str | None) -> list[str]:
    """A line with the names of its ends."""
    (ax, ay), (bx, by) = at[link.a.node], at[link.b.node]
    colour = "#888" if state is None else STROKES["up" if state == "up" else "down"]
    dashed = ' stroke-dasharray="4 3"' if state not in (None, "up") else ""
    words = f"{link.a} - {link.b}" + (f": {state}" if state else "")
    if ay == by:  # bent, as others may stand between them
        shape = f'<path d="M{ax} {ay} Q{(ax + bx) // 2} {ay + ROW // 2} {bx} {by}" fill="none"'
    else:
        shape = f'<line x1="{ax}" y1="{ay}" x2="{bx}" y2="{by}"'
    found = [f'{shape} stroke="{colour}"{dashed}><title>{escape(words)}</title>'
             + ("</path>" if ay == by else "</line>")]
    for end, (x, y), (to_x, to_y) in ((link.a, (ax, ay), (bx, by)), (link.b, (bx, by), (ax, ay))):
        label_x, label_y = x + (to_x - x) * 0.28, y + (to_y - y) * 0.28 + (18 if ay == by else 0)
        found.append(f'<text class="small" x="{label_x:.0f}" y="{label_y:.0f}">'
                     f"{escape(end.interface)}</text>")
    return found


def box(node: Node, x: int, y: int) -> str:
    """A node."""
    width, height = BOX
    return (f'<g><rect x="{x - width // 2}" y="{y - height // 2}" width="{width}" '
            f'height="{height}" rx="4" fill="{FILLS[node.kind]}"/>'
            f'<text x="{x}" y="{y}">{escape(node.name)}</text>'
            f'<text class="small" x="{x}" y="{y + 13}">{escape(node.kind)}</text></g>')


def mermaid(topology: Topology) -> str:
    """For documents that draw it themselves."""
    numbers = {node.name: f"n{number}" for number, node in enumerate(topology.nodes)}
    found = ["graph TD"]
    found += [f'    {numbers[node.name]}["{node.name}<br/>{node.kind}"]' for node in topology.nodes]
    found += [f'    {numbers[link.a.node]} ---|"{link.a.interface} - {link.b.interface}"| '
              f"{numbers[link.b.node]}" for link in topology.links]
    return "\n".join(found)
