"""Nobody gets in without the whole address, and no page but our own does."""
import aiohttp
import pytest

from gateway import TOKEN
from page_socket import PageSocket

FILES = ("", "app.js", "base.css", "icon.svg", "index.html")
REFUSED = "pcsim-web: "


def open_socket(gateway, **kept):
    """Fails with the status of the refusal."""
    with PageSocket(gateway, **kept):
        pass


def assert_refused(answer, text, status=403):
    assert answer[0] == status
    assert answer[1].startswith(REFUSED) and answer[1].count("\n") == 1, answer[1]
    assert text in answer[1]


def test_the_page_and_its_files(gateway):
    types = {"": "text/html", "js": "text/javascript", "css": "text/css", "svg": "image/svg+xml",
             "html": "text/html"}
    for name in FILES:
        status, body, headers = gateway.ask(f"/{TOKEN}/{name}")
        assert status == 200 and body
        assert headers["Content-Type"] == types[name.rpartition(".")[2]] + "; charset=utf-8"
        assert "default-src 'none'" in headers["Content-Security-Policy"]
        assert headers["X-Content-Type-Options"] == "nosniff"
        assert headers["Referrer-Policy"] == "no-referrer"
        assert "Access-Control-Allow-Origin" not in headers


def test_without_its_last_slash_the_address_leads_to_it(gateway):
    status, _, headers = gateway.ask(f"/{TOKEN}")
    assert (status, headers["Location"]) == (308, f"/{TOKEN}/")


@pytest.mark.parametrize("path", (
    "/", "//", "/x/", "/live", "/index.html", f"/{TOKEN[:-1]}/", f"/{TOKEN}x/", f"/{TOKEN.upper()}/",
    f"/x/{TOKEN}/", f"/?{TOKEN}", f"/%00{TOKEN}/", "/" + "a" * 300 + "/", "/%ff/", "/%C3%A4/"))
def test_without_the_token_nothing_is_told(gateway, path):
    answer = gateway.ask(path)
    assert_refused(answer, "this address lacks the token; expected the whole address that "
                           "pcsim-web has printed")
    assert TOKEN not in answer[1]


@pytest.mark.parametrize("path", ("../gate.py", "..%2fgate.py", "%2e%2e/gate.py", "../../setup.py",
                                  "/etc/passwd", "%2fetc%2fpasswd", "panel/../../gate.py",
                                  "panel", "panel/", "x.js", "app.js/", "app.js%00.css",
                                  "a" * 300, "%ff", "....//gate.py", "~root/", "\\..\\gate.py"))
def test_there_are_no_files_but_the_page(gateway, path):
    status, body, _ = gateway.ask(f"/{TOKEN}/{path}")
    assert status in (403, 404), body
    assert body.startswith(REFUSED) and body.count("\n") == 1, body


def test_bytes_that_are_no_text(gateway):
    answer = gateway.send(b"GET /\xff\xfe\x80/ HTTP/1.1\r\nHost: localhost\r\n\r\n")
    assert answer.startswith((b"HTTP/1.1 403", b"HTTP/1.1 400")), answer
    for host in (b"\xff\xfe", b"caf\xe9", b"[\xff]:1"):
        assert gateway.send(f"GET /{TOKEN}/ HTTP/1.1\r\nHost: ".encode() + host
                            + b"\r\n\r\n").startswith(b"HTTP/1.1 403 "), host
    assert gateway.send(b"\x16\x03\x01\x02\x00\x01\x00\x01" * 100).startswith(b"HTTP/1.")
    assert gateway.ask()[0] == 200


@pytest.mark.parametrize("host", ("evil.example", "evil.example:80", "localhost.evil.example",
                                  "127.0.0.1.evil.example", "", "[::1].evil.example", "0x7f000001"))
def test_foreign_names_of_this_machine(gateway, host):
    for path in (f"/{TOKEN}/", f"/{TOKEN}/app.js", f"/{TOKEN}/live"):
        assert_refused(gateway.ask(path, Host=host), "no name of this server; expected its address")


def test_names_that_it_was_told(start):
    gateway = start("--host", "switch.example", "--host", "Other")
    for host in ("switch.example", "SWITCH.example:8470", "other", "localhost:1", "127.0.0.1",
                 "[::1]:8470", "192.0.2.1"):
        assert gateway.ask(Host=host)[0] == 200, host
    assert_refused(gateway.ask(Host="another"), "'another' is no name of this server")


@pytest.mark.parametrize("origin", ("http://evil.example", "null", "https://{host}", "http://{host}x",
                                    "http://127.0.0.1:1", "http://localhost:{port}"))
def test_foreign_origins(gateway, origin):
    origin = origin.format(host=gateway.host, port=gateway.port)
    for path in (f"/{TOKEN}/", f"/{TOKEN}/app.js", f"/{TOKEN}/live"):
        assert_refused(gateway.ask(path, Origin=origin), f"a page of {origin} may not ask here")
    with pytest.raises(aiohttp.WSServerHandshakeError, match="403"):
        open_socket(gateway, Origin=origin)


@pytest.mark.parametrize("site", ("cross-site", "same-site", "something-new"))
def test_requests_that_a_foreign_page_makes(gateway, site):
    for path in (f"/{TOKEN}/", f"/{TOKEN}/app.js", f"/{TOKEN}/live"):
        assert_refused(gateway.ask(path, Sec_Fetch_Site=site), "a page from elsewhere may not ask")
    with pytest.raises(aiohttp.WSServerHandshakeError, match="403"):
        open_socket(gateway, Sec_Fetch_Site=site)


def test_sockets_without_the_token(gateway):
    for path in ("/live", "/x/live", f"/{TOKEN}x/live"):
        with pytest.raises(aiohttp.WSServerHandshakeError, match="403"):
            open_socket(gateway, path=path)


def test_its_own_page_may_ask(gateway, join):
    origin = f"http://{gateway.host}"
    assert gateway.ask(Origin=origin, Sec_Fetch_Site="same-origin")[0] == 200
    assert gateway.ask(Sec_Fetch_Site="none")[0] == 200
    assert join(gateway, Origin=origin).told("hello") == {"tell": "hello", "readOnly": False}


@pytest.mark.parametrize("method", ("POST", "PUT", "DELETE", "PATCH", "OPTIONS", "TRACE"))
def test_nothing_can_be_sent_to_it(gateway, method):
    for path in (f"/{TOKEN}/", f"/{TOKEN}/app.js", f"/{TOKEN}/live", f"/{TOKEN}"):
        assert_refused(gateway.ask(path, method, body="x" * 1000), "method not allowed", 405)
    assert_refused(gateway.ask("/", method), "lacks the token")


def test_the_live_address_is_for_sockets_alone(gateway):
    assert_refused(gateway.ask(f"/{TOKEN}/live"), "this address is for websockets alone", 400)
