"""What the end of a run means."""
import signal

import pytest
from pcsim.campaign.outcome import judge
from pcsim.campaign.runs import Outcome

BEGUN = "[    0.000] lab       eth0 to eth4 are cabled\n"
LINES = BEGUN + "pcsim> show ports\nPorts\npcsim> time warp 100\n"
SANITIZER = "==123==ERROR: AddressSanitizer: heap-use-after-free on address 0x1 at pc 0x2\n"


@pytest.mark.parametrize("status, output, errors, expected", [
    (0, LINES, "", (Outcome.PASSED, "")),
    (0, LINES, "pcsim: a warning\n", (Outcome.PASSED, "")),
    (1, LINES, "pcsim: a.pcsim:4: expected this\npcsim: a.pcsim:6: and that\n",
     (Outcome.FAILED, "a.pcsim:4: expected this")),
    (1, BEGUN, "pcsim: platformSystemInit returned -1; expected 0\n",
     (Outcome.FAILED, "platformSystemInit returned -1; expected 0")),
    (3, LINES, "", (Outcome.FAILED, "ended with status 3")),
    (3, LINES, "\n  what a library says\n", (Outcome.FAILED, "what a library says")),
    (1, "", "pcsim: /dev/stdin:1: no operation\n", (Outcome.REFUSED, "/dev/stdin:1: no operation")),
    (2, "", "pcsim: no option\n", (Outcome.REFUSED, "no option")),
    (127, "", "setpriv: failed to execute\n", (Outcome.REFUSED, "setpriv: failed to execute")),
    (1, "[0.000] laboratory\n", "", (Outcome.REFUSED, "ended with status 1")),
    (-signal.SIGSEGV, LINES, "",
     (Outcome.CRASHED, "killed by signal 11 (Segmentation fault) in 'time warp 100'")),
    (-signal.SIGILL, "", "pcsim: said before\n",
     (Outcome.CRASHED, "killed by signal 4 (Illegal instruction)")),
    (1, LINES, SANITIZER + "pcsim: more\n",
     (Outcome.CRASHED, "AddressSanitizer: heap-use-after-free on address 0x1 at pc 0x2 "
                       "in 'time warp 100'")),
    (1, BEGUN, "a/b.cpp:3:5: runtime error: shift exponent 40\n",
     (Outcome.CRASHED, "runtime error: shift exponent 40")),
    (None, LINES, "", (Outcome.TIMEOUT, "still running after 2.5 s in 'time warp 100'")),
    (None, "", "", (Outcome.TIMEOUT, "still running after 2.5 s")),
])
def test_the_end_of_a_run_is_judged(status, output, errors, expected):
    assert judge(status, output, errors, 2.5) == expected
