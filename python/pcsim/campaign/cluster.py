"""Runs on many machines: tasks of a Dask scheduler, whose workers each make as many at a time as
they have threads.

Pcsim, libraries and scripts stand on each worker where they stand here. Workers whose files aren't
those of the campaign are refused before the first run, and those that come later at theirs. A
worker may vanish: its runs are made by others.
"""
from __future__ import annotations

import contextlib
import importlib
import itertools
from typing import Any, Generator, Iterator, Sequence

from .files import File, difference
from .problems import CampaignError
from .process import RUNNING, execute
from .runs import Job, Result, Setup

CONNECT_S = 10
AHEAD = 4  # tasks handed over for each thread, so that none waits for us
TRIES = 5  # of a run, each of which the scheduler repeats on workers that are left


def distributed_module() -> Any:
    """Dask's distributed, which need not be there."""
    try:
        return importlib.import_module("distributed")
    except ImportError as problem:
        raise CampaignError("--scheduler needs Dask's distributed, which is not installed; "
                            "expected the package python3-distributed") from problem


def execute_there(setup: Setup, job: Job) -> Result | None:
    """A run, on a worker."""
    return execute(setup, job, distributed_module().get_worker().address)


def difference_there(files: Sequence[File]) -> str:
    """What a worker has that isn't what the campaign is made of."""
    return difference(files)


def end_there(campaign: str) -> None:
    """Ends a campaign's runs, on a worker."""
    RUNNING.end_campaign(campaign)


class Cluster:
    """A scheduler's workers."""

    def __init__(self, address: str) -> None:
        self._module = distributed_module()
        self._address = address
        try:
            self._client = self._module.Client(address, timeout=CONNECT_S, set_as_default=False)
        except (OSError, TimeoutError, ValueError) as problem:
            raise CampaignError(f"no scheduler answers at {address}: {problem}; expected the "
                                "address that dask-scheduler prints") from problem

    def close(self) -> None:
        """Leaves the scheduler."""
        self._client.close()

    def check(self, setup: Setup) -> None:
        """Every worker has the same files. CampaignError names one that has not."""
        if not self._workers():
            raise CampaignError(f"the scheduler at {self._address} has no workers; expected some, "
                                "started with dask-worker")
        found = self._client.run(difference_there, setup.files, on_error="return")
        for worker, differs in found.items():
            if isinstance(differs, OSError):
                continue  # it has vanished meanwhile
            if isinstance(differs, Exception):
                raise CampaignError(f"worker {worker} can't load pcsim.campaign: {differs}; "
                                    "expected the same package as here")
            if differs:
                raise CampaignError(f"{differs} on {worker}")

    def results(self, setup: Setup, jobs: Sequence[Job]) -> Generator[Result, None, None]:
        """Results as they come. Runs under way are ended when no more are asked for."""
        tasks = Tasks(self._client, setup)
        left = iter(jobs)
        tasks.submit(left, max(1, AHEAD * self._threads()))
        try:
            for future, answer in tasks.ended:
                result = tasks.take(future, answer)
                tasks.submit(left, 1)
                if result is not None:
                    yield result
        finally:
            tasks.cancel()
            with contextlib.suppress(Exception):  # whoever has vanished has nothing to end
                self._client.run(end_there, setup.campaign, on_error="ignore")

    def _workers(self) -> dict[str, Any]:
        workers: dict[str, Any] = self._client.scheduler_info()["workers"]
        return workers

    def _threads(self) -> int:
        return sum(worker["nthreads"] for worker in self._workers().values())


class Tasks:
    """The runs that the scheduler has."""

    def __init__(self, client: Any, setup: Setup) -> None:
        self._client = client
        self._setup = setup
        self._runs: dict[Any, tuple[Job, int]] = {}  # by future: the run, and its tries
        self._numbers = itertools.count(1)
        self.ended = distributed_module().as_completed(
            loop=client.loop, with_results=True, raise_errors=False)

    def submit(self, jobs: Iterator[Job], count: int) -> None:
        """Hands over the next ones."""
        for job in itertools.islice(jobs, count):
            self._submit(job, 1)

    def _submit(self, job: Job, tries: int) -> None:
        future = self._client.submit(execute_there, self._setup, job, pure=False,
                                     key=f"run-{self._setup.campaign}-{next(self._numbers)}")
        self._runs[future] = job, tries
        self.ended.add(future)

    def take(self, future: Any, answer: Any) -> Result | None:
        """The result of one that has ended. None when it is to be made again: its workers have
        vanished, more often than the scheduler bears."""
        job, tries = self._runs.pop(future)
        if future.status == "finished" and answer is not None:
            result: Result = answer
            return result
        problem = answer[1] if future.status == "error" else None
        if isinstance(problem, CampaignError):
            raise problem
        if problem is not None and not isinstance(problem, distributed_module().KilledWorker):
            raise CampaignError(f"the run {job.key} could not be made on a worker: {problem!r}; "
                                "expected the same Python and packages as here")
        if self._client.status != "running":
            raise CampaignError("the scheduler is gone; expected it to stay until the end")
        if tries == TRIES:
            raise CampaignError(f"the workers of the run {job.key} have vanished, {TRIES} times; "
                                "expected them to survive it")
        self._submit(job, tries + 1)
        return None

    def cancel(self) -> None:
        """Takes back what hasn't ended."""
        with contextlib.suppress(Exception):  # the scheduler may be what has gone
            self._client.cancel(list(self._runs))
