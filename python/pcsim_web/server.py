"""The server: the page's files, and a WebSocket for each page that is open."""
from __future__ import annotations

import asyncio
import contextlib
import re
import socket
from pathlib import Path
from typing import AsyncIterator

from aiohttp import web

from .gate import gate
from .instances import Instances
from .options import Serving
from .viewer import Viewer

STATIC = Path(__file__).resolve().with_name("static")
LARGEST_QUESTION = 1 << 20
HEARTBEAT_S = 20.0

# What may be asked for, by its ending; nothing else of the folder is served.
TYPES = {".html": "text/html", ".js": "text/javascript", ".css": "text/css",
         ".svg": "image/svg+xml"}
NO_FILE = re.compile(r"[^\x20-\x7e]|/$")


def file_of(asked: str) -> Path | None:
    """The file of the page with that name, None when there is none."""
    if NO_FILE.search(asked):
        return None
    path = (STATIC / (asked or "index.html")).resolve()
    with contextlib.suppress(OSError):  # a name may be too long to be one
        if path.is_relative_to(STATIC) and path.suffix in TYPES and path.is_file():
            return path
    return None


class Server:
    """The application for one set of instances."""

    def __init__(self, serving: Serving) -> None:
        self._serving = serving
        self._instances = Instances(serving.names)
        self._pages: set[web.WebSocketResponse] = set()

    def application(self) -> web.Application:
        """What aiohttp runs."""
        names = {"localhost", *(name.lower() for name in self._serving.hosts)}
        application = web.Application(middlewares=[gate(self._serving.token, names)])
        application.router.add_get("/{token}", self._without_slash)
        application.router.add_get("/{token}/live", self._live)
        application.router.add_get("/{token}/{file:.*}", self._file)
        application.cleanup_ctx.append(self._follow)
        application.on_shutdown.append(self._say_farewell)
        return application

    async def _follow(self, _: web.Application) -> AsyncIterator[None]:
        following = asyncio.ensure_future(self._instances.follow())
        yield
        following.cancel()
        with contextlib.suppress(asyncio.CancelledError):
            await following

    async def _say_farewell(self, _: web.Application) -> None:
        for page in set(self._pages):
            await page.close(code=1001, message=b"pcsim-web has ended")

    async def _without_slash(self, request: web.Request) -> web.StreamResponse:
        # Relative addresses of the page need the slash.
        return web.Response(status=308, headers={"Location": f"/{self._serving.token}/"})

    async def _file(self, request: web.Request) -> web.StreamResponse:
        path = file_of(request.match_info["file"])
        if path is None:
            raise web.HTTPNotFound
        return web.Response(body=path.read_bytes(), content_type=TYPES[path.suffix],
                            charset="utf-8")

    async def _live(self, request: web.Request) -> web.StreamResponse:
        page = web.WebSocketResponse(heartbeat=HEARTBEAT_S, max_msg_size=LARGEST_QUESTION)
        try:
            possible = page.can_prepare(request).ok
        except ValueError:  # a header that is no text
            possible = False
        if not possible:
            raise web.HTTPBadRequest(reason="this address is for WebSockets alone")
        await page.prepare(request)
        self._pages.add(page)
        try:
            await Viewer(page, self._instances, self._serving.read_only).serve()
        finally:
            self._pages.discard(page)
        return page


def bound(address: str, port: int) -> socket.socket:
    """The socket that is listened on."""
    family = socket.AF_INET6 if ":" in address else socket.AF_INET
    listening = socket.socket(family, socket.SOCK_STREAM)
    listening.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    try:
        listening.bind((address, port))
    except OSError:
        listening.close()
        raise
    return listening
