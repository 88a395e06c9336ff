"""What a campaign says at its end: who has failed how, why, and what repeats it."""
from __future__ import annotations

from itertools import groupby
from typing import Iterable, Iterator, Sequence

from .plan import BASE
from .results import Results
from .runs import Outcome, Result

SHOWN = 20  # kinds of failures at the end of a campaign
COLUMNS = ("Fault", "Shape", "Library")


def report(results: Results, shown: int | None = SHOWN) -> str:
    """The table of all, and the failures: so many kinds of them, or all."""
    return "\n".join([*outcomes(results), *failures(results, shown)])


def outcomes(results: Results) -> Iterator[str]:
    """How many runs of each fault and shape have ended how."""
    counts = results.counts()
    # Columns that tell nothing are left out.
    kept = [place for place in range(3)
            if place < 2 or len({key[place] for key in counts}) > 1]
    seen = [outcome for outcome in Outcome
            if outcome is Outcome.PASSED or any(count[outcome] for count in counts.values())]
    rows = [[*(key[place] for place in kept), *(str(count[outcome]) for outcome in seen)]
            for key, count in counts.items()]
    yield "Runs"
    yield from table([*(COLUMNS[place] for place in kept),
                      *(str(outcome).capitalize() for outcome in seen)], rows, len(kept))


def table(titles: Sequence[str], rows: Sequence[Sequence[str]], texts: int) -> Iterator[str]:
    """Lines of a table whose first columns are texts, and the others numbers."""
    widths = [max(map(len, column)) for column in zip(titles, *rows)]

    def line(cells: Iterable[str]) -> str:
        return "  " + "  ".join(
            cell.ljust(width) if place < texts else cell.rjust(width)
            for place, (cell, width) in enumerate(zip(cells, widths))).rstrip()

    yield line(titles)
    yield line("-" * width for width in widths)
    yield from map(line, rows)


def failures(results: Results, shown: int | None) -> Iterator[str]:
    """What repeats the runs that have not passed; those that have failed alike together."""
    bad = results.all(*(outcome for outcome in Outcome if outcome is not Outcome.PASSED))
    # Of one fault, shape and library, by seed: others may stand between two that are alike.
    kinds = [kind for _, group in groupby(bad, lambda one: (one.fault, one.shape, one.library))
             for kind in alike(group)]
    if not kinds:
        return
    rules = results.rules()
    yield ""
    yield "Not passed"
    for kind in kinds[:shown]:
        yield from failure(kind, rules.get(kind[0].fault, []))
    if shown is not None and len(kinds) > shown:
        yield f"  and {len(kinds) - shown} more: pcsim-campaign --show {results.path}"


def alike(results: Iterable[Result]) -> list[list[Result]]:
    """Those with the same outcome and reason together."""
    kinds: dict[tuple[Outcome, str], list[Result]] = {}
    for result in results:
        kinds.setdefault((result.outcome, result.reason), []).append(result)
    return list(kinds.values())


def failure(kind: Sequence[Result], rules: Sequence[str]) -> Iterator[str]:
    """What is said of failures that are alike; the first one's command repeats it."""
    first = kind[0]
    seeds = ranges([result.seed for result in kind])
    yield f"  {first.outcome}: {first.fault}, {first.shape}, seed{'s' * (len(kind) > 1)} {seeds}"
    yield f"    {first.reason}"
    if first.fault != BASE and list(rules) != [first.fault]:
        yield from (f"    rule    {rule}" for rule in rules)
    yield f"    repeat  {first.command}"


def ranges(numbers: Sequence[int]) -> str:
    """'1-5, 9'."""
    parts = []
    for _, group in groupby(enumerate(sorted(numbers)), lambda pair: pair[1] - pair[0]):
        run = [number for _, number in group]
        parts.append(f"{run[0]}-{run[-1]}" if len(run) > 1 else str(run[0]))
    return ", ".join(parts)
