"""The program pcsim-web: serves until it is told to end."""
from __future__ import annotations

import asyncio
import contextlib
import logging
import signal
import sys

from aiohttp import web

from .options import Serving
from .server import Server, bound


ENDING = (signal.SIGINT, signal.SIGTERM)


async def serve(serving: Serving) -> None:
    """Serves until SIGINT or SIGTERM."""
    ended = asyncio.Event()
    loop = asyncio.get_running_loop()
    for number in ENDING:
        loop.add_signal_handler(number, ended.set)
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
        for number in ENDING:  # it ends already: another one has nothing to say
            loop.remove_signal_handler(number)
            signal.signal(number, signal.SIG_IGN)
        await runner.cleanup()


def run(serving: Serving) -> int:
    """Serves; the status. An address that can't be had gives one line."""
    try:
        with contextlib.suppress(KeyboardInterrupt):
            asyncio.run(serve(serving))
    except OSError as problem:
        right = "another --port" if serving.port else "an address of this machine for --bind"
        print(f"pcsim-web: {serving.address} port {serving.port} can't be listened on: "
              f"{problem.strerror}; expected {right}", file=sys.stderr)
        return 1
    return 0
