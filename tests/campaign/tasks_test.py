"""What becomes of tasks that a scheduler hands back, with a client that does as it is told."""
from types import SimpleNamespace

import pytest
from pcsim.campaign import CampaignError, Key, Outcome, Result
from pcsim.campaign import cluster
from pcsim.campaign.runs import Job, Setup

SETUP = Setup("pcsim", "a.pcsim", "/", campaign="c")
JOBS = [Job(Key("none", seed, "stack", "a.so")) for seed in range(1, 4)]
RESULT = Result(*JOBS[0].key, Outcome.PASSED, 1.0)


class KilledWorker(Exception):
    """As Dask's, of a task whose workers have vanished."""


class Future(str):
    """A task's number, with how it has ended."""

    status = "finished"


class Client:
    """Notes what is handed over."""

    def __init__(self):
        self.status = "running"
        self.loop = None
        self.handed_over = []
        self.taken_back = []

    def submit(self, function, setup, job, pure, key):
        """As Dask's."""
        assert (function, setup, pure) == (cluster.execute_there, SETUP, False)
        self.handed_over.append((job, key))
        return Future(key)

    def cancel(self, futures):
        """As Dask's."""
        self.taken_back += futures


@pytest.fixture(name="tasks")
def three_tasks(monkeypatch):
    """Three that were handed over."""
    ended = SimpleNamespace(add=lambda future: None)
    monkeypatch.setattr(cluster, "distributed_module", lambda: SimpleNamespace(
        KilledWorker=KilledWorker, as_completed=lambda **how: ended))
    tasks = cluster.Tasks(Client(), SETUP)
    tasks.submit(iter(JOBS), 3)
    return tasks


@pytest.fixture(name="client")
def client_of(tasks):
    """Theirs."""
    return tasks._client  # pylint: disable=protected-access


def ended(number, status="finished"):
    """A task that has ended so."""
    future = Future(f"run-c-{number}")
    future.status = status
    return future


def test_each_run_is_a_task_of_its_own(client):
    assert client.handed_over == [(job, f"run-c-{number}") for number, job in enumerate(JOBS, 1)]


def test_results_are_taken_and_the_others_taken_back(tasks, client):
    assert tasks.take(ended(1), RESULT) is RESULT
    tasks.cancel()
    assert client.taken_back == ["run-c-2", "run-c-3"]


@pytest.mark.parametrize("status, answer", [
    ("error", (KilledWorker, KilledWorker("run-c-2"), None)), ("cancelled", None),
    ("finished", None)])
def test_a_run_whose_workers_vanish_is_made_again_but_not_for_ever(tasks, client, status, answer):
    assert tasks.take(ended(2, status), answer) is None
    for number in range(4, 3 + cluster.TRIES):
        assert client.handed_over[-1] == (JOBS[1], f"run-c-{number}")
        if number < 2 + cluster.TRIES:
            assert tasks.take(ended(number, status), answer) is None
    with pytest.raises(CampaignError) as told:
        tasks.take(ended(2 + cluster.TRIES, status), answer)
    assert str(told.value) == ("the workers of the run none, seed 2, stack, a.so have vanished, 5 "
                               "times; expected them to survive it")


def test_what_differs_on_a_worker_ends_the_campaign(tasks):
    problem = CampaignError("library a.so is 1; expected 2 on tcp://there")
    with pytest.raises(CampaignError) as told:
        tasks.take(ended(1, "error"), (CampaignError, problem, None))
    assert told.value is problem


def test_a_worker_that_cannot_make_runs_ends_the_campaign(tasks):
    with pytest.raises(CampaignError) as told:
        tasks.take(ended(3, "error"), (ImportError, ImportError("no module"), None))
    assert str(told.value) == ("the run none, seed 3, stack, a.so could not be made on a worker: "
                               "ImportError('no module'); expected the same Python and packages as "
                               "here")


def test_without_its_scheduler_a_campaign_ends(tasks, client):
    client.status = "connecting"
    with pytest.raises(CampaignError) as told:
        tasks.take(ended(1, "cancelled"), None)
    assert str(told.value) == "the scheduler is gone; expected it to stay until the end"
