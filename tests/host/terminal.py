#!/usr/bin/env python3
"""pcsim at a terminal: everything printed arrives, Ctrl-C, signals. usage: terminal.py PCSIM"""
import fcntl
import os
import pty
import re
import select
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import time

PROMPT = "pcsim> "
TIMEOUT = 20
failures = []


def check(good, what):
    if not good:
        failures.append(what)


class Terminal:
    """pcsim on a terminal of its own, which it shares with this program."""

    def __init__(self, home, variables=None):
        self.screen, self.terminal = pty.openpty()
        self.pending = ""  # printed, not yet looked at

        def take():
            os.setsid()
            fcntl.ioctl(0, termios.TIOCSCTTY, 0)

        environment = dict(os.environ, HOME=home, TERM="dumb", COLUMNS="80", LINES="24",
                           PCSIM_PAGER="")
        environment.update(variables or {})
        self.pcsim = subprocess.Popen(
            [sys.argv[1], "--lab", "4", "--quiet"], stdin=self.terminal, stdout=self.terminal,
            stderr=self.terminal, preexec_fn=take, env=environment)
        self.until(PROMPT)

    def send(self, text):
        os.write(self.screen, text.encode())

    def until(self, wanted):
        """What is printed up to 'wanted'."""
        end = time.monotonic() + TIMEOUT
        while wanted not in self.pending:
            if not select.select([self.screen], [], [], max(0, end - time.monotonic()))[0]:
                failures.append(
                    f"waited in vain for {wanted!r}; the last was {self.pending[-300:]!r}")
                return ""
            self.pending += os.read(self.screen, 512).decode(errors="replace")
        text, found, self.pending = self.pending.partition(wanted)
        return text + found

    def rest(self):
        """What else is printed, when nothing more can come."""
        while select.select([self.screen], [], [], 0)[0]:
            self.pending += os.read(self.screen, 512).decode(errors="replace")
        return self.pending

    def status(self):
        try:
            return self.pcsim.wait(TIMEOUT)
        except subprocess.TimeoutExpired:
            self.pcsim.kill()
            return "none: it hangs"


def everything_arrives(terminal):
    terminal.send("show family\n")
    time.sleep(0.5)  # the terminal's buffer is full by now
    text = terminal.until("words are filled")
    last = re.search(r"of (\d+) words", text)
    terminal.until(PROMPT)
    rows = re.findall(r"^ +\d+  \S+ +\S+ +(?:null|filled)\r?$", text, re.MULTILINE)
    check(last and len(rows) == int(last[1]), f"{len(rows)} rows arrived of {last and last[1]}")
    for descriptor in (terminal.terminal, terminal.screen):
        check(os.get_blocking(descriptor), "the terminal was left non-blocking")


def typed_line_is_dropped(terminal):
    terminal.send("frobnicate now")
    terminal.until("frobnicate now")
    terminal.send("\x03")
    terminal.until(PROMPT)
    terminal.send("echo and so on\n")
    text = terminal.until("\nand so on") + terminal.until(PROMPT)
    check("not a verb" not in text, "Ctrl-C left the typed line")


def names_are_completed(terminal):
    """Operations, so that nobody types them whole."""
    terminal.send("fault pcSimFanReadT\t")
    terminal.until("pcSimFanReadTemp ")
    terminal.send("whe\tslot 2\n")
    terminal.until(PROMPT)
    terminal.send("show faults\n")
    terminal.until("where slot 2")
    terminal.until(PROMPT)


def words_may_be_beginnings(terminal):
    terminal.send("sh po\n")
    terminal.until("Front panel")
    terminal.until(PROMPT)


def question_needs_no_enter(terminal):
    """What may follow is listed as soon as '?' is typed, and the line goes on."""
    terminal.send("port 1:2 ?")
    terminal.until("enable   administrative state")
    terminal.until(PROMPT + "port 1:2 ")
    terminal.send("dis?")
    terminal.until("disable  administrative state")
    terminal.until(PROMPT + "port 1:2 dis")
    terminal.send("\n")
    terminal.until(PROMPT)
    terminal.send("show port 1:2\n")
    terminal.until("Admin              disabled")
    terminal.until(PROMPT)
    terminal.send('echo "what?" why?\n')
    terminal.until("\nwhat? why?")
    terminal.until(PROMPT)


def empty_line_gives_a_hint(terminal):
    terminal.send("\x03")
    terminal.until("'quit' or Ctrl-D ends")
    terminal.until(PROMPT)


def block_is_collected(terminal):
    """Its lines run at its end; Ctrl-C gives them up."""
    terminal.send("repeat 2\n")
    terminal.until("...> ")
    terminal.send("echo turn $n\n")
    terminal.until("...> ")
    terminal.send("end\n")
    terminal.until("\nturn 1")
    terminal.until("\nturn 2")
    terminal.until(PROMPT)
    terminal.send("repeat 2\n")
    terminal.until("...> ")
    terminal.send("\x03")
    terminal.until(PROMPT)
    terminal.send("echo no block\n")
    terminal.until("\nno block")
    terminal.until(PROMPT)


def command_is_interrupted(terminal):
    for command in ("sleep 60000", 'wait event "never" within 60000'):
        terminal.send(command + "\n")
        terminal.until(command)
        time.sleep(0.5)
        terminal.send("\x03")
        terminal.until("error: interrupted")
        terminal.until(PROMPT)
    terminal.send("echo still here\n")
    terminal.until("\nstill here")
    terminal.until(PROMPT)


def everything_fits(terminal):
    """At any width; what fits is not cut, and nothing folds that needn't."""
    row = re.compile(r"^  1:1   eth1  +enabled  +up  +100  full    pause  +1$", re.MULTILINE)
    for columns in (40, 80, 200):
        fcntl.ioctl(terminal.terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        for command in ("show ports", "show slots", "show events", "help", "?"):
            terminal.send(f"{command}\necho .end.\n")
            text = terminal.until("\n.end.").replace("\r", "")
            terminal.until(PROMPT)
            lines = [line for line in text.split("\n")[1:] if not line.startswith(PROMPT)]
            longest = max(lines, key=len)
            check(len(longest) <= columns, f"'{command}' at {columns} columns: {longest!r}")
            if command == "show ports":
                folded = "  Port       1:1\n" in text
                check(folded == (columns == 40) and bool(row.search(text)) != folded,
                      f"the front panel at {columns} columns: {text!r}")
            check(columns != 200 or "cut to fit" not in text, f"'{command}' is cut: {text!r}")


def colours_are_for_terminals_that_have_them(folder):
    for name, variables, wanted in (
            ("xterm", {"TERM": "xterm", "NO_COLOR": ""}, True),
            ("NO_COLOR", {"TERM": "xterm", "NO_COLOR": "1"}, False),
            ("dumb", {"TERM": "dumb", "NO_COLOR": ""}, False)):
        session = Terminal(folder, variables)
        session.send("show ports\n")
        text = session.until("Management")
        check(("\x1b[32mup\x1b[0m" in text) == wanted, f"colours with {name}: {text!r}")
        session.send("nonsense\n")
        text = session.until("lists them all")
        check(("\x1b[31merror: " in text) == wanted, f"an error with {name}: {text!r}")
        session.send("exit\n")
        check(session.status() == 0, f"with {name} the status is not 0")


def paging(folder, pager, rows=12):
    """A prompt on a small screen."""
    session = Terminal(folder, {"PCSIM_PAGER": pager, "TERM": "xterm"})
    fcntl.ioctl(session.terminal, termios.TIOCSWINSZ, struct.pack("HHHH", rows, 80, 0, 0))
    return session


def long_reports_are_paged(folder):
    session = paging(folder, "sed s/^/paged:/")
    session.send("help\n")
    text = session.until(PROMPT)
    check("\npaged:  help " in text and "\n  help " not in text, f"help isn't paged: {text[-500:]!r}")
    session.send("show trunks\n")
    text = session.until(PROMPT)
    check("Trunks" in text and "paged:" not in text, f"what fits the screen is paged: {text!r}")
    session.send("exit\n")
    check(session.status() == 0, "after a pager the status is not 0")


def time_goes_on_while_a_page_is_read(folder):
    """What happens meanwhile is told behind the page, and Ctrl-C is the pager's."""
    session = paging(folder, "trap 'echo -caught-' INT; cat >/dev/null; sleep 3; echo -read-")
    session.send("events on\ncable 1 pull\nhelp\n")
    time.sleep(1)
    session.send("\x03")
    text = session.until("Port 1:1 link down")
    check("-caught-" in text and "-read-" in text, f"the event is not behind the page: {text!r}")
    session.until(PROMPT)
    session.send("exit\n")
    check(session.status() == 0, "after Ctrl-C in a pager the status is not 0")


def less_pages(folder):
    session = paging(folder, "less -X")
    session.send("help\n")
    session.until("help about")
    session.until("\x1b[K")
    session.send("q")
    session.until(PROMPT)
    session.send("exit\n")
    check(session.status() == 0, "after less the status is not 0")


def prompt_tells_of_a_stopped_clock(terminal):
    terminal.send("time stop\n")
    terminal.until("pcsim (stopped ")
    terminal.send("time run\n")
    terminal.until(PROMPT)


def history_is_kept(folder):
    """Of both prompts, each line as it was typed, no line twice in a row."""
    sessions = [Terminal(folder), Terminal(folder)]
    for line in ("echo one", "echo one", "echo two"):
        for session in sessions:
            session.send(line + "\n")
            session.until("\n" + line[5:])
            session.until(PROMPT)
    for session in sessions:
        session.send("\x10\x10\n")  # Ctrl-P twice: the line before the last
        session.until("\none")
        session.until(PROMPT)
        session.send("exit\n")
        check(session.status() == 0, "a prompt beside another did not end with 0")
    with open(os.path.join(folder, ".pcsim_history"), encoding="utf-8") as file:
        lines = file.read().split("\n")
    typed = ["echo one"] * 2 + ["echo two"] * 2 + ["echo one", "exit"] * 2
    check(lines[-9:-1] == typed, f"the history ends in {lines[-9:]!r}, not {typed!r}")


def end_leaves_no_prompt(folder):
    for way in ("quit\n", "exit 0\n", "shutdown\n", "\x04"):
        session = Terminal(folder)
        session.send(way)
        check(session.status() == 0, f"after {way!r} the status is not 0")
        text = session.rest()
        check(PROMPT not in text, f"after {way!r} a prompt is left: {text!r}")
        check(text.endswith("\r\n"), f"after {way!r} the line is not ended: {text!r}")


def no_home_is_no_error():
    for home in ("/nowhere", ""):
        session = Terminal(home)
        session.send("echo one\n")
        text = session.until("\none") + session.until(PROMPT)
        check("error" not in text, f"with the home {home!r}: {text!r}")
        session.send("exit\n")
        check(session.status() == 0, f"with the home {home!r} the status is not 0")


def prompt_comes_back_after_a_stop(terminal):
    terminal.pcsim.send_signal(signal.SIGSTOP)
    os.waitpid(terminal.pcsim.pid, os.WUNTRACED)
    modes = termios.tcgetattr(terminal.terminal)
    modes[3] |= termios.ICANON | termios.ECHO  # as a shell leaves it
    termios.tcsetattr(terminal.terminal, termios.TCSANOW, modes)
    terminal.pcsim.send_signal(signal.SIGCONT)
    terminal.until(PROMPT)
    modes = termios.tcgetattr(terminal.terminal)
    check(not modes[3] & termios.ICANON, "after a stop the prompt has no line editing")


def errors_wrap_at_words(terminal):
    fcntl.ioctl(terminal.terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 40, 0, 0))
    terminal.send("port 1:1 explode\n")
    lines = terminal.until(PROMPT).replace("\r", "").split("\n")
    start = next((i for i, line in enumerate(lines) if line.startswith("error: ")), None)
    check(start is not None, f"no error on the screen: {lines!r}")
    shown = [line for line in lines[start or 0:] if line and line != PROMPT]
    check(len(shown) > 1 and all(len(line) <= 40 for line in shown), f"not wrapped: {shown!r}")
    check(" ".join(line.strip() for line in shown) ==
          "error: 'explode' is not known after 'port 1:1'; expected enable|disable|restart, autoneg",
          f"words were broken: {shown!r}")


with tempfile.TemporaryDirectory() as folder:
    session = Terminal(folder)
    everything_arrives(session)
    typed_line_is_dropped(session)
    names_are_completed(session)
    words_may_be_beginnings(session)
    question_needs_no_enter(session)
    empty_line_gives_a_hint(session)
    block_is_collected(session)
    command_is_interrupted(session)
    prompt_comes_back_after_a_stop(session)
    prompt_tells_of_a_stopped_clock(session)
    everything_fits(session)
    errors_wrap_at_words(session)
    session.send("exit\n")
    check(session.status() == 0, "'exit' did not end the session with 0")

    session = Terminal(folder)
    session.pcsim.send_signal(signal.SIGTERM)
    session.until("pcsim: interrupted")
    status = session.status()
    check(status == 1, f"SIGTERM at the prompt: status {status}, not 1")

    long_reports_are_paged(folder)
    time_goes_on_while_a_page_is_read(folder)
    less_pages(folder)
    history_is_kept(folder)
    end_leaves_no_prompt(folder)
    no_home_is_no_error()
    colours_are_for_terminals_that_have_them(folder)

for failure in failures:
    print("FAILED:", failure)
sys.exit(1 if failures else 0)
