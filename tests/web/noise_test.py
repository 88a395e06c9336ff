"""Whatever bytes come, it goes on and has nothing to say of them."""
import base64
import json
import os
import random
import struct

import pytest

from gateway import TOKEN

SEED = int(os.environ.get("PCSIM_SEED", "1"))
REQUEST = (f"GET /{TOKEN}/live HTTP/1.1\r\nHost: HOST\r\nUpgrade: websocket\r\n"
           f"Connection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
           f"Sec-WebSocket-Key: {base64.b64encode(b'k' * 16).decode()}\r\n\r\n")


def request(gateway):
    """A request for a WebSocket, as it should be."""
    return REQUEST.replace("HOST", gateway.host).encode()


def frame(opcode, payload, final=True, masked=True, length=None):
    """A frame of a WebSocket; the length that it tells may be another one."""
    told = len(payload) if length is None else length
    head = bytes([opcode | (0x80 if final else 0)])
    bit = 0x80 if masked else 0
    if told < 126:
        head += bytes([bit | told])
    elif told < 1 << 16:
        head += bytes([bit | 126]) + struct.pack(">H", told)
    else:
        head += bytes([bit | 127]) + struct.pack(">Q", told)
    return head + (b"\0\0\0\0" if masked else b"") + payload


BAD_FRAMES = {
    "an opcode that is none": frame(3, b"x"), "a control frame in parts": frame(9, b"x", final=False),
    "not masked": frame(1, b"{}", masked=False), "a long ping": frame(9, b"x" * 200),
    "longer than can be": frame(1, b"x", length=1 << 62),
    "negative": frame(1, b"x", length=(1 << 64) - 1), "no text": frame(1, b"\xff\xfe\xff"),
    "a part of nothing": frame(0, b"x"), "a farewell of one byte": frame(8, b"x"),
    "a farewell of no text": frame(8, b"\x03\xe8\xff\xff"), "reserved bits": b"\xf1\x80\0\0\0\0",
    "two texts in one": frame(1, b"{", final=False) + frame(1, b"}"), "half a frame": b"\x81",
}


@pytest.mark.parametrize("name", BAD_FRAMES)
def test_frames_that_are_wrong(gateway, name):
    said = gateway.send(request(gateway) + BAD_FRAMES[name])
    assert said.startswith(b"HTTP/1.1 101 ")
    assert b"Traceback" not in said
    assert gateway.ask()[0] == 200


def test_random_bytes(gateway):
    chance = random.Random(SEED)
    for _ in range(100):
        gateway.throw(chance.randbytes(chance.randrange(2000)))
    assert gateway.ask()[0] == 200, f"PCSIM_SEED={SEED}"


def test_requests_with_changed_bytes(gateway):
    chance, whole = random.Random(SEED), request(gateway)
    for _ in range(200):
        data = bytearray(whole + frame(1, b'{"id":1,"do":"look","instance":"a"}'))
        for _ in range(chance.randrange(1, 8)):
            place = chance.randrange(len(data))
            data[place:place + chance.randrange(3)] = chance.randbytes(chance.randrange(3))
        gateway.throw(bytes(data))
    assert gateway.ask()[0] == 200, f"PCSIM_SEED={SEED}"


def test_questions_of_random_values(gateway, join):
    page, chance = join(gateway), random.Random(SEED)
    values = [None, True, -1, 0, 1e308, "", "x", "\u0000", "../x", "a" * 70_000, [], {}, [[]],
              {"a": []}, "ü\ud800", 1 << 80]
    questions = ("look", "run", "table", "at", "rates", "events", "complete", "question", "prompt",
                 "interrupt", "describe", "changes", "drop", "nothing")
    keys = ("instance", "line", "table", "time", "ports", "since", "before", "count", "from", "width",
            "stream", "terminal", "search", "window", "step", "until", "text")
    for number in range(1, 400):
        question = {key: chance.choice(values) for key in chance.sample(keys, 6)}
        page.send(json.dumps(question | {"id": number, "do": chance.choice(questions)}))
        error = page.answer(number).get("error", {"message": ""})
        assert "mistake" not in error["message"], (f"PCSIM_SEED={SEED}", question, error)
