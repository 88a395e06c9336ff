"""The program pcsim-web."""
from __future__ import annotations

import argparse
import asyncio
import contextlib
import logging
import re
import secrets
import signal
import sys
from typing import Sequence

from aiohttp import web
from pcsim.version import VERSION

from .server import Server, Serving, bound

DEFAULT_PORT = 8470


def port_number(text: str) -> int:
    """A port to listen on."""
    if not text.isdecimal() or not 0 <= int(text) <= 65535:
        raise argparse.ArgumentTypeError(f"'{text}' is no port; expected 0 to 65535")
    return int(text)


def token(text: str) -> str:
    """A token that can't be guessed and stands in an address as it is."""
    if not re.fullmatch(r"[A-Za-z0-9_-]{16,128}", text):
        raise argparse.ArgumentTypeError(
            "this is no token; expected 16 to 128 letters, digits, '_' and '-'")
    return text


def address(text: str) -> str:
    """An address to listen on; the empty one would be all of them."""
    if not text:
        raise argparse.ArgumentTypeError("'' is no address; expected one like 127.0.0.1 or ::1")
    return text


def arguments() -> argparse.ArgumentParser:
    """The options."""
    parser = argparse.ArgumentParser(
        prog="pcsim-web", allow_abbrev=False,
        description="Shows running switches in a browser: prints an address, and serves a page "
                    "there until it is interrupted.")
    parser.add_argument("names", nargs="*", metavar="NAME",
                        help="show these instances only; all of the user's without")
    parser.add_argument("--bind", type=address, default="127.0.0.1", metavar="ADDRESS",
                        help="listen on this address; 127.0.0.1 without")
    parser.add_argument("--port", type=port_number, default=DEFAULT_PORT,
                        help=f"listen on this port, 0 for any; {DEFAULT_PORT} without")
    parser.add_argument("--host", action="append", default=[], metavar="NAME",
                        help="a name under which browsers reach this machine; may be repeated")
    parser.add_argument("--token", type=token, default=None,
                        help="the secret in the address; a random one without")
    parser.add_argument("--read-only", action="store_true",
                        help="pages may look, but not touch")
    parser.add_argument("--version", action="version", version=f"pcsim-web {VERSION}")
    return parser


async def serve(serving: Serving) -> None:
    """Serves until SIGINT or SIGTERM."""
    ended = asyncio.Event()
    for number in (signal.SIGINT, signal.SIGTERM):
        asyncio.get_running_loop().add_signal_handler(number, ended.set)
    # It would log each stranger whose bytes are no request; mistakes of ours the gate logs.
    logging.getLogger("aiohttp.server").setLevel(logging.CRITICAL)
    listening = bound(serving.address, serving.port)
    runner = web.AppRunner(Server(serving).application(), access_log=None)
    await runner.setup()
    try:
        await web.SockSite(runner, listening, shutdown_timeout=2.0).start()
        port = listening.getsockname()[1]
        host = f"[{serving.address}]" if ":" in serving.address else serving.address
        shown = "127.0.0.1" if host == "0.0.0.0" else host
        print(f"http://{shown}:{port}/{serving.token}/", flush=True)
        await ended.wait()
    finally:
        await runner.cleanup()


def main(words: Sequence[str] | None = None) -> int:
    """Runs it. Bad options and a taken port give one line and a status."""
    given = arguments().parse_args(words)
    for name in given.names:
        if not re.fullmatch(r"[A-Za-z0-9._-]{1,64}", name):
            print(f"pcsim-web: '{name}' is no name of an instance; expected letters, digits, '.', "
                  "'_' and '-'", file=sys.stderr)
            return 2
    serving = Serving(given.bind, given.port, given.token or secrets.token_urlsafe(18),
                      tuple(given.host), given.read_only, tuple(given.names))
    try:
        with contextlib.suppress(KeyboardInterrupt):
            asyncio.run(serve(serving))
    except OSError as problem:
        right = "another --port" if given.port else "an address of this machine for --bind"
        print(f"pcsim-web: {given.bind} port {given.port} can't be listened on: "
              f"{problem.strerror}; expected {right}", file=sys.stderr)
        return 1
    return 0
