"""A campaign: a scenario times faults, seeds, shapes and builds of the library.

    campaign = Campaign("boot.pcsim", faults="plan.txt", seeds=100, shapes=("stack", "chassis"))
    summary = campaign.run()
    for result in campaign.results(Outcome.CRASHED):
        print(result.command)

Each run is a pcsim of its own. What is known is in the campaign's file from the moment it is known.
"""
from __future__ import annotations

import itertools
import os
import uuid
from collections import Counter
from contextlib import closing
from dataclasses import dataclass, field
from pathlib import Path
from typing import Callable, Iterable, Iterator, Mapping, Sequence

from ..errors import StartFailed
from ..places import find_program
from .check import check_rules, checked_libraries, version_of
from .cluster import Cluster
from .files import File, file_of, includes_of, package_file, text_file
from .plan import NO_FAULT, Fault, read_plan
from .pool import Pool
from .problems import CampaignError
from .results import Identity, Results, default_path
from .runs import PORTS, TIMEOUT_S, Job, Key, Outcome, Result, Setup, settings_of

SHAPES = ("stack", "chassis")
OWN_VARIABLES = ("SEED", "SHAPE", "FAULT")


@dataclass(frozen=True)
class Summary:
    """What has become of a campaign."""

    total: int  # runs that it has
    ended: int  # of them
    counts: Counter[Outcome]

    @property
    def passed(self) -> bool:
        """Whether all of its runs have ended, and passed."""
        return self.ended == self.total == self.counts[Outcome.PASSED]


@dataclass
class Campaign:
    """Runs of a scenario.

    `faults` is a plan file, or entries of one; the run without a fault is there as well, unless
    `base` is false. `seeds` are numbers, or how many there are from 1. `libraries` are files; pcsim
    finds one by itself when none is named. `needs` are files that the scenario reads beside the
    scripts that it includes. `out` is a `.db` file or a folder. `jobs` is how many runs are made at
    a time, as many as there are cores unless said; with `scheduler`, the address of one of Dask's,
    its workers make them.
    """

    scenario: str | os.PathLike[str]
    faults: str | os.PathLike[str] | Sequence[Fault] = ()
    seeds: int | Iterable[int] = 1
    shapes: Sequence[str] = ("stack",)
    libraries: Sequence[str | os.PathLike[str]] = ()
    out: str | os.PathLike[str] | None = None
    jobs: int | None = None
    scheduler: str | None = None
    timeout: float = TIMEOUT_S
    ports: int = PORTS
    definitions: Mapping[str, str] = field(default_factory=dict)
    options: Sequence[str] = ()  # of pcsim
    needs: Sequence[str | os.PathLike[str]] = ()
    program: str | os.PathLike[str] | None = None
    base: bool = True
    resume: bool = False
    fail_fast: bool = False

    def __post_init__(self) -> None:
        self.scenario = os.fspath(self.scenario)
        self._seeds = seeds_of(self.seeds)
        for shape in self.shapes:
            if shape not in SHAPES:
                raise CampaignError(f"there is no shape '{shape}'; expected stack or chassis")
        for name in OWN_VARIABLES:
            if name in self.definitions:
                raise CampaignError(f"${name} is the campaign's own; expected another name")
        if self.timeout <= 0:
            raise CampaignError(f"the timeout is {self.timeout:g} s; expected more than 0")
        self._faults = ([NO_FAULT] if self.base else []) + self._plan()
        if not (self._faults and self._seeds and self.shapes):
            raise CampaignError("the campaign has no runs; expected a fault, a seed and a shape")

    @property
    def path(self) -> Path:
        """The file with the results."""
        return default_path(self.out, os.fspath(self.scenario))

    def __len__(self) -> int:
        """How many runs it has."""
        return (len(self._faults) * len(self._seeds) * len(self.shapes)
                * max(1, len(self.libraries)))

    def __iter__(self) -> Iterator[Result]:
        return self.results()

    def results(self, *outcomes: Outcome) -> Iterator[Result]:
        """What is known of its runs: of all, or of those with these outcomes."""
        with Results(self.path) as results:
            yield from results.all(*outcomes)

    def run(self, each: Callable[[Result], None] | None = None,
            begin: Callable[[int, int], None] | None = None) -> Summary:
        """Makes the runs that have not ended yet. `each` is called with each result, `begin`
        before the first, with the numbers of runs in all and of those that have ended."""
        setup, libraries = self._setup()
        wanted = [self._job(*choice, libraries) for choice in itertools.product(
            self._seeds, self._faults, self.shapes, libraries)]
        with closing(self._engine()) as engine:
            engine.check(setup)
            with Results(self.path, write=True) as results:
                results.begin(self._identity(setup), self.resume)
                ended = results.outcomes()
                left = [job for job in wanted if job.key not in ended]
                if begin is not None:
                    begin(len(wanted), len(wanted) - len(left))
                with closing(engine.results(setup, left)) as coming:
                    for result in coming:
                        if results.add(result) and each is not None:
                            each(result)
                        if self.fail_fast and not result.passed:
                            break
                return summary_of(results, [job.key for job in wanted])

    def _engine(self) -> Pool | Cluster:
        return Cluster(self.scheduler) if self.scheduler is not None else Pool(self.jobs)

    def _plan(self) -> list[Fault]:
        return (read_plan(self.faults) if isinstance(self.faults, (str, os.PathLike))
                else list(self.faults))

    def _job(self, seed: int, fault: Fault, shape: str, library: str,
             libraries: Mapping[str, str | None]) -> Job:
        return Job(Key(fault.name, seed, shape, library), fault.seeded(seed), libraries[library])

    def _setup(self) -> tuple[Setup, dict[str, str | None]]:
        """What the runs have in common, and the libraries by the names that runs have for them;
        after a look at whether all of it can be used."""
        try:
            program = os.path.abspath(find_program(self.program))
        except StartFailed as problem:
            raise CampaignError(str(problem)) from problem
        scenario = os.fspath(self.scenario)
        files = [file_of("pcsim", program), file_of("scenario", os.path.abspath(scenario)),
                 *self._includes(), package_file(),
                 *(file_of("need", os.path.abspath(need)) for need in self.needs)]
        setup = Setup(program, scenario, os.getcwd(), self.ports, tuple(self.definitions.items()),
                      tuple(self.options), settings_of(os.environ), self.timeout,
                      campaign=uuid.uuid4().hex)
        named = [os.fspath(library) for library in self.libraries]
        libraries, paths = checked_libraries(setup, self.shapes, named)
        files += [file_of("library", path) for path in paths]
        check_rules(setup, self._faults, self._seeds[0], self._place_of_plan())
        return setup.of(files), libraries

    def _place_of_plan(self) -> str:
        return os.fspath(self.faults) if isinstance(self.faults, (str, os.PathLike)) else ""

    def _includes(self) -> list[File]:
        found = {}
        for shape in self.shapes:
            variables = {**self.definitions, "SHAPE": shape}
            for file in includes_of(Path(os.path.abspath(self.scenario)), variables):
                found[file.path] = file
        return list(found.values())

    def _identity(self, setup: Setup) -> Identity:
        rules = "".join(f"{fault.name}:\n{rule}\n" for fault in self._faults
                        for rule in fault.rules)
        plan = text_file("plan", self._place_of_plan() or "of the program", rules)
        facts = {"pcsim": version_of(setup.program), "scenario": setup.scenario,
                 "folder": setup.folder, "ports": str(setup.ports),
                 "definitions": " ".join(map("=".join, setup.definitions)),
                 "options": " ".join(setup.options),
                 "settings": " ".join(map("=".join, setup.settings))}
        made_of = [file for file in setup.files if file.role != "package"]
        return Identity(facts, [*made_of, plan], self._faults)


def seeds_of(seeds: int | Iterable[int]) -> list[int]:
    """The numbers themselves."""
    chosen = list(range(1, seeds + 1)) if isinstance(seeds, int) else list(dict.fromkeys(seeds))
    for seed in chosen:
        if not 0 <= seed < 2**32:
            raise CampaignError(f"seed {seed} is no 32-bit number; expected 0 to 4294967295")
    return chosen


def summary_of(results: Results, wanted: Sequence[Key]) -> Summary:
    """Of the runs that are wanted; the file may know of others."""
    outcomes = results.outcomes()
    counts = Counter(outcomes[key] for key in wanted if key in outcomes)
    return Summary(len(wanted), counts.total(), counts)
