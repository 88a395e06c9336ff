#!/usr/bin/env python3
"""What clients of an earlier version ask over the socket is answered with all that they found then:
more may be in an answer, nothing is missing or of another kind.

usage: socket_shapes.py [--keep] FILE PCSIM

FILE has a request and the shape of its answer a line. With --keep it is written anew, by the
version whose clients are to be kept.
"""
import json
import os
import socket
import subprocess
import sys
import tempfile
import time
from pathlib import Path
from typing import Any

REQUESTS = (
    ("status", {}), ("describe", {}),
    ("run", {"line": "show ports"}), ("run", {"line": "show chassis"}),
    ("run", {"line": "show slots"}), ("run", {"line": "show counters 1:1"}),
    ("run", {"line": "show fdb"}), ("run", {"line": "show environment"}),
    ("run", {"line": "show nothing"}), ("run", {"line": "port 1:9 disable"}),
    ("batch", {"lines": ["port 1:1 disable", "time warp 1000", "show ports"]}),
    ("events", {"sources": ["port"]}), ("complete", {"line": "show po"}),
    ("question", {"line": "port "}), ("prompt", {}), ("interrupt", {}), ("frob", {}),
)
LIMIT_S = 20


def shape(value: Any) -> Any:
    """Keys and kinds; of a list the first. Codes mean what they say, so they stay what they are."""
    if isinstance(value, dict):
        return {key: inner if key == "code" else shape(inner) for key, inner in value.items()}
    if isinstance(value, list):
        return [shape(inner) for inner in value[:1]]
    return "number" if isinstance(value, (int, float)) and not isinstance(value, bool) else (
        type(value).__name__)


def missing(kept: Any, found: Any, where: str) -> list[str]:
    """What of a kept shape isn't in the one that is found."""
    if isinstance(kept, dict) and isinstance(found, dict):
        return [problem for key in kept for problem in (
            missing(kept[key], found[key], f"{where}.{key}") if key in found
            else [f"{where}.{key} is missing"])]
    if isinstance(kept, list) and isinstance(found, list):
        return missing(kept[0], found[0], f"{where}[0]") if kept and found else []
    return [] if kept == found else [f"{where} was {kept}, and is {found}"]


def answers(pcsim: str, requests: list[dict]) -> list[dict]:
    """What a switch answers to requests, one after the other; notifications are passed over."""
    with tempfile.TemporaryDirectory() as folder:
        environment = {**os.environ, "PCSIM_RUN_DIR": folder}
        with subprocess.Popen([pcsim, "--lab", "4", "--stopped", "--quiet", "--serve", "--name",
                               "kept"], env=environment) as process, \
                socket.socket(socket.AF_UNIX) as connection:
            try:
                connection.settimeout(LIMIT_S)
                place, end = Path(folder) / "kept.sock", time.monotonic() + LIMIT_S
                while connection.connect_ex(str(place)) != 0:
                    assert process.poll() is None and time.monotonic() < end, "it does not start"
                    time.sleep(0.05)
                with connection.makefile("rw") as stream:
                    return [asked(stream, request) for request in requests]
            finally:
                process.terminate()


def asked(stream: Any, request: dict) -> dict:
    """The answer to one request."""
    stream.write(json.dumps(request) + "\n")
    stream.flush()
    for line in stream:
        answer = json.loads(line)
        if answer.get("id") == request["id"]:
            return answer
    raise AssertionError(f"the connection has ended before {request}")


def main() -> None:
    keep = sys.argv[1:2] == ["--keep"]
    if len(sys.argv) != 3 + keep:
        sys.exit(__doc__)
    file, pcsim = Path(sys.argv[-2]), sys.argv[-1]
    if keep:
        requests = [{"jsonrpc": "2.0", "id": number, "method": method, "params": parameters}
                    for number, (method, parameters) in enumerate(REQUESTS, 1)]
        kept = [{"request": request, "answer": shape(answer)}
                for request, answer in zip(requests, answers(pcsim, requests))]
        file.write_text("".join(json.dumps(one) + "\n" for one in kept))
        return
    kept = [json.loads(line) for line in file.read_text().splitlines()]
    found = answers(pcsim, [one["request"] for one in kept])
    problems = [f"{one['request']['method']}: {problem}" for one, answer in zip(kept, found)
                for problem in missing(one["answer"], shape(answer), "answer")]
    assert len(kept) >= 10, f"{file} has {len(kept)} requests"
    print("\n".join(problems) or f"{len(kept)} answers with all that they had")
    sys.exit(1 if problems else 0)


main()
