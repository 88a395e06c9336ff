"""Who may come in: requests with the token, for a name that is ours, from our own page.

The token stands first in the path, so that every address of the page has it and no cookie is
needed. The Host header is looked at because a foreign name may be pointed at this machine, Origin
and Sec-Fetch-Site because a foreign page may guess the port: a browser tells both.
"""
from __future__ import annotations

import hmac
import ipaddress
import logging
import re
from collections.abc import Awaitable, Callable, Collection

from aiohttp import web

LOG = logging.getLogger("pcsim-web")
Handler = Callable[[web.Request], Awaitable[web.StreamResponse]]

# Everything the page needs comes from here, nothing from elsewhere.
HEADERS = {
    "Content-Security-Policy": "default-src 'none'; script-src 'self'; style-src 'self'; "
                               "img-src 'self' data:; connect-src 'self'; base-uri 'none'; "
                               "form-action 'none'; frame-ancestors 'none'",
    "Referrer-Policy": "no-referrer",
    "X-Content-Type-Options": "nosniff",
    "Cross-Origin-Resource-Policy": "same-origin",
    "Cross-Origin-Opener-Policy": "same-origin",
    "Cache-Control": "no-cache",
}


def host_of(header: str) -> str:
    """The host of a Host header, without its port: 'localhost', '127.0.0.1', '::1'."""
    address = re.fullmatch(r"\[([0-9a-fA-F:.]+)\](?::\d*)?", header)
    return address[1] if address else header.partition(":")[0]


def is_ours(host: str, names: Collection[str]) -> bool:
    """Whether a request for that host is meant for us: an address can't be pointed elsewhere by
    whoever owns a name."""
    if host.lower() in names:
        return True
    try:
        ipaddress.ip_address(host)
    except ValueError:
        return False
    return True


def problem_of(request: web.Request, token: str, names: Collection[str]) -> str:
    """Why the request is refused, "" when it isn't."""
    first = request.path.lstrip("/").partition("/")[0]
    if not hmac.compare_digest(first.encode(errors="replace"), token.encode()):
        return "this address lacks the token; expected the whole address that pcsim-web has printed"
    if not is_ours(host_of(request.host), names):
        return (f"'{host_of(request.host)}' is no name of this server; expected its address, "
                "localhost, or a name given with --host")
    origin = request.headers.get("Origin")
    if origin is not None and origin != f"http://{request.host}":
        return f"a page of {origin} may not ask here; expected the page that pcsim-web serves"
    if request.headers.get("Sec-Fetch-Site", "none") not in ("none", "same-origin"):
        return "a page from elsewhere may not ask here; open the address by itself"
    return ""


def refusal_of(status: int, text: str) -> web.StreamResponse:
    """One line. What was asked may stand in it, which need not be text."""
    said = f"pcsim-web: {text}\n".encode(errors="replace")
    return web.Response(status=status, body=said, content_type="text/plain", charset="utf-8")


def gate(token: str, names: Collection[str]) -> Callable[[web.Request, Handler],
                                                         Awaitable[web.StreamResponse]]:
    """The middleware that lets nobody else in."""
    @web.middleware
    async def check(request: web.Request, handler: Handler) -> web.StreamResponse:
        problem = problem_of(request, token, names)
        if problem:
            response = refusal_of(403, problem)
        else:
            try:
                response = await handler(request)
            except web.HTTPException as refusal:
                asked = request.path_qs.partition(token)[2]
                response = refusal_of(refusal.status, f"{asked}: {refusal.reason.lower()}")
            except ConnectionError:
                raise  # whoever asked has gone
            except Exception:  # a mistake of ours: whoever asks gets one line
                LOG.exception("%s can't be answered", request.path)
                response = refusal_of(500, "it has made a mistake, which it has logged")
        if not response.prepared:
            response.headers.update(HEADERS)
        return response
    return check
