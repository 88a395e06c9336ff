"""The pytest plug-in in runs of its own: fixtures, markers, reports of failed tests, coverage."""
import pytest

pytestmark = pytest.mark.usefixtures("lab")

PLUGIN = ("-p", "pcsim.pytest_plugin", "-p", "no:cacheprovider")


@pytest.fixture(name="run")
def runner(pytester, monkeypatch, request):
    """Runs a file of tests with options."""
    monkeypatch.setenv("PYTHONPATH", str(request.config.rootpath.parents[1] / "python"))

    def run(text, *options):
        pytester.makepyfile(text)
        return pytester.runpytest_subprocess(*PLUGIN, *options, timeout=100)
    return run


def test_each_test_has_a_fresh_switch(run):
    result = run("""
        import pytest

        def test_one(switch):
            assert (switch.status().shape, switch.time.stopped) == ("stack", True)
            assert [port.port for port in switch.ports()] == ["1:1", "1:2", "1:3", "1:4"]
            switch.vlan(10).create()

        def test_two(switch):
            assert switch.vlans() == []

        def test_chassis(chassis):
            assert chassis.status().shape == "chassis" and len(chassis.cards()) == 10

        @pytest.mark.pcsim(ports=2, stopped=False, options=["--virtual-routers", "3"])
        class TestMarked:
            def test_of_class(self, switch):
                assert len(switch.ports()) == 2 and not switch.time.stopped

            @pytest.mark.pcsim(ports=1, shape="chassis", name="own-name")
            def test_nearest_counts(self, switch):
                assert (switch.name, switch.status().shape) == ("own-name", "chassis")

        def test_both(switch, chassis):
            assert switch.name != chassis.name
        """)
    result.assert_outcomes(passed=6)


def test_a_marker_that_is_wrong_says_what_would_be_right(run):
    result = run("""
        import pytest

        @pytest.mark.pcsim(portz=3)
        def test_keyword(switch): pass

        @pytest.mark.pcsim(3)
        def test_position(switch): pass
        """)
    result.assert_outcomes(errors=2)
    expected = "expected ports, shape, stopped, name, options, timeout, trace, each with ="
    result.stdout.fnmatch_lines([f"*the marker pcsim takes no portz; {expected}",
                                 f"*the marker pcsim takes no 3; {expected}"])


FAILS = """
    def test_fails(switch):
        switch.cable(2).pull()
        switch.time.warp(1000)
        assert switch.port("1:2").link == "up"
    """


def test_a_failed_test_tells_what_its_switch_knows(run):
    result = run(FAILS)
    result.assert_outcomes(failed=1)
    result.stdout.fnmatch_lines([
        "*- pcsim python-*: the last events -*",
        "*[[]    1.000[]] port      Port 1:2 link down*",
        "*- pcsim python-*: coverage -*",
        "slot *",
        "* operations were called, * %",
        "*- pcsim python-*: the last calls -*",
        "[[]    1.000[]] > pcSimCardPortLinkInfo portInstance 1:2*",
        "*= pcsim: coverage of operations =*",
    ])


def test_the_trace_has_as_many_calls_as_wanted(run):
    calls = [line for line in run(FAILS, "--pcsim-trace", "3").outlines if "] > pcSim" in line]
    assert len(calls) == 3
    text = run(FAILS, "--pcsim-trace", "0").stdout.str()
    assert "the last events" in text and "the last calls" not in text


def test_a_passed_test_tells_nothing(run):
    text = run("def test_passes(switch): pass").stdout.str()
    assert "the last events" not in text and "pcsim: coverage of operations" in text


def test_a_switch_that_is_gone_is_told(run):
    result = run("""
        import os, signal

        def test_kills(switch):
            os.kill(switch.status().pid, signal.SIGKILL)
            switch.ports()
        """)
    result.stdout.fnmatch_lines(["*ConnectionLost: *pcsim ended with signal 9*",
                                 "*- pcsim python-*: it can't be asked -*"])
    assert result.ret == 1


def test_a_test_may_end_its_switch(run):
    run("def test_ends(switch): switch.shutdown()").assert_outcomes(passed=1)


@pytest.mark.parametrize("workers", [(), ("-n", "2")])
def test_too_little_coverage_fails_the_run(run, workers):
    text = """
        def test_one(switch): pass
        def test_two(chassis): chassis.vlan(10).create()
        """
    result = run(text, "--pcsim-coverage-threshold", "99.5", *workers)
    result.assert_outcomes(passed=2)
    assert result.ret == pytest.ExitCode.TESTS_FAILED
    result.stdout.fnmatch_lines(["* of * operations were called, * %",
                                 "FAILED: expected at least 99.5 %"])
    assert "Never called" not in result.stdout.str()
    result = run(text, "--pcsim-coverage-threshold", "10", "-v", *workers)
    result.stdout.fnmatch_lines(["Never called: *family.pcSimPCFamFdbAddEntry*"])
    assert result.ret == pytest.ExitCode.OK
    family = next(line for line in result.outlines if line.startswith("family "))
    assert int(family.split()[2]) > 3, "what one worker has called is missing"


def test_without_a_switch_nothing_is_said(run):
    result = run("def test_plain(): pass")
    assert "pcsim" not in result.stdout.str().partition("plugins:")[2].partition("\n")[2]
    assert run("def test_plain(): pass", "--pcsim-coverage-threshold", "1").ret == 1


def test_the_program_can_be_named(run):
    result = run("def test_one(switch): pass", "--pcsim-program", "no-such-pcsim")
    result.assert_outcomes(errors=1)
    result.stdout.fnmatch_lines(["*StartFailed: 'no-such-pcsim' is not a program that can be run; "
                                 "expected a pcsim"])
