"""pcsim-web as a program: its options, how it starts and ends, and ./run --web."""
import asyncio
import os
import re
import signal
import subprocess
import sys
import time
from pathlib import Path

import pytest
from aiohttp.test_utils import make_mocked_request
from pcsim.version import told
from pcsim_web.gate import gate

from gateway import END_S, PYTHON, TOKEN, Gateway, command, environment, run

ROOT = PYTHON.parent
IPV6 = Path("/proc/net/if_inet6")


def test_the_version_is_that_of_the_package():
    assert run("--version") == (0, f"{told('pcsim-web')}\n", "")


def test_help():
    status, said, errors = run("--help")
    assert (status, errors) == (0, "")
    for option in ("NAME", "--bind", "--port", "--host", "--token", "--read-only"):
        assert option in said


def test_without_its_other_package(run_folder):
    """Help is there all the same, and what is missing is said in one line."""
    words = [sys.executable, "-S", *command()[1:]]
    said = subprocess.run([*words, "--help"], capture_output=True, text=True, check=True,
                          env=environment())
    assert "--read-only" in said.stdout
    said = subprocess.run(words, capture_output=True, text=True, check=False, env=environment())
    assert (said.returncode, said.stderr) == (
        1, "pcsim-web: the Python package aiohttp is missing; install python3-aiohttp, or "
           "pcsim[web] by pip\n")


@pytest.mark.parametrize("options, text", (
    (["--port", "70000"], "argument --port: '70000' is no port; expected 0 to 65535"),
    (["--port", "http"], "'http' is no port; expected 0 to 65535"),
    (["--port", "-1"], "argument --port"),
    (["--token", "short"], "this is no token; expected 16 to 128 letters, digits, '_' and '-'"),
    (["--token", "with/slashes/in/it/x"], "this is no token"),
    (["--readonly"], "unrecognized arguments: --readonly"),
    (["--read"], "unrecognized arguments: --read"),
    (["a/b"], "'a/b' is no name of an instance; expected letters, digits, '.', '_' and '-'"),
    (["ok", ""], "'' is no name of an instance"),
    (["x" * 65], "is no name of an instance"),
))
def test_bad_options(options, text):
    status, said, errors = run(*options)
    assert (status, said) == (2, "")
    assert errors.startswith("pcsim-web: ") and errors.count("\n") == 1 and text in errors


@pytest.mark.parametrize("options, text", (
    (["--bind", "192.0.2.1", "--port", "0"], "expected an address of this machine for --bind"),
    (["--bind", "no.such.host.example", "--port", "0"], "expected an address of this machine"),
    (["--bind", "", "--port", "0"], "'' is no address; expected one like 127.0.0.1 or ::1"),
    (["--bind", "::zz", "--port", "0"], "expected an address of this machine"),
))
def test_addresses_that_cannot_be_listened_on(options, text):
    status, said, errors = run(*options)
    assert (status, said) in ((1, ""), (2, ""))
    assert errors.startswith("pcsim-web: ") and errors.count("\n") == 1 and text in errors


def test_a_port_that_is_taken(gateway):
    status, said, errors = run("--port", str(gateway.port))
    assert (status, said) == (1, "")
    assert errors == (f"pcsim-web: 127.0.0.1 port {gateway.port} can't be listened on: Address "
                      "already in use; expected another --port\n")


@pytest.mark.parametrize("number", (signal.SIGTERM, signal.SIGINT))
def test_signals_end_it_with_0(start, join, number):
    gateway = start()
    page = join(gateway)
    page.told("hello")
    assert gateway.end(number) == 0
    while page.receive() is not None:
        pass
    assert page.closed_with == 1001
    # Its port is free at once.
    assert start(port=gateway.port).ask()[0] == 200


def test_several_signals_are_one(start, join):
    gateway = start()
    join(gateway).told("hello")
    for _ in range(50):
        gateway.process.send_signal(signal.SIGINT)
        gateway.process.send_signal(signal.SIGTERM)
        time.sleep(0.002)
    assert gateway.end(signal.SIGTERM) == 0


def test_without_a_token_it_makes_one(run_folder):
    seen = set()
    for _ in range(2):
        with subprocess.Popen([sys.executable, "-m", "pcsim_web", "--port", "0"], text=True,
                              stdout=subprocess.PIPE,
                              env={**os.environ, "PYTHONPATH": str(PYTHON)}) as process:
            address = process.stdout.readline()
            process.terminate()
        match = re.fullmatch(r"http://127\.0\.0\.1:(\d+)/([A-Za-z0-9_-]{24})/\n", address)
        assert match, address
        seen.add(match[2])
    assert len(seen) == 2


@pytest.mark.skipif("not IPV6.exists() or '00000000000000000000000000000001' not in "
                    "IPV6.read_text()", reason="this machine has no ::1")
def test_the_other_loopback_address(start):
    gateway = start("--bind", "::1")
    assert re.fullmatch(rf"http://\[::1\]:\d+/{TOKEN}/", gateway.address)
    assert gateway.ask(Host=gateway.host)[0] == 200
    assert gateway.ask(Host="evil.example")[0] == 403


def test_it_listens_on_this_machine_alone(gateway):
    with open(f"/proc/{gateway.process.pid}/net/tcp", encoding="ascii") as table:
        listening = [line.split()[1] for line in table
                     if line.split()[3] == "0A" and line.split()[1].endswith(f"{gateway.port:04X}")]
    assert listening == [f"0100007F:{gateway.port:04X}"]


def test_all_addresses_when_told_so(start):
    gateway = start("--bind", "0.0.0.0")
    assert gateway.address == f"http://127.0.0.1:{gateway.port}/{TOKEN}/"
    assert gateway.ask()[0] == 200


def test_a_folder_of_sockets_that_is_not_there(tmp_path, monkeypatch, start, join):
    monkeypatch.setenv("PCSIM_RUN_DIR", str(tmp_path / "nowhere"))
    assert join(start()).told("instances")["instances"] == []


def test_it_works_behind_a_link(tmp_path, run_folder):
    (tmp_path / "python").symlink_to(PYTHON)
    with subprocess.Popen([sys.executable, "-m", "pcsim_web", "--port", "0", "--token", TOKEN],
                          stdout=subprocess.PIPE, text=True,
                          env={**os.environ, "PYTHONPATH": str(tmp_path / "python")}) as process:
        gateway = Gateway()
        gateway.address = process.stdout.readline().strip()
        assert gateway.ask()[0] == 200
        process.terminate()


def test_a_mistake_of_ours_is_one_line(caplog):

    async def mistaken(_):
        raise KeyError("secret")
    request = make_mocked_request("GET", f"/{TOKEN}/", headers={"Host": "localhost"})
    answer = asyncio.run(gate(TOKEN, {"localhost"})(request, mistaken))
    assert (answer.status, answer.text) == (
        500, "pcsim-web: it has made a mistake, which it has logged\n")
    assert "KeyError" in caplog.text


# --- ./run --web -----------------------------------------------------------------------------------

@pytest.fixture(name="web")
def run_web(run_folder):
    """Starts what ./run --web is behind building, with the built programs."""
    started = []

    def start(*options):
        process = subprocess.Popen(
            [ROOT / "tools" / "run-web", Path(os.environ["PCSIM"]).resolve().parent, *options],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
            process_group=0)
        started.append(process)
        return process
    yield start
    for process in started:
        if process.poll() is None:
            os.killpg(process.pid, signal.SIGKILL)
        process.communicate()


def address_of(process):
    """The address that it prints."""
    for line in process.stdout:
        if match := re.search(r"http://(\S+?):(\d+)/([\w-]+)/(?:#(\S+))?", line):
            gateway = Gateway(token=match[3])
            gateway.address = match[0]
            return gateway, match[4]
    raise AssertionError(process.stderr.read())


@pytest.mark.usefixtures("lab")
@pytest.mark.parametrize("number, group", ((signal.SIGINT, True), (signal.SIGTERM, False)))
def test_switch_and_page_start_and_end_together(web, join, run_folder, number, group):
    process = web("--shape", "chassis", "--stopped", "--lab", "4")
    gateway, name = address_of(process)
    page = join(gateway)
    assert page.instance(name)["shape"] == "chassis"
    assert page.ask("run", instance=name, line="show chassis")["data"]
    if group:
        os.killpg(process.pid, number)
    else:
        process.send_signal(number)
    assert process.wait(END_S) == 0
    assert process.stderr.read() == ""
    assert not (run_folder / f"{name}.sock").exists()
    with pytest.raises(OSError):
        gateway.ask()


@pytest.mark.usefixtures("lab")
def test_two_of_them_beside_each_other(web):
    names = {address_of(web())[1] for _ in range(2)}
    assert len(names) == 2


@pytest.mark.usefixtures("lab")
def test_the_name_may_be_given(web):
    assert address_of(web("--name", "mine", "--lab", "2"))[1] == "mine"


def test_options_that_pcsim_refuses(web):
    process = web("--lab", "many")
    said, errors = process.communicate(timeout=END_S)
    assert process.returncode == 2 and "http" not in said
    assert "--lab" in errors and "Traceback" not in errors


@pytest.mark.usefixtures("lab")
def test_a_switch_that_ends_leaves_the_page(web, join):
    gateway, name = address_of(web())
    page = join(gateway)
    page.instance(name)
    page.answer(page.start("run", instance=name, line="shutdown"))
    page.instance(name, alive=False)
    time.sleep(0.2)
    assert gateway.ask()[0] == 200
