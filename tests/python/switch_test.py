"""A switch that is started, spoken to and ended; and all that can go wrong on the way."""
import os
import signal
import subprocess
import sys
import threading
import time
from pathlib import Path

import pcsim
import pytest

PACKAGE = str(Path(pcsim.__file__).resolve().parents[1])

pytestmark = pytest.mark.usefixtures("lab")


def gone(pid):
    """Whether that process has ended, or ends soon."""
    for _ in range(500):
        try:
            os.kill(pid, 0)
        except ProcessLookupError:
            return True
        time.sleep(0.01)
    return False


def test_it_starts_as_told():
    with pcsim.Switch(ports=2, shape="chassis", stopped=True, name="as-told",
                      options=["--virtual-routers", "3"]) as switch:
        status = switch.status()
        assert (status.name, status.shape, status.stopped, status.time_ms) == (
            "as-told", "chassis", True, 0)
        assert switch.name == "as-told"
        assert [nic["name"] for nic in switch.show("nics")["nics"]] == ["eth0", "eth1", "eth2"]
        with pytest.raises(pcsim.CommandFailed, match="router 3 does not exist; expected 0 to 2"):
            switch.routes.add("10.0.0.0/8", vr=3)
    assert gone(status.pid)


def test_a_wrapper_becomes_it():
    with pcsim.Switch(ports=1, wrapper=["env", "WRAPPED=yes"]) as switch:
        environment = Path(f"/proc/{switch.status().pid}/environ").read_bytes()
        assert b"WRAPPED=yes" in environment.split(b"\0")
    with pytest.raises(pcsim.StartFailed, match="no-such-wrapper can't be started"):
        pcsim.Switch(wrapper=["no-such-wrapper"]).start()


def test_without_ports_there_is_no_lab():
    # The machine's own interfaces are none of a test's business: an empty namespace has none.
    user = [] if os.geteuid() == 0 else ["--user", "--map-root-user"]
    done = subprocess.run(
        ["unshare", *user, "--net", sys.executable, "-c",
         "import pcsim\n"
         "with pcsim.Switch(ports=None, stopped=True) as switch: print(switch.show('nics'))"],
        capture_output=True, text=True, check=False, env=os.environ | {"PYTHONPATH": PACKAGE})
    assert done.stdout == "{'nics': []}\n", done.stderr


@pytest.mark.parametrize("options, text", [
    ({"ports": 1000}, "^pcsim: --lab needs a number of ports from 1 to 100$"),
    ({"shape": "ring"}, "^pcsim: --shape needs 'stack' or 'chassis'"),
    ({"options": ["--bogus"]}, "^pcsim: .*--bogus"),
    ({"name": "two words"}, "^pcsim: "),
    ({"program": "/no/pcsim"}, "^'/no/pcsim' is not a program that can be run; expected a pcsim$"),
    ({"program": "false"}, "^pcsim ended with 1$"),
    ({"program": "/etc"}, "^'/etc' is not a program that can be run"),
])
def test_what_can_not_start_says_why(options, text):
    switch = pcsim.Switch(**options)
    with pytest.raises(pcsim.StartFailed, match=text):
        switch.start()
    switch.close()


def test_a_living_name_is_refused():
    with pcsim.Switch(name="twice") as first:
        with pytest.raises(pcsim.StartFailed, match="twice"):
            pcsim.Switch(name="twice").start()
        assert first.status().name == "twice"


def test_names_of_instances_are_names():
    for name in ("", "a/b"):
        with pytest.raises(ValueError, match="is no name of an instance; expected letters"):
            pcsim.connect(name)


def test_the_program_is_looked_for(monkeypatch):
    monkeypatch.setenv("PCSIM", "no-such")
    with pytest.raises(pcsim.StartFailed, match="'no-such' is not a program"):
        pcsim.Switch().start()


def test_it_is_for_its_with():
    switch = pcsim.Switch()
    with pytest.raises(pcsim.ConnectionLost, match="there is no connection; use the switch"):
        switch.ports()


def test_it_goes_when_its_owner_is_killed():
    program = ("import pcsim, time\n"
               "with pcsim.Switch() as switch: print(switch.status().pid, flush=True); time.sleep(99)")
    with subprocess.Popen([sys.executable, "-c", program], stdout=subprocess.PIPE, text=True,
                          env=os.environ | {"PYTHONPATH": PACKAGE}) as owner:
        pid = int(owner.stdout.readline())
        owner.kill()
    assert gone(pid)


def test_a_crash_is_told_with_all_that_was_said():
    switch = pcsim.Switch()
    switch.start()
    os.kill(switch.status().pid, signal.SIGABRT)
    with pytest.raises(pcsim.ConnectionLost, match="pcsim ended with signal 6; it said nothing"):
        switch.ports()
    with pytest.raises(pcsim.ConnectionLost, match="signal 6"):
        switch.close()


def test_it_ends_with_the_status_that_is_asked_for():
    switch = pcsim.Switch()
    switch.start()
    switch.shutdown(3)
    other = pcsim.Switch()
    other.start()
    other.run("shutdown 3")
    with pytest.raises(pcsim.ConnectionLost, match="ended with status 3; it said nothing; "
                                                   "expected status 0"):
        other.close()


def test_others_connect_to_it(switch):
    assert [each.name for each in pcsim.instances()] == [switch.name]
    with pcsim.connect(switch.name) as other:
        other.vlan(10).create()
        assert other.name == switch.name
    assert [vlan.vlan for vlan in switch.vlans()] == [10]
    with pytest.raises(pcsim.ConnectionLost, match="nobody answers at .*nobody.sock: No such file"):
        pcsim.connect("nobody")


def test_instances_that_are_dead_are_none(run_folder):
    (run_folder / "dead.sock").touch()
    assert "dead" not in [each.name for each in pcsim.instances()]
    (run_folder / "dead.sock").unlink()


def test_answers_have_text_and_data(switch):
    answer = switch.run("show vlans")
    assert answer.text == str(answer) and answer.text.startswith("VLANs\n")
    assert answer.data == {"vlans": [], "pages": [
        {"table": "vlans", "from": 0, "shown": 0, "matching": 0}]}
    assert switch.run("echo hi") == pcsim.Answer("hi\n", None, "echo hi")
    assert switch.run("") == pcsim.Answer("", None, "")


def test_output_comes_as_it_is_printed(switch):
    heard = []
    answer = switch.run("show ports", output=heard.append)
    assert answer.text == "" and "".join(heard) == switch.run("show ports").text
    assert answer.data == switch.show("ports")


def test_values_stay_what_they_are(switch):
    for text in ("two  words", "#hash", "$HOME", "$$", "a|b", "a>b", "?", "it's", "Gerät", "-x",
                 "${x}", "a;b", "\\n", "within"):
        with pytest.raises(pcsim.ExpectationFailed) as failed:
            switch.expect_event(text)
        assert failed.value.message.endswith(f'no event "{text}"')


def test_files_are_ours(switch, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    (tmp_path / "routes of mine.txt").write_text("10.2.0.0/16\n")
    assert switch.routes.load("routes of mine.txt")
    assert [route.prefix for route in switch.routes.entries()] == ["10.2.0.0/16"]


def test_a_batch_stops_at_the_first_error(switch):
    lines = ["vlan create 10", "nonsense", "vlan create 20"]
    with pytest.raises(pcsim.UsageError) as failed:
        switch.batch(lines)
    assert failed.value.line == "nonsense"
    assert [vlan.vlan for vlan in switch.vlans()] == [10]
    answers = switch.batch(lines[1:], keep_going=True)
    assert isinstance(answers[0].error, pcsim.UsageError) and answers[1].error is None
    assert [vlan.vlan for vlan in switch.vlans()] == [10, 20]
    with pytest.raises(ValueError, match="run several lines with batch"):
        switch.batch(["a\nb"])


def test_expectations(switch):
    switch.expect("show port 1:1", "link is up and admin is enabled")
    with pytest.raises(AssertionError, match="expected .*, but link is up") as failed:
        switch.expect("show port 1:1", "link is down")
    assert isinstance(failed.value, pcsim.ExpectationFailed)
    switch.port("1:1").disable()
    switch.wait("show ports", "1:1.link is down", within=2)
    switch.expect_event("Port 1:1 link down")
    switch.expect_no_event("Port 1:1 link down")


def test_threads_share_a_switch():
    with pcsim.Switch() as switch:
        results = []

        def ask(number):
            for count in range(50):
                results.append(switch.run(f"echo {number} {count}").text == f"{number} {count}\n")
        threads = [threading.Thread(target=ask, args=(number,)) for number in range(8)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(60)
        assert results == [True] * 400


def test_another_thread_interrupts():
    with pcsim.Switch() as switch:
        timer = threading.Timer(0.2, switch.interrupt)
        timer.start()
        with pytest.raises(pcsim.Interrupted, match="interrupted"):
            switch.time.sleep(60_000)
        timer.join()
        assert switch.interrupt() is False


def test_a_timeout_interrupts_the_line():
    with pcsim.Switch(timeout=0.2) as switch:
        with pytest.raises(TimeoutError, match="no answer within 0.2 s"):
            switch.time.sleep(60_000)
        assert switch.run("echo on").text == "on\n"


def test_control_c_interrupts_the_line():
    with pcsim.Switch() as switch:
        main = threading.main_thread().ident
        threading.Timer(0.2, signal.pthread_kill, (main, signal.SIGINT)).start()
        with pytest.raises(KeyboardInterrupt):
            switch.time.sleep(60_000)
        assert switch.run("echo on").text == "on\n"
