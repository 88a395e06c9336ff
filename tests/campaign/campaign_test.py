"""Campaigns of real runs: outcomes, repeating, resuming, ending early, builds of the library."""
import os
import shutil
import signal
import subprocess
import sys
import time
from collections import Counter
from pathlib import Path

import pytest
from conftest import python_path
from pcsim.campaign import Campaign, CampaignError, Fault, Key, Outcome
from process_test import alive, gone, number_in

pytestmark = pytest.mark.usefixtures("lab")

LIBRARY = Path(os.environ["PCSIM"]).resolve().with_name("libpcsimulation.so.0")
NAME = LIBRARY.name

LINES = ("wait show ports -- 1:2.link is up within 3000", "vlan create 10",
         "route add 10.1.0.0/16 via 10.0.0.1 vlan 10", "time warp 10000",
         "expect show ports -- count where link is up is 4")

PLAN = ("fault cardPortEnable where port 1:9",
        "never: fault cardPortLinkInfo where port 1:2 count 1000",
        "no tree:", "    fault p2BtreeInsert",
        "flaky: fault cardPortLinkInfo chance 50")


@pytest.fixture
def scenario(write):
    """A scenario that passes without a fault."""
    return write("scenario.pcsim", *LINES)


def test_each_run_has_its_outcome(scenario, write):
    campaign = Campaign(scenario, faults=write("plan", *PLAN), shapes=("stack", "chassis"),
                        seeds=2, ports=4, jobs=2)
    assert len(campaign) == 20
    seen, begun = [], []
    summary = campaign.run(each=seen.append, begin=lambda *numbers: begun.append(numbers))
    assert begun == [(20, 0)]
    assert (summary.total, summary.ended, summary.passed) == (20, 20, False)
    results = {result.key: result for result in campaign}
    assert Counter(result.key for result in seen) == Counter(iter(results))
    assert len(results) == 20
    for shape in ("stack", "chassis"):
        for seed in (1, 2):
            def one(fault, shape=shape, seed=seed):
                return results[Key(fault, seed, shape, NAME)]
            assert one("none").outcome is Outcome.PASSED
            assert one("fault cardPortEnable where port 1:9").outcome is Outcome.PASSED
            assert (one("never").outcome, one("never").reason) == (
                Outcome.FAILED, "scenario.pcsim:1: expected show ports -- 1:2.link is up within "
                                "3000 ms, but 1:2.link is down")
            assert one("no tree").outcome is Outcome.CRASHED
            assert one("no tree").reason.endswith(f" in '{LINES[2]}'")
            log = one("no tree").log
            assert log.endswith(f"pcsim> {LINES[2]}\n") or "AddressSanitizer" in log
    assert [result.key for result in campaign.results(Outcome.CRASHED)] == [
        Key("no tree", seed, shape, NAME) for shape in ("chassis", "stack") for seed in (1, 2)]


def test_the_command_of_a_failure_repeats_it(scenario, write):
    campaign = Campaign(scenario, faults=write("plan", *PLAN), seeds=6, jobs=2)
    campaign.run()
    failures = [result for result in campaign if not result.passed]
    assert len({result.reason for result in failures if result.fault == "flaky"}) > 1
    for result in failures:
        again = subprocess.run(["sh", "-c", f"{result.command}"], cwd="/", capture_output=True,
                               text=True, check=False)
        status = 128 - result.status if result.status < 0 else result.status
        assert (again.returncode, again.stdout) in (
            (status, result.log.removesuffix(again.stderr)),
            (status, result.log)), result


def test_a_scenario_knows_its_run(write):
    write("part.pcsim", "echo $SEED $SHAPE $FAULT $where", "expect show chassis -- shape is $SHAPE",
          "quit $SEED")
    campaign = Campaign(write("scenario.pcsim", "include part.pcsim"), seeds=[7, 3],
                        faults=[Fault("two words", ("fault calloc after 100000",))],
                        shapes=("chassis",), definitions={"where": "a b"})
    campaign.run()
    results = list(campaign)
    assert [(result.seed, result.status, result.reason) for result in results] == [
        (3, 3, "ended with status 3"), (7, 7, "ended with status 7")] * 2
    assert "\n3 chassis none a b\n" in results[0].log
    assert "\n7 chassis two words a b\n" in results[3].log


def test_runs_know_nothing_of_each_other(write):
    campaign = Campaign(write("scenario.pcsim", "expect show vlans -- vlans.count is 0",
                              "vlan create 10", "cable 1 pull"), seeds=20, jobs=4)
    assert campaign.run().passed


def test_a_campaign_goes_on(scenario):
    campaign = Campaign(scenario, seeds=3)
    assert campaign.run().passed
    begun = []
    more = Campaign(scenario, seeds=5, resume=True)
    assert more.run(begin=lambda *numbers: begun.append(numbers)).passed
    assert begun == [(5, 3)]
    with pytest.raises(CampaignError, match="expected --resume to go on with it"):
        Campaign(scenario, seeds=5).run()
    with open(scenario, "a", encoding="ascii") as file:
        file.write("show ports\n")
    with pytest.raises(CampaignError, match="is of another campaign: scenario .*scenario.pcsim is"):
        Campaign(scenario, seeds=5, resume=True).run()
    assert len(list(campaign)) == 5


def test_builds_of_the_library_are_runs_of_their_own(scenario, folder):
    for name in ("old.so", "new.so"):
        shutil.copy(LIBRARY, folder / name)
    campaign = Campaign(scenario, libraries=("old.so", "./new.so"), out="out")
    assert campaign.run().passed
    assert campaign.path == Path("out/scenario.campaign.db")
    assert [result.library for result in campaign] == ["./new.so", "old.so"]
    assert [f"--library {folder}/{name} " in result.command
            for name, result in zip(("new.so", "old.so"), campaign)] == [True, True]
    with open("new.so", "ab") as file:
        file.write(b"more")
    with pytest.raises(CampaignError, match=f"campaign: library {folder}/new.so is "):
        Campaign(scenario, libraries=("old.so", "./new.so"), out="out", resume=True).run()
    with pytest.raises(CampaignError, match="campaign: library .* is no part of it, and was"):
        Campaign(scenario, libraries=("old.so",), out="out", resume=True).run()


def test_what_changes_in_the_middle_ends_it(scenario, folder):
    shutil.copy(LIBRARY, folder / "a.so")

    def change(_):
        with open("a.so", "ab") as file:
            file.write(b"more")

    campaign = Campaign(scenario, libraries=("a.so",), seeds=50)
    with pytest.raises(CampaignError, match=f"^library {folder}/a.so is .*; expected "):
        campaign.run(each=change)
    assert 1 <= len(list(campaign)) < 50


def test_the_first_failure_may_be_the_last(write):
    campaign = Campaign(write("scenario.pcsim", "quit $SEED"), seeds=range(0, 200), jobs=2,
                        fail_fast=True)
    summary = campaign.run()
    assert not summary.passed and summary.ended < 20
    assert summary.counts[Outcome.FAILED] == 1


HANG = ("repeat 1000000", "repeat 1000000", "expect show chassis -- ownSlot is 1", "end", "end")


def test_a_run_that_hangs_is_ended(write):
    campaign = Campaign(write("scenario.pcsim", *HANG), timeout=3.0)
    campaign.run()
    [result] = campaign
    assert (result.outcome, result.status) == (Outcome.TIMEOUT, None)
    assert result.reason == "still running after 3 s in 'repeat 1000000'"


def process_of(campaign):
    """A campaign in a process of its own, once so many of its runs have ended."""
    return subprocess.Popen(
        [sys.executable, "-c", "from pcsim.campaign import Campaign\n"
         f"Campaign('scenario.pcsim', {campaign}, resume=True).run()"],
        env={**os.environ, **python_path()}, stderr=subprocess.PIPE)


def results_of(campaign, count):
    """Waits until there are so many."""
    for _ in range(1000):
        if campaign.path.exists():
            try:
                if len(found := list(campaign)) >= count:
                    return found
            except CampaignError:
                pass  # it is about to be made
        time.sleep(0.02)
    raise AssertionError("it has come to nothing")


def test_a_campaign_that_was_killed_goes_on(scenario):
    campaign = Campaign(scenario, seeds=120, resume=True)
    with process_of("seeds=120") as process:
        before = results_of(campaign, 5)
        process.kill()
    before = list(campaign)
    assert 5 <= len(before) < 120
    begun = []
    assert campaign.run(begin=lambda *numbers: begun.append(numbers)).passed
    assert begun == [(120, len(before))]
    after = list(campaign)
    assert len(after) == 120
    assert [result for result in after if result in before] == before


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGKILL])
def test_its_runs_end_with_it(write, folder, number):
    write("scenario.pcsim", "echo begun", *HANG)
    program = folder / "noting"
    # The looks before the first run have no script.
    program.write_text('#!/bin/sh\ncase "$*" in *" -f "*) echo $$ >number ;; esac\n'
                       f'exec {os.environ["PCSIM"]} "$@"\n')
    program.chmod(0o755)
    with process_of("program='./noting', timeout=100, jobs=1") as process:
        run = number_in(folder / "number")
        assert alive(run)
        process.send_signal(number)
        assert gone(run)
        process.wait(20)
    assert list(Campaign("scenario.pcsim")) == []
    again = Campaign("scenario.pcsim", program="./noting", timeout=0.5, resume=True)
    assert again.run().counts == {Outcome.TIMEOUT: 1}


@pytest.mark.parametrize("wrong, problem", [
    ({"shapes": ("ring",)}, "there is no shape 'ring'; expected stack or chassis"),
    ({"definitions": {"SEED": "1"}}, "$SEED is the campaign's own; expected another name"),
    ({"seeds": 0}, "the campaign has no runs; expected a fault, a seed and a shape"),
    ({"base": False}, "the campaign has no runs; expected a fault, a seed and a shape"),
    ({"seeds": [2**32]}, "seed 4294967296 is no 32-bit number; expected 0 to 4294967295"),
    ({"timeout": 0}, "the timeout is 0 s; expected more than 0"),
    ({"libraries": ("nowhere",)}, "pcsim doesn't boot without a fault (stack, $/nowhere): library "
     "$/nowhere can't be opened: No such file or directory; build it or name it with --library"),
    ({"libraries": (LIBRARY, LIBRARY)}, f"library {LIBRARY} is named twice; expected each once"),
    ({"program": "nowhere"},
     "'nowhere' is not a program that can be run; expected a pcsim"),
    ({"needs": ("nowhere",)}, "need $/nowhere can't be read: No such file or directory"),
    ({"options": ("--bogus",)}, "pcsim doesn't boot without a fault (stack): there is no "
                                "option --bogus; 'pcsim --help' lists them"),
    ({"program": "/bin/true"}, "/bin/true answers what a pcsim of this version doesn't; expected a "
                               "pcsim of the same version"),
    ({"faults": [Fault("a", ("fault calloc", "fault cardPortEnabel"))]},
     "no operation goes by 'cardPortEnabel'; perhaps slot.cardPortEnable, "
     "slot.cardPortEnableRcv ('a': fault cardPortEnabel)"),
])
def test_what_cannot_be_run_is_told_before_the_first_run(scenario, folder, wrong, problem):
    with pytest.raises(CampaignError) as told:
        Campaign(scenario, **wrong).run()
    assert str(told.value) == problem.replace("$/", f"{folder}/")
    assert [path.name for path in folder.iterdir()] == ["scenario.pcsim"]


def test_a_wrong_rule_is_told_with_its_place(scenario, write):
    plan = write("plan", "fault calloc after 1000000", "b:", "  fault cardPortEnable where vlan 5")
    with pytest.raises(CampaignError) as told:
        Campaign(scenario, faults=plan).run()
    assert str(told.value) == (
        "plan:2: cardPortEnable has no 'vlan' that is tested before the call; expected one of "
        "portInstance, enable ('b': fault cardPortEnable where vlan 5)")
