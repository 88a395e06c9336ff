"""Pictures of figures: plain SVG that is readable on a light page and on a dark one."""
from __future__ import annotations

import math
from html import escape

STYLE = """<style>
text { font: 13px sans-serif; fill: #24292f; }
.title { font-weight: bold; }
.small { font-size: 11px; fill: #57606a; }
.line { stroke: #57606a; }
.grid { stroke: #d0d7de; }
.a { fill: #0969da; stroke: #0969da; }
.b { fill: #bf5a00; stroke: #bf5a00; }
.c { fill: #1a7f37; stroke: #1a7f37; }
polyline { fill: none !important; stroke-width: 2; }
@media (prefers-color-scheme: dark) {
text { fill: #e6edf3; }
.small { fill: #9198a1; }
.line { stroke: #9198a1; }
.grid { stroke: #3d444d; }
.a { fill: #58a6ff; stroke: #58a6ff; }
.b { fill: #f0883e; stroke: #f0883e; }
.c { fill: #3fb950; stroke: #3fb950; }
}
</style>"""
WIDTH = 760
LEFT = 310
RIGHT = 80
ROW = 22


def svg(height: int, title: str, body: list[str]) -> str:
    """A picture of its own."""
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" role="img">',
        f"<title>{escape(title)}</title>", STYLE,
        f'<text class="title" x="8" y="20">{escape(title)}</text>', *body, "</svg>", ""])


def bars(title: str, rows: list[tuple[str, float]], most: float = 4.0) -> str:
    """A bar for each ratio, with a line at 1; one that is longer than 'most' ends in an arrow."""
    def x_of(value: float) -> float:
        return LEFT + (WIDTH - LEFT - RIGHT) * min(value, most) / most

    body = []
    for index, (name, value) in enumerate(rows):
        y = 34 + index * ROW
        kind = "a" if value >= 1 else "b"
        cut = [f'<text x="{x_of(value) + 4:.1f}" y="{y + 14}">\u2192</text>'] if value > most else []
        body += [f'<text x="{LEFT - 8}" y="{y + 14}" text-anchor="end">{escape(name)}</text>',
                 f'<rect class="{kind}" x="{LEFT}" y="{y + 3}" height="{ROW - 7}" '
                 f'width="{x_of(value) - LEFT:.1f}"/>',
                 f'<text x="{WIDTH - RIGHT + 56}" y="{y + 14}" text-anchor="end">{value:.2f}</text>', *cut]
    end = 34 + len(rows) * ROW
    body += [f'<line class="line" x1="{x_of(1):.1f}" y1="30" x2="{x_of(1):.1f}" y2="{end}"/>',
             f'<text class="small" x="{x_of(1):.1f}" y="{end + 14}" text-anchor="middle">'
             "as fast as the peer</text>"]
    return svg(end + 22, title, body)


def steps(most: float) -> list[float]:
    """Round numbers from 0 up to what 'most' needs, about five of them."""
    unit = 10 ** math.floor(math.log10(most / 4))
    step = next(unit * factor for factor in (1, 2, 5, 10) if unit * factor * 5 >= most)
    return [step * number for number in range(math.ceil(most / step) + 1)]


def curves(title: str, unit: str, counts: list[int], lines: dict[str, list[float]]) -> str:
    """A curve for each name over the same counts, which stand at even distances."""
    top, bottom, left, right = 40, 300, 70, WIDTH - 130
    marks = steps(max(value for values in lines.values() for value in values))

    def y_of(value: float) -> float:
        return bottom - (bottom - top) * value / marks[-1]

    xs = [left + (right - left) * index / max(len(counts) - 1, 1) for index in range(len(counts))]
    body = []
    for mark in marks:
        body += [f'<line class="grid" x1="{left}" y1="{y_of(mark):.1f}" x2="{right}" '
                 f'y2="{y_of(mark):.1f}"/>',
                 f'<text class="small" x="{left - 6}" y="{y_of(mark) + 4:.1f}" '
                 f'text-anchor="end">{mark:g}</text>']
    for x, count in zip(xs, counts):
        body.append(f'<text class="small" x="{x:.1f}" y="{bottom + 16}" text-anchor="middle">'
                    f"{count:,}</text>")
    last = -math.inf
    for kind, (name, values) in sorted(zip("abc", lines.items()), key=lambda one: one[1][1][-1]):
        points = " ".join(f"{x:.1f},{y_of(value):.1f}" for x, value in zip(xs, values))
        # Names that would lie on each other are moved apart, from the lowest upwards.
        y = y_of(values[-1]) if last == -math.inf else min(y_of(values[-1]), last - 15)
        last = y
        body += [f'<polyline class="{kind}" points="{points}"/>',
                 f'<text x="{right + 8}" y="{y + 4:.1f}">{escape(name)}</text>']
    body.append(f'<text class="small" x="{left - 40}" y="{top - 8}">{escape(unit)}</text>')
    return svg(bottom + 30, title, body)
