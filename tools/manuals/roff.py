"""Manual pages from Markdown: the subset that docs/ is written in, as man(7) text."""
import re

CODE = re.compile(r"`([^`]+)`")
INLINE = re.compile(r"`(?P<code>[^`]+)`|\*\*(?P<bold>[^*]+)\*\*|(?<!\w)\*(?P<italic>[^*\s][^*]*)\*"
                    r"|\[(?P<link>[^\]]+)\]\((?P<to>[^)]+)\)")


def plain(text: str, code: bool = False) -> str:
    """Text with what roff would take for its own."""
    text = text.replace("\\", "\\e")
    if code:
        text = text.replace("-", "\\-").replace("'", "\\(aq").replace("`", "\\(ga")
    text = text.replace("^", "\\(ha").replace("~", "\\(ti")
    return "".join(one if ord(one) < 128 else f"\\[u{ord(one):04X}]" for one in text)


def guarded(line: str) -> str:
    """A line that is no request, however it begins."""
    return "\\&" + line if line.startswith((".", "'")) else line


def inline(text: str) -> str:
    """A run of text with its fonts."""
    result, at = "", 0
    for found in INLINE.finditer(text):
        result += plain(text[at:found.start()])
        at = found.end()
        if found["code"] is not None:
            result += f"\\fB{plain(found['code'], code=True)}\\fR"
        elif found["bold"] is not None:
            result += f"\\fB{inline(found['bold'])}\\fR"
        elif found["italic"] is not None:
            result += f"\\fI{inline(found['italic'])}\\fR"
        else:
            result += inline(found["link"])
    return result + plain(text[at:])


def wrapped(text: str) -> list[str]:
    """Each sentence from a new line on, as roff likes it."""
    return [guarded(line) for line in re.split(r"(?<=[.;:?!])\s+(?=[A-Z\\])", text) if line]


def tagged(tag: str, body: list[str]) -> list[str]:
    """A term and what is said of it."""
    return [".TP", guarded(tag), *(body or ["\\&"])]


def cells(row: str) -> list[str]:
    """The cells of a table's row; a bar in code is no border."""
    kept = row.strip().strip("|").replace("\\|", "\0")
    kept = CODE.sub(lambda found: found[0].replace("|", "\0"), kept)
    return [cell.strip().replace("\0", "|") for cell in kept.split("|")]


class Page:
    """Lines of Markdown as they become lines of roff."""

    def __init__(self, lines: list[str]):
        self.lines, self.at, self.out = lines, 0, []

    def text(self) -> list[str]:
        while self.at < len(self.lines):
            self.block()
        return self.out

    def block(self) -> None:
        line = self.lines[self.at]
        if not line.strip():
            self.at += 1
        elif line.startswith("."):  # roff already, of a table that was filled in
            self.out.append(line)
            self.at += 1
            while self.at < len(self.lines) and self.lines[self.at].strip():
                self.out.append(self.lines[self.at])
                self.at += 1
        elif heading := re.match(r"(#+) (.*)", line):
            title = inline(heading[2])
            self.out.append(f".SH {title.upper()}" if len(heading[1]) < 3 else f".SS {title}")
            self.at += 1
        elif line.startswith("    ") or line.startswith("```"):
            self.code()
        elif line.startswith("|"):
            self.table()
        elif re.match(r"(-|\d+\.) ", line):
            self.item()
        else:
            self.paragraph()

    def taken(self, more) -> list[str]:
        start = self.at
        self.at += 1
        while self.at < len(self.lines) and more(self.lines[self.at]):
            self.at += 1
        return self.lines[start:self.at]

    def code(self) -> None:
        if self.lines[self.at].startswith("```"):
            lines = self.taken(lambda line: not line.startswith("```"))[1:]
            self.at += 1
        else:
            lines = [line[4:] for line in self.taken(
                lambda line: line.startswith("    ") or not line.strip())]
        while lines and not lines[-1].strip():
            lines.pop()
        self.space()
        self.out += [".RS 4", ".EX", *(guarded(plain(line, code=True)) for line in lines), ".EE",
                     ".RE"]

    def table(self) -> None:
        rows = [cells(row) for row in self.taken(lambda line: line.startswith("|"))]
        head, body = rows[0], rows[2:]
        for row in body:
            more = [text if len(row) == 2 else f"{title}: {text}"
                    for title, text in zip(head[1:], row[1:]) if text]
            self.out += tagged(inline(row[0]), wrapped(inline("; ".join(more))))

    def item(self) -> None:
        lines = self.taken(lambda line: line.startswith("  "))
        text = " ".join(line.strip() for line in lines)
        mark, rest = text.split(" ", 1)
        self.out += [f".IP {mark if mark != '-' else chr(92) + '(bu'} 3", *wrapped(inline(rest))]

    def paragraph(self) -> None:
        lines = self.taken(lambda line: line.strip() != "" and not line.startswith(("|", "#")))
        self.space()
        self.out += wrapped(inline(" ".join(line.strip() for line in lines)))

    def space(self) -> None:
        if self.out and not self.out[-1].startswith((".SH", ".SS", ".PP")):
            self.out.append(".PP")


def page(markdown: str, version: str, date: str) -> tuple[str, str]:
    """The file's name and text. The first line is "# NAME(SECTION): what it is"."""
    first, _, rest = markdown.partition("\n")
    head = re.fullmatch(r"# ([\w-]+)\((\d)\): (.*)", first)
    name, section, what = head[1], head[2], head[3]
    title = plain(name.upper(), code=True)
    lines = [f'.TH {title} {section} {date} "pcsim {version}" "pcSim"', ".SH NAME",
             f"{plain(name, code=True)} \\- {inline(what)}", *Page(rest.split("\n")).text()]
    return f"man{section}/{name}.{section}", "\n".join(lines) + "\n"
