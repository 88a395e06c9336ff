"""Test reports of a campaign, for continuous integration: a case for each run."""
from __future__ import annotations

import contextlib
import json
import re
from pathlib import Path
from typing import Callable, Iterable, Iterator, Mapping
from xml.sax.saxutils import escape, quoteattr

from ..new_file import NewFile, is_replaceable, whole_file
from .problems import CampaignError
from .results import Results
from .runs import Outcome, Result

# What XML 1.0 can't have in it, however it is written.
NO_XML = re.compile("[^\t\n\r\x20-\ud7ff\ue000-\ufffd\U00010000-\U0010ffff]")


def tap(results: Iterable[Result]) -> Iterator[str]:
    """TAP 14."""
    yield "TAP version 14"
    number = 0
    for number, result in enumerate(results, 1):
        name = re.sub(r"([\\#])", r"\\\1", str(result.key))
        yield f"{'ok' if result.passed else 'not ok'} {number} - {name}"
        yield "  ---"
        if not result.passed:
            yield f"  message: {json.dumps(result.reason)}"
            yield f"  severity: {'fail' if result.outcome is Outcome.FAILED else 'error'}"
            yield f"  outcome: {result.outcome}"
            yield f"  repeat: {json.dumps(result.command)}"
        yield f"  duration_ms: {result.seconds * 1000:.3f}"
        yield "  ..."
    yield f"1..{number}"


def junit(results: Iterable[Result]) -> Iterator[str]:
    """The XML that continuous integration reads."""
    cases: list[str] = []
    counts = {"failure": 0, "error": 0}
    seconds = 0.0
    for result in results:
        seconds += result.seconds
        cases += junit_case(result, counts)
    yield '<?xml version="1.0" encoding="UTF-8"?>'
    tests = sum(line.startswith("  <testcase") for line in cases)
    yield (f'<testsuite name="pcsim-campaign" tests="{tests}" failures="{counts["failure"]}" '
           f'errors="{counts["error"]}" time="{seconds:.3f}">')
    yield from cases
    yield "</testsuite>"


def junit_case(result: Result, counts: dict[str, int]) -> Iterator[str]:
    """One run."""
    suite = f"{result.fault}.{result.shape}.{result.library}"
    head = (f"  <testcase classname={attribute(suite)} name=\"seed {result.seed}\" "
            f'time="{result.seconds:.3f}"')
    if result.passed:
        yield f"{head}/>"
        return
    kind = "failure" if result.outcome is Outcome.FAILED else "error"
    counts[kind] += 1
    yield f"{head}>"
    yield (f'    <{kind} type="{result.outcome}" message={attribute(result.reason)}>'
           f"{content(result.command)}</{kind}>")
    yield f"    <system-out>{content(result.log)}</system-out>"
    yield "  </testcase>"


def attribute(text: str) -> str:
    """A quoted value."""
    return quoteattr(NO_XML.sub("?", text))


def content(text: str) -> str:
    """What stands between tags."""
    return escape(NO_XML.sub("?", text))


FORMS: Mapping[str, Callable[[Iterable[Result]], Iterator[str]]] = {"tap": tap, "junit": junit}


def begin_report(form: str, path: Path) -> None:
    """Looks, before anything runs, whether a report can be written. A former one stays what it is
    until then."""
    if form not in FORMS:
        raise CampaignError(f"there is no report '{form}'; expected tap or junit")
    with telling(path):
        if is_replaceable(path):
            NewFile(path).close()
        else:
            write_lines(path, ())


def write_report(form: str, path: Path, results: Results) -> None:
    """Writes a report, all or nothing of it."""
    with telling(path):
        write_lines(path, FORMS[form](results.all()))


@contextlib.contextmanager
def telling(path: Path) -> Iterator[None]:
    """CampaignError when the report can't be written."""
    try:
        yield
    except OSError as problem:
        raise CampaignError(f"report {path} can't be written: {problem.strerror}") from problem


def write_lines(path: Path, lines: Iterable[str]) -> None:
    """Puts them into the file."""
    with whole_file(path) as file:
        file.writelines(f"{line}\n" for line in lines)
