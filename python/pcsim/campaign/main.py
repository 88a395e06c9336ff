"""The program pcsim-campaign."""
from __future__ import annotations

import os
import signal
import sys
from pathlib import Path
from typing import Any, Sequence

from ..errors import Error
from ..version import told
from . import options
from .campaign import Campaign
from .problems import CampaignError
from .progress import Progress
from .reports import begin_report, write_report
from .results import Results
from .runs import Key
from .tables import report

PASSED, NOT_PASSED, BAD_OPTIONS = 0, 1, 2
INTERRUPTED = 128 + signal.SIGINT


def campaign_of(given: Any, pcsim_options: Sequence[str]) -> Campaign:
    """What the command line asks for."""
    return Campaign(
        given.scenario, faults=given.faults or (), seeds=given.seeds, shapes=given.shapes,
        libraries=given.library, out=given.out, jobs=given.jobs, scheduler=given.scheduler,
        timeout=given.timeout, ports=given.ports, definitions=dict(given.define),
        options=pcsim_options, needs=given.needs, program=given.pcsim, base=not given.no_base,
        resume=given.resume, fail_fast=given.fail_fast)


def run(campaign: Campaign, given: Any) -> int:
    """Runs a campaign and says what has become of it."""
    for form, path in given.report:
        begin_report(form, Path(path))
    progress = Progress()
    try:
        if given.quiet:
            summary = campaign.run()
        else:
            summary = campaign.run(each=progress.add, begin=progress.begin)
    finally:
        progress.end()
    with Results(campaign.path) as results:
        print(report(results), flush=True)
        for form, path in given.report:
            write_report(form, Path(path), results)
    left = summary.total - summary.ended
    if left:
        print(f"{left} runs are left; --resume goes on with them")
    return PASSED if summary.passed else NOT_PASSED


def show(given: Any) -> int:
    """Prints what a file has: its table and all failures, or the log of a run."""
    with Results(given.show) as results:
        if given.log is None:
            print(report(results, None), flush=True)
            return PASSED
        key = key_of(given.log, results)
        print(next(result.log for result in results.all() if result.key == key), end="",
              flush=True)
    return PASSED


def key_of(text: str, results: Results) -> Key:
    """The run that a name is of; its library may be left out where there is one alone. A fault's
    name may have commas."""
    keys = results.outcomes()
    found = [key for key in keys
             if text in (",".join(map(str, key)), ",".join(map(str, key[:3])))]
    if len(found) == 1:
        return found[0]
    wrong = "is more than one run" if found else "is no run of this file"
    example = ",".join(map(str, next(iter(keys), Key("none", 1, "stack", "libpcsimulation.so.0"))))
    raise CampaignError(f"'{text}' {wrong}; expected one as {example}")


def last_words() -> None:
    """Whoever has read what is printed has read enough. Python itself would complain at its end."""
    os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())


def interrupt(*_: object) -> None:
    """SIGTERM is as good as Ctrl-C."""
    raise KeyboardInterrupt


def main(arguments: Sequence[str] | None = None) -> int:
    """The exit status."""
    signal.signal(signal.SIGTERM, interrupt)
    own, pcsim_options = options.divided(sys.argv[1:] if arguments is None else arguments)
    parser = options.parser()
    given = parser.parse_args(own)
    if given.help:
        print(options.help_json() if os.environ.get("PCSIM_HELP") == "json"
              else options.help_text())
        return PASSED
    if given.version:
        print(told(parser.prog))
        return PASSED
    if (given.scenario is None) == (given.show is None):
        parser.error("expected a scenario, or --show FILE")
    try:
        if given.show is not None:
            return show(given)
        return run(campaign_of(given, pcsim_options), given)
    except BrokenPipeError:
        last_words()
        return NOT_PASSED
    except KeyboardInterrupt:
        print(f"{options.NAME}: interrupted; --resume goes on", file=sys.stderr)
        return INTERRUPTED
    except Error as problem:
        print(f"{options.NAME}: {problem}", file=sys.stderr)
        return NOT_PASSED


if __name__ == "__main__":
    sys.exit(main())
