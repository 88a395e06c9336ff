#!/usr/bin/env python3
"""pcsimctl against running instances: ctl_test.py PCSIM [CASE...]"""
import json
import os
import pty
import select
import signal
import subprocess
import time

from client import PATIENCE, Instance, Place, equal, run_cases, until


def ctl(place: Place, *words: str, given: str = "", cwd: str | None = None) -> tuple[int, str, str]:
    """Status, output and errors of pcsimctl."""
    program = os.path.join(os.path.dirname(place.pcsim), "pcsimctl")
    done = subprocess.run([program, *words], input=given, capture_output=True, text=True,
                          timeout=PATIENCE, check=False, cwd=cwd)
    return done.returncode, done.stdout, done.stderr


def test_list(place: Place) -> None:
    equal(ctl(place), (0, "Instances\n  none runs; 'pcsim' starts one\n", ""))
    equal(ctl(place, "one"),
          (1, "", "error: there is no instance 'one'; none runs, 'pcsim' starts one\n"))
    with place.one() as first, Instance(place.pcsim, place.folder, "other"):
        rows = json.loads(ctl(place, "--json")[1])["instances"]
        equal([row["name"] for row in rows], ["one", "other"])
        equal({key: rows[0][key] for key in ("pid", "shape", "timeMs", "ports", "portsUp")},
              {"pid": first.process.pid, "shape": "stack", "timeMs": 0, "ports": 2, "portsUp": 2})
        equal(ctl(place, "--names"), (0, "one\nother\n", ""))
        equal(ctl(place)[1].splitlines()[1].split(),
              ["Name", "Process", "Shape", "Clock", "Up", "Ports", "Up"])
        # The beginning of a name will do when it is one's alone.
        equal(ctl(place, "ot", "echo", "x"), (0, "x\n", ""))
        equal(ctl(place, "o", "echo"),
              (1, "", "error: 'o' begins several instances; there are one, other\n"))
        equal(ctl(place, "two"), (1, "", "error: there is no instance 'two'; there are one, other\n"))
        equal(ctl(place, "--frob")[0], 2)
        # A dead one's socket is passed over.
        first.process.kill()
        equal(first.process.wait(), -signal.SIGKILL)
        first.process.returncode = 0
        equal(ctl(place, "--names"), (0, "other\n", ""))


def test_one_line(place: Place) -> None:
    with place.one() as instance:
        shown = instance.client().run("show ports")
        equal(ctl(place, "one", "show", "ports"), (0, shown["text"], ""))
        equal(ctl(place, "one", "show ports"), (0, shown["text"], ""))
        equal(json.loads(ctl(place, "one", "show", "ports", "--json")[1]), shown["data"])
        equal(json.loads(ctl(place, "--json", "one", "show", "ports")[1]),
              {"command": "show ports", "data": shown["data"]})
        equal(ctl(place, "one", "show", "port", "1:9"),
              (1, "", "error: port 1:9 does not exist; ports are 1:1 to 1:2\n"))
        status, out, _ = ctl(place, "--json", "one", "show", "port", "1:9")
        equal((status, json.loads(out)), (1, {"command": "show port 1:9", "error": {
            "code": 1, "message": "port 1:9 does not exist; ports are 1:1 to 1:2",
            "right": "ports are 1:1 to 1:2"}}))
        # Words of the shell stay words of the line.
        equal(ctl(place, "one", "echo", "a  b", "#", "")[1], "a  b # \n")
        equal(ctl(place, "one", "expect", "event", "Port 1:2 link up"), (0, "", ""))
        equal(ctl(place, "one", "echo", 'a"b')[2],
              "error: the word 'a\"b' has a quote in it; expected the whole line as one word\n")
        # Names of files are the caller's.
        with open(f"{place.folder}/script", "w", encoding="utf-8") as script:
            script.write("echo from a script\n")
        equal(ctl(place, "one", "include", "script", cwd=place.folder), (0, "from a script\n", ""))
        os.unlink(f"{place.folder}/script")


def test_script(place: Place) -> None:
    with place.one():
        equal(ctl(place, "one", given="repeat 2\necho a\nend\necho b"), (0, "a\na\nb\n", ""))
        equal(ctl(place, "one", given="echo a\nfrob\necho b\n"),
              (1, "a\n", "error: standard input:2: 'frob' is not a verb; 'help' lists them all\n"))
        lines = [json.loads(line) for line in
                 ctl(place, "--json", "one", given="echo a\nshow vlans\n")[1].splitlines()]
        equal([line["command"] for line in lines], ["echo a", "show vlans"])


def test_events(place: Place) -> None:
    with place.one() as instance:
        past = ctl(place, "one", "events", "about", "1:2 link up")[1].splitlines()
        assert past[-1].endswith("Port 1:2 link up, 100 Mbps full, pause"), past
        program = os.path.join(os.path.dirname(place.pcsim), "pcsimctl")
        for options, seen in (([], "[    0.000] port      Port 1:2 link down (disabled)\n"),
                              (["--json"], None)):
            following = subprocess.Popen(
                [program, "one", "events", "--follow", *options, "about", "1:2"],
                stdout=subprocess.PIPE, text=True)
            time.sleep(0.3)
            client = instance.client()
            client.run("port 1:2 disable")
            assert following.stdout is not None
            line = following.stdout.readline()
            if seen is not None:
                equal(line, seen)
            else:
                equal(json.loads(line)["text"], "Port 1:2 link down (disabled)")
            following.send_signal(signal.SIGINT)
            equal(following.wait(PATIENCE), 0)
            client.run("port 1:2 enable")
            client.run("time run")
            client.run('wait show port 1:2 -- link is up within 5000')
            client.run("time stop")
            following.stdout.close()


def test_watch(place: Place) -> None:
    with place.one():
        program = os.path.join(os.path.dirname(place.pcsim), "pcsimctl")
        watching = subprocess.Popen([program, "one", "watch", "50", "echo", "again"],
                                    stdout=subprocess.PIPE, text=True)
        assert watching.stdout is not None
        equal([watching.stdout.readline() for _ in range(5)],
              ["again\n", "\n", "again\n", "\n", "again\n"])
        watching.send_signal(signal.SIGINT)
        equal(watching.wait(PATIENCE), 0)
        watching.stdout.close()
        equal(ctl(place, "one", "watch", "50")[2],
              "error: 'watch' is not complete; expected watch MS LINE\n")


def test_interrupt(place: Place) -> None:
    with place.one() as instance:
        instance.client().run("time run")
        program = os.path.join(os.path.dirname(place.pcsim), "pcsimctl")
        sleeping = subprocess.Popen([program, "one", "sleep", "1000000"], stderr=subprocess.PIPE,
                                    text=True)
        time.sleep(0.3)
        sleeping.send_signal(signal.SIGINT)
        equal((sleeping.communicate(timeout=PATIENCE)[1], sleeping.returncode),
              ("error: interrupted\n", 1))
        equal(instance.client().run("echo x")["text"], "x\n")


def test_completion(place: Place) -> None:
    with place.one():
        equal(sorted(ctl(place, "one", "--complete", "show", "por")[1].split()), ["port", "ports"])
        equal(ctl(place, "one", "--complete", "show", "port", "")[1], "1:1\n1:2\n")


class Terminal:
    """pcsimctl at a terminal."""

    def __init__(self, place: Place, *words: str) -> None:
        program = os.path.join(os.path.dirname(place.pcsim), "pcsimctl")
        self.pid, self.terminal = pty.fork()
        if self.pid == 0:
            os.environ |= {"TERM": "dumb", "HOME": place.folder}
            os.execv(program, [program, *words])
        self.seen = ""

    def type(self, text: str) -> None:
        os.write(self.terminal, text.encode())

    def sees(self, text: str) -> bool:
        while select.select([self.terminal], [], [], 0.05)[0]:
            try:
                self.seen += os.read(self.terminal, 65536).decode()
            except OSError:
                break
        return text in self.seen

    def end(self) -> None:
        until(lambda: os.waitpid(self.pid, os.WNOHANG)[0] != 0)
        os.close(self.terminal)


def test_prompt(place: Place) -> None:
    with place.one() as instance:
        other = instance.client()
        terminal = Terminal(place, "one")
        until(lambda: terminal.sees("one (stopped 0.000)> "))
        terminal.type("echo typed\r")
        until(lambda: terminal.sees("\ntyped\r\n"))
        terminal.type("show port 1:9\r")
        until(lambda: terminal.sees("error: port 1:9 does not exist; ports are 1:1 to 1:2\r\n"))
        terminal.type("repeat 2\r")
        until(lambda: terminal.sees("...> "))
        terminal.type("echo twice\rend\r")
        until(lambda: terminal.sees("\ntwice\r\ntwice\r\n"))
        terminal.type("show por?")
        until(lambda: terminal.sees("the front panel"))
        terminal.type("t\t 1:2\r")
        until(lambda: terminal.sees("Port 1:2"))
        # What happens meanwhile is told.
        other.run("port 1:2 disable")
        until(lambda: terminal.sees("Port 1:2 link down (disabled)"))
        # Ctrl-C ends what runs, and the prompt goes on.
        other.run("time run")
        terminal.type("sleep 1000000\r")
        time.sleep(0.3)
        terminal.type("\x03")
        until(lambda: terminal.sees("error: interrupted"))
        terminal.type("echo after\r")
        until(lambda: terminal.sees("\nafter\r\n"))
        terminal.type("quit\r")
        terminal.end()
        equal(other.run("echo still here")["text"], "still here\n")
    os.unlink(f"{place.folder}/.pcsim_history")


if __name__ == "__main__":
    run_cases(globals())
