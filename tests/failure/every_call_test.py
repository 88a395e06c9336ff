"""pcsim while one call after the other fails: a sample of them; with PCSIM_FAILURES=many many more,
with PCSIM_FAILURES=all every one.

PCSIM_SEED says where a sample begins.
"""
import os
import signal
import sys

import pytest
from runs import (KINDS, SCENARIOS, Failure, Outcome, Scenario, failures, objection, objections,
                  run, spread)

EXTENTS = ("few", "many", "all")
EXTENT = os.environ.get("PCSIM_FAILURES", "few")
if EXTENT not in EXTENTS:
    pytest.exit(f"PCSIM_FAILURES is '{EXTENT}'; expected {', '.join(EXTENTS)}", returncode=2)
SEED = int(os.environ.get("PCSIM_SEED", "1"))

# How many numbers of each kind of call, few and many. The tour takes seconds of real time; a boot is
# part of every scenario and tried once.
MOST = {"boot": (25, 1500), "lab": (10, 200), "loads": (25, 400), "chassis": (8, 150),
        "tour": (2, 30)}
# The tour waits, the others compute.
WORKERS = {"tour": 16}


@pytest.fixture(scope="module", params=SCENARIOS)
def scenario(request, lab):
    """Each scenario, with what it is like when nothing fails."""
    one = SCENARIOS[request.param]
    healthy = run(one)
    assert healthy.status == 0, healthy.said
    assert healthy.counts["failed"] == 0
    return one, healthy


@pytest.fixture(scope="module")
def boot_counts(lab):
    """The calls of a boot."""
    return run(SCENARIOS["boot"]).counts


@pytest.mark.parametrize("kind", KINDS)
def test_each_call_may_fail(scenario, kind, boot_counts):
    one, healthy = scenario
    first = 1
    if kind == "malloc" and one.name != "boot":
        first = min(boot_counts["malloc"], healthy.counts["malloc"])
    most = dict(zip(EXTENTS, (*MOST[one.name], sys.maxsize)))[EXTENT]
    numbers = spread(first, healthy.counts[kind], most, SEED)
    problems = objections(one, healthy, list(failures(kind, numbers)), WORKERS.get(one.name, 2))
    assert not problems, "\n".join(problems)


def test_what_the_library_prints_may_find_no_memory(lab):
    """It comes by way of the C library, through which no exception may pass."""
    prints = Scenario("prints", ("--shape", "chassis", "--stopped", "-x",
                                 "expect device 3 enable -- result is -2"))
    healthy = run(prints)
    assert healthy.status == 0, healthy.said
    last = healthy.counts["malloc"]
    problems = objections(prints, healthy, list(failures("malloc", range(last - 60, last + 1))), 2)
    assert not problems, "\n".join(problems)


def test_all_kinds_are_reached(boot_counts):
    """A kind that nothing calls would prove nothing."""
    counts = run(SCENARIOS["lab"]).counts
    assert all(counts[kind] > 0 for kind in KINDS if kind != "read")
    assert run(SCENARIOS["loads"]).counts["read"] > 0


def test_a_call_that_fails_is_told():
    outcome = run(SCENARIOS["boot"], Failure("malloc", 1, True))
    assert (outcome.status, outcome.said) == (1, "pcsim: out of memory\n")
    assert outcome.counts["failed"] == 1


def of(status, said="", left=()):
    return Outcome(status, "", said, {}, list(left))


@pytest.mark.parametrize("outcome, problem", [
    (of(0), None),
    (of(1, "pcsim: out of memory\n"), None),
    (of(None), "hangs"),
    (of(-signal.SIGSEGV), "ends by signal 11: "),
    (of(-signal.SIGABRT, "terminate called"), "ends by signal 6: terminate called"),
    (of(1), "ends with 1 and doesn't say why in one line: []"),
    (of(1, "pcsim: std::bad_alloc\n"),
     "ends with 1 and doesn't say why in one line: ['pcsim: std::bad_alloc']"),
    (of(1, "pcsim: a\npcsim: b\n"),
     "ends with 1 and doesn't say why in one line: ['pcsim: a', 'pcsim: b']"),
    (of(1, "pcsim: out of memory\n", ["1.sock"]), "leaves 1.sock behind"),
])
def test_objections(outcome, problem):
    assert objection(Scenario("any", ()), of(0), outcome) == problem


def test_stops_are_the_loads_own():
    stop = of(-signal.SIGABRT, 'pcSimIPv4McDb.c:36: createCache: Assertion "cacheNode" failed\n')
    assert objection(SCENARIOS["loads"], of(0), stop) is None
    assert objection(SCENARIOS["boot"], of(0), stop) is not None


def test_samples_are_spread():
    assert spread(1, 3, 10, 1) == [1, 2, 3]
    assert spread(1, 1000, 4, 0) == [1, 251, 501, 751]
    assert spread(1, 1000, 4, 7) == [8, 258, 508, 758]
    assert max(spread(1, 1000, 4, 249)) <= 1000
