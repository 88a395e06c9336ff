"""What the tidiness checks know of the interface headers: their records, function types, operations
and globals, read from the one strict style in which include/pcsim is written."""
import re
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
HEADERS = ROOT / "include" / "pcsim"

# Headers that declare nothing: the layout and its rows.
LAYOUT = {"layout.h", "layout_rows.h"}


def headers(folder=HEADERS):
    """(name, text) of each header that declares something."""
    found = [(path.name, path.read_text()) for path in sorted(Path(folder).glob("*.h"))]
    return [(name, text) for name, text in found if name not in LAYOUT]


def code(text):
    """The text without comments, preprocessor lines and tags (PCSIM_IS), line for line."""
    blank = lambda match: "\n" * match.group().count("\n")
    text = re.sub(r"/\*.*?\*/", blank, text, flags=re.S)
    text = re.sub(r"^#(?:.*\\\n)*.*$", blank, text, flags=re.M)
    return re.sub(r"PCSIM_IS\([^)]*\)\s+", blank, text)


def records(text):
    """{record: {field: type}} of each struct and union with a body, in the order of the text."""
    found = {}
    for match in re.finditer(r"\b(?:struct|union) (\w+) \{(.*?)\n\}", code(text), flags=re.S):
        fields = {}
        for member in match.group(2).split(";"):
            member = " ".join(member.split())
            if not member:
                continue
            parts = re.fullmatch(r"(.*?)([\s*]+)(\w+)((?:\[\w*\])*)", member)
            if parts is None:
                raise SystemExit(f"record {match.group(1)}: can't read '{member}'")
            fields[parts.group(3)] = parts.group(1).removeprefix("const ").removeprefix("struct ")
        found[match.group(1)] = fields
    return found
