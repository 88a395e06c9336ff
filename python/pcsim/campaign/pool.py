"""Runs on this machine: as many processes of pcsim at a time as there are jobs."""
from __future__ import annotations

import os
import queue
from concurrent.futures import Future, ThreadPoolExecutor
from typing import Generator, Sequence

from .process import RUNNING, execute, forget_dead
from .runs import Job, Result, Setup


class Pool:
    """Each thread waits for one process, so what Python itself does is little beside it."""

    def __init__(self, jobs: int | None = None) -> None:
        self._jobs = jobs or len(os.sched_getaffinity(0))

    def check(self, setup: Setup) -> None:
        """Here is what the campaign was made of: nothing can differ yet."""
        forget_dead()

    def close(self) -> None:
        """Nothing is held between two campaigns."""

    def results(self, setup: Setup, jobs: Sequence[Job]) -> Generator[Result, None, None]:
        """Results as they come. Runs under way are ended when no more are asked for."""
        ended: queue.SimpleQueue[Future[Result | None]] = queue.SimpleQueue()
        left = iter(jobs)
        pool = ThreadPoolExecutor(self._jobs, "run")

        def submit() -> bool:
            job = next(left, None)
            if job is None:
                return False
            pool.submit(execute, setup, job).add_done_callback(ended.put)
            return True

        try:
            # Few are handed over at a time, so that there is nothing to take back at the end.
            under_way = sum(submit() for _ in range(2 * self._jobs))
            while under_way:
                result = ended.get().result()
                under_way -= 1
                under_way += submit()
                if result is not None:
                    yield result
        finally:
            RUNNING.end_campaign(setup.campaign)
            pool.shutdown(cancel_futures=True)
