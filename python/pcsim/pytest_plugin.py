"""The pytest plug-in: a fresh switch for each test, and what it knows when a test fails.

Fixtures `switch` and `chassis`; the marker `pcsim(ports=8, shape="chassis", stopped=True)` says
what they start. A failed test has the event log, the coverage of operations and the last calls of
its switches in its report. The coverage is added up over the run, over all workers, too.
"""
from __future__ import annotations

from collections import deque
from pathlib import Path
from typing import Any, Generator, Iterator

import pytest
from _pytest.terminal import TerminalReporter

from .coverage import Coverage
from .errors import Error
from .switch import Switch

USUAL: dict[str, Any] = {"ports": 4, "shape": "stack", "stopped": True}
MAY_SAY = ("ports", "shape", "stopped", "name", "options", "timeout", "trace")
EVENTS = 60  # of the log, in a report
KEY = "pcsim_coverage"


class Watched:
    """A switch of a test, and the trace of its calls."""

    def __init__(self, switch: Switch, trace: Path | None, last: int) -> None:
        self.switch = switch
        self._trace = trace
        self._last = last

    def start(self) -> None:
        """Starts it, and its trace."""
        self.switch.start()
        if self._trace is not None:
            self.switch.calls(to=self._trace)

    def sections(self) -> Iterator[tuple[str, str]]:
        """Title and text of what it knows."""
        title = f"pcsim {self.switch.name}"
        try:
            events = self.switch.log()
            yield f"{title}: the last events", "\n".join(map(str, events[-EVENTS:]))
            if self._trace is not None:
                self.switch.calls(on=False)
            coverage = Coverage()
            coverage.add(self.switch.coverage())
            yield f"{title}: coverage", "\n".join([*coverage.lines(), *coverage.failed()])
        except (Error, OSError) as problem:
            yield f"{title}: it can't be asked", str(problem)
        if self._trace is not None and self._trace.exists():
            with self._trace.open(errors="replace") as lines:
                last = "".join(deque(lines, self._last))
            yield f"{title}: the last calls", last.rstrip("\n")


WATCHED = pytest.StashKey[list[Watched]]()


class Run:
    """The coverage of a whole run, and what is demanded of it."""

    def __init__(self, config: pytest.Config) -> None:
        self.coverage = Coverage()
        self._config = config
        self._threshold: float | None = config.getoption("pcsim_coverage_threshold")

    @property
    def _worker_output(self) -> dict[str, Any] | None:
        """Where a worker of a distributed run leaves what it knows."""
        return getattr(self._config, "workeroutput", None)

    @property
    def _misses(self) -> bool:
        return self._threshold is not None and self.coverage.percent < self._threshold

    @pytest.hookimpl(optionalhook=True)  # type: ignore[misc]  # which has no types
    def pytest_testnodedown(self, node: Any) -> None:
        """A worker has ended."""
        self.coverage.merge(getattr(node, "workeroutput", {}).get(KEY, ()))

    def pytest_sessionfinish(self, session: pytest.Session) -> None:
        """Too little coverage fails a run that has passed otherwise."""
        if self._worker_output is not None:
            self._worker_output[KEY] = self.coverage.rows
        elif self._misses and session.exitstatus == pytest.ExitCode.OK:
            session.exitstatus = pytest.ExitCode.TESTS_FAILED

    def pytest_terminal_summary(self, terminalreporter: TerminalReporter) -> None:
        """The coverage, when a switch was there or some is demanded."""
        if not self.coverage and self._threshold is None:
            return
        terminalreporter.section("pcsim: coverage of operations")
        for line in self.coverage.lines():
            terminalreporter.write_line(line)
        if self._config.getoption("verbose") > 0 and (never := self.coverage.never):
            terminalreporter.write_line(f"Never called: {', '.join(never)}")
        if self._misses:
            terminalreporter.write_line(f"FAILED: expected at least {self._threshold:g} %",
                                        red=True)


RUN = pytest.StashKey[Run]()


def pytest_addoption(parser: pytest.Parser) -> None:
    """The options of the plug-in."""
    group = parser.getgroup("pcsim", "switches simulated by pcsim")
    group.addoption("--pcsim-program", metavar="FILE",
                    help="the pcsim that is started; $PCSIM, or that of PATH, without it")
    group.addoption("--pcsim-coverage-threshold", metavar="N", type=float,
                    help="fail unless so many of a hundred operations of the platform were called")
    group.addoption("--pcsim-trace", metavar="N", type=int, default=40,
                    help="calls to the platform in the report of a failed test, 0 is none; "
                         "40 without it")


def pytest_configure(config: pytest.Config) -> None:
    """Makes the marker known, and begins the coverage of the run."""
    config.addinivalue_line("markers", 'pcsim(ports=4, shape="stack", stopped=True, ...): what '
                                       "the fixtures switch and chassis start")
    run = config.stash[RUN] = Run(config)
    config.pluginmanager.register(run, "pcsim-run")


@pytest.hookimpl(hookwrapper=True)  # type: ignore[misc]  # which has no types
def pytest_runtest_makereport(item: pytest.Item) -> Generator[None, Any, None]:
    """Adds what the switches of a failed test know to its report."""
    outcome = yield
    report: pytest.TestReport = outcome.get_result()
    if report.failed and report.when != "teardown":
        for watched in item.stash.get(WATCHED, []):
            report.sections.extend(watched.sections())


def started(request: pytest.FixtureRequest, tmp_path: Path, **given: Any) -> Iterator[Switch]:
    """A switch as the test's markers say, and after the test its coverage."""
    said: dict[str, Any] = {}
    for marker in reversed(list(request.node.iter_markers("pcsim"))):
        said |= marker.kwargs
        if marker.args or set(marker.kwargs) - set(MAY_SAY):
            wrong = [*map(repr, marker.args), *sorted(set(marker.kwargs) - set(MAY_SAY))]
            pytest.fail(f"the marker pcsim takes no {wrong[0]}; expected {', '.join(MAY_SAY)}, "
                        "each with =", pytrace=False)
    last: int = said.pop("trace", request.config.getoption("pcsim_trace"))
    switch = Switch(program=request.config.getoption("pcsim_program"), **USUAL | said | given)
    watched = Watched(switch, tmp_path / "calls.txt" if last else None, last)
    try:
        watched.start()
        request.node.stash.setdefault(WATCHED, []).append(watched)
        yield switch
        try:
            request.config.stash[RUN].coverage.add(switch.coverage())
        except Error:
            pass  # a test may end its switch
    finally:
        switch.close()


@pytest.fixture
def switch(request: pytest.FixtureRequest, tmp_path: Path) -> Iterator[Switch]:
    """A fresh switch: four cabled ports and a stopped clock, or as the marker pcsim says."""
    yield from started(request, tmp_path)


@pytest.fixture
def chassis(request: pytest.FixtureRequest, tmp_path: Path) -> Iterator[Switch]:
    """The same in the shape of a chassis."""
    yield from started(request, tmp_path, shape="chassis")
