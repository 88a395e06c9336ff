"""Campaigns on a cluster: a scheduler and four workers in network namespaces of their own."""
import contextlib
import os
import shutil
import subprocess
import time
from collections import Counter

import pytest
from campaign_test import HANG, LIBRARY, LINES, process_of
from nodes import ADDRESS, Cluster
from pcsim.campaign import Campaign, CampaignError, Outcome
from process_test import gone

# Those of Debian's own packages.
pytestmark = pytest.mark.filterwarnings("ignore::DeprecationWarning")
WORKERS = range(1, 5)


@pytest.fixture(scope="module", name="cluster")
def four_workers(tmp_path_factory):
    """Once for all tests: workers take a while to begin."""
    with contextlib.closing(Cluster(tmp_path_factory.mktemp("cluster"))) as cluster:
        for number in WORKERS:
            cluster.start_worker(number)
        cluster.wait_for(4)
        yield cluster


def test_all_workers_make_runs_and_one_may_vanish(cluster, write):
    campaign = Campaign(write("scenario.pcsim", *LINES), seeds=60, scheduler=ADDRESS,
                        faults=write("plan", "no tree: fault p2BtreeInsert"))
    seen, killed = [], []

    def each(result):
        seen.append(result)
        if not killed and len(seen) >= 30 and any(".12:" in one.worker for one in seen):
            killed.append(cluster.kill("worker-2"))

    summary = campaign.run(each=each)
    assert killed and gone(killed[0])
    assert summary.ended == summary.total == 120
    assert summary.counts == {Outcome.PASSED: 60, Outcome.CRASHED: 60}
    assert Counter(result.key for result in seen).most_common(1)[0][1] == 1
    results = list(campaign)
    assert len(results) == len(seen) == 120
    workers = {result.worker.rsplit(":", 1)[0] for result in results}
    assert workers == {f"tcp://10.77.0.1{number}" for number in WORKERS}
    failure = next(campaign.results(Outcome.CRASHED))
    again = subprocess.run(["sh", "-c", failure.command], capture_output=True, check=False)
    assert again.returncode in (132, 1)
    cluster.start_worker(5)
    cluster.wait_for(4)


def test_here_and_there_are_the_same_campaign(cluster, write):
    scenario = write("scenario.pcsim", *LINES)
    assert Campaign(scenario, seeds=3).run().passed
    more = Campaign(scenario, seeds=9, scheduler=ADDRESS, resume=True)
    assert more.run().passed
    assert [bool(result.worker) for result in more] == [False] * 3 + [True] * 6


def test_interrupting_a_campaign_ends_its_runs_there(cluster, write, folder):
    write("scenario.pcsim", "echo begun", *HANG)
    program = folder / "noting"
    program.write_text('#!/bin/sh\ncase "$*" in *" -f "*) echo $$ >>numbers ;; esac\n'
                       f'exec {os.environ["PCSIM"]} "$@"\n')
    program.chmod(0o755)
    with process_of(f"program='./noting', seeds=9, timeout=100, scheduler='{ADDRESS}'") as process:
        for _ in range(1000):
            if (folder / "numbers").exists() and len((folder / "numbers").read_text().split()) >= 4:
                break
            time.sleep(0.02)
        process.send_signal(2)
        process.wait(30)
    runs = (folder / "numbers").read_text().split()
    assert len(runs) >= 4 and all(gone(number) for number in runs)


def test_a_worker_with_other_files_is_refused(cluster, write, folder):
    shutil.copy(LIBRARY, folder / "a.so")
    shutil.copy(LIBRARY, folder / "other.so")
    with open(folder / "other.so", "ab") as file:
        file.write(b"another build")
    scenario = write("scenario.pcsim", *LINES)
    campaign = Campaign(scenario, libraries=("a.so",), seeds=500, scheduler=ADDRESS, resume=True)
    # One that comes later is refused at its first run.
    late = []

    def each(_):
        if not late:
            late.append(cluster.start_worker(
                6, before=f"mount --bind {folder}/other.so {folder}/a.so"))
            cluster.wait_for(5)

    problem = (rf"^library {folder}/a.so is [0-9a-f]{{12}}; expected [0-9a-f]{{12}} "
               r"on tcp://10.77.0.16:\d+$")
    with pytest.raises(CampaignError, match=problem):
        campaign.run(each=each)
    begun = []
    with pytest.raises(CampaignError, match=problem):
        campaign.run(begin=lambda *numbers: begun.append(numbers))
    assert begun == []
    cluster.kill("worker-6")


def test_a_worker_without_the_package_is_refused(cluster, write):
    cluster.start_worker(7, PYTHONPATH="")
    cluster.wait_for(5)
    with pytest.raises(CampaignError, match="^worker tcp://10.77.0.17:.* can't load pcsim.campaign"
                                            ": .*; expected the same package as here$"):
        Campaign(write("scenario.pcsim", *LINES), scheduler=ADDRESS).run()
    cluster.kill("worker-7")


def test_a_scheduler_that_vanishes_leaves_what_is_known(cluster, write):
    campaign = Campaign(write("scenario.pcsim", *LINES), seeds=500, scheduler=ADDRESS, resume=True)
    seen = []

    def each(result):
        seen.append(result)
        if len(seen) == 10:
            cluster.kill("scheduler")

    with pytest.raises(CampaignError, match="^the scheduler is gone; expected it to stay until the "
                                            "end$"):
        campaign.run(each=each)
    assert len(list(campaign)) == len(seen) >= 10


def test_no_scheduler_and_no_workers_are_told(cluster, write):
    campaign = Campaign(write("scenario.pcsim", *LINES), scheduler=ADDRESS)
    with pytest.raises(CampaignError, match="^no scheduler answers at tcp://10.77.0.1:8786: .*; "
                                            "expected the address that dask-scheduler prints$"):
        campaign.run()
    for number in (1, 3, 4, 5):
        cluster.kill(f"worker-{number}")
    cluster.start_scheduler()
    with pytest.raises(CampaignError, match=f"^the scheduler at {ADDRESS} has no workers; expected "
                                            "some, started with dask-worker$"):
        campaign.run()
