"""Pictures of figures, drawn by gnuplot: SVG that is readable on a light page and on a dark one."""
from __future__ import annotations

import re
import subprocess
from html import escape

WIDTH = 760
ROW = 22
COLOURS = {  # name: on a light page, on a dark one
    "text": ("#24292f", "#e6edf3"), "soft": ("#57606a", "#9198a1"), "grid": ("#d0d7de", "#3d444d"),
    "a": ("#0969da", "#58a6ff"), "b": ("#bf5a00", "#f0883e"), "c": ("#1a7f37", "#3fb950"),
}
LIGHT = {name: f"rgb '{light}'" for name, (light, _) in COLOURS.items()}


def quoted(text: str) -> str:
    """A text of gnuplot's that is taken as it stands."""
    return "'" + text.replace("'", "''") + "'"


def style() -> str:
    """The colours of both kinds of pages."""
    def rule(page: int) -> str:
        return "svg { " + " ".join(f"--{name}: {both[page]};" for name, both in COLOURS.items()) + " }"
    return f"<style>{rule(0)} @media (prefers-color-scheme: dark) {{ {rule(1)} }}</style>"


def drawn(height: int, title: str, script: list[str]) -> str:
    """The picture that gnuplot makes of a script. Its colours become names that the style gives
    the colours of the page; what it says of itself and changes with its version is left out."""
    commands = [f"set terminal svg size {WIDTH},{height} dynamic noenhanced font 'sans-serif,13'",
                f"set title {quoted(title)} textcolor {LIGHT['text']}", "set border 0",
                "set tmargin 2.5", "set bmargin 2",
                f"set tics textcolor {LIGHT['text']}", *script, ""]
    picture = subprocess.run(["gnuplot"], input="\n".join(commands), capture_output=True, text=True,
                             check=True).stdout
    names = {tuple(bytes.fromhex(light[1:])): name for name, (light, _) in COLOURS.items()}

    def named(found: re.Match[str]) -> str:
        light = tuple(int(number) for number in found[2].split(","))
        return f'style="{found[1]}:var(--{names[light]})"'
    picture = re.sub(r"""(fill|stroke) *= *["']rgb\(([ \d,]+)\)["']""", named, picture)
    picture = re.sub(r"<desc>.*?</desc>\n|<defs>.*?</defs>\n", "", picture, flags=re.DOTALL)
    picture = re.sub(r"<title>gnuplot_plot_\d+</title>", "", picture)
    return picture.replace("<title>Gnuplot</title>", f"<title>{escape(title)}</title>{style()}")


def bars(title: str, rows: list[tuple[str, float]], most: float = 4.0) -> str:
    """A bar for each ratio, with a line at 1; one that is longer than 'most' ends in an arrow. Ratios
    below 1 have another colour."""
    data = [f'"{name}" {min(value, most)} {row} "{value:.2f}{" →" if value > most else ""}" {value}'
            for row, (name, value) in enumerate(rows)]
    return drawn(76 + ROW * len(rows), title, [
        "$rows << EOD", *data, "EOD", f"set xrange [0:{1.15 * most}]",
        f"set yrange [{len(rows) - 0.4}:-0.6]", "unset xtics", "set ytics scale 0",
        "set style fill solid noborder",
        f"set arrow from 1, graph 0 to 1, graph 1 nohead back linecolor {LIGHT['soft']}",
        f"set label 'as fast as the peer' at first 1, graph 0 center offset 0, -0.7 "
        f"textcolor {LIGHT['soft']}",
        "plot " + ", ".join([
            *(f"$rows using (0):(($5 {sign} 1) ? $3 : NaN):(0):2:($3-0.35):($3+0.35) with boxxyerror "
              f"linecolor {LIGHT[colour]} notitle" for sign, colour in ((">=", "a"), ("<", "b"))),
            f"$rows using 2:3:4:ytic(1) with labels left offset 0.5, 0 textcolor {LIGHT['text']} "
            "notitle"])])


def curves(title: str, unit: str, counts: list[int], lines: dict[str, list[float]]) -> str:
    """A curve for each name over the same counts, which stand at even distances. Names stand at the
    ends of their curves in the order of these, apart from each other."""
    data = [" ".join([str(n), f'"{count:,}"', *(str(values[n]) for values in lines.values())])
            for n, count in enumerate(counts)]
    highest = max(value for values in lines.values() for value in values)
    places, least = {}, 0.0
    for name, values in sorted(lines.items(), key=lambda line: line[1][-1]):
        places[name] = max(values[-1], least)
        least = places[name] + highest / 14
    last = len(counts) - 1
    return drawn(330, title, [
        "$rows << EOD", *data, "EOD", f"set xrange [0:{last * 1.25 or 1}]", "set yrange [0:*]",
        f"set ylabel {quoted(unit)} textcolor {LIGHT['text']}",
        f"set grid ytics linetype 1 linecolor {LIGHT['grid']}", "set tics scale 0",
        *(f"set label {quoted(name)} at first {last}, first {places[name]} left offset 1, 0 "
          f"textcolor {LIGHT['text']}" for name in lines),
        "plot " + ", ".join(f"$rows using 1:{column}:xtic(2) with lines linewidth 2 "
                            f"linecolor {LIGHT[colour]} notitle"
                            for column, colour in zip(range(3, 6), "abc") if column - 3 < len(lines))])
