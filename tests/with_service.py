#!/usr/bin/env python3
"""Runs a test program beside a local service that it reaches over TLS, and returns its status.

What the service answers is chosen by the path, how it treats a connection by the host:
`with_service.py PROGRAM [ARGUMENT...]`.
"""

import functools
import gzip
import hashlib
import itertools
import json
import os
import plistlib
import subprocess
import sys
import urllib.parse
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tools"))

from service.behaviours import (  # noqa: E402
    break_reply, redirect, refuse, reply, stall, stall_handshake, stall_in_body, tunnel)
from service.certificates import Flaw  # noqa: E402
from service.server import LocalService  # noqa: E402

JSON = [("Content-Type", "application/json")]
PLIST = [("Content-Type", "application/x-plist")]

ANSWERS = {
    "/json": reply(200, [("Content-Type", "application/json; charset=utf-8")], b'{"answer": 42}'),
    "/bad-json": reply(200, JSON, b"no JSON"),
    "/plist": reply(200, PLIST, plistlib.dumps({"answer": 42}, fmt=plistlib.FMT_BINARY)),
    "/bad-plist": reply(200, PLIST, b"no list"),
    "/both": reply(200, [("Content-Type", "application/json, application/x-plist")], plistlib.dumps([1])),
    "/pieces": reply(200, JSON, b'{"pieces": "0123456789"}', pause=0.002, piece=1),
    "/trickle": reply(200, [], b"drop by drop", pause=0.2, piece=8),
    "/slow": reply(201, rate=8 << 20),
    "/empty": reply(200, JSON),
    "/gzip": reply(200, [("Content-Encoding", "gzip")], gzip.compress(b"plain text")),
    "/challenge": reply(401, [("WWW-Authenticate", 'Basic realm="here"')], b"who?"),
    "/unauthorized": reply(401, [], b"who?"),
    "/break": break_reply(200, b"half of it"),
    "/stall": stall,
    "/stall-in-body": stall_in_body,
    "/stall-in-reply": reply(500, [("Content-Length", "9")], b"half"),
    "/headers": reply(200, [(f"X-Field-{n}", "v" * 64) for n in range(1000)] + [("x-field-7", "more")]),
    "/endless-headers": reply(200, [("X-Field", "v" * 1000)] * 280),
    "/sixteen-mebibytes": reply(200, [], bytes(16 << 20)),
    "/too-large": reply(200, [], bytes((16 << 20) + 1)),
    "/endless-redirect": reply(302, [("Location", "/empty")], lambda: itertools.repeat(bytes(1 << 16))),
    "/bomb": reply(200, [("Content-Encoding", "gzip")], gzip.compress(bytes(17 << 20))),
}
CONNECTS = {
    "silent.example": lambda connection, _certificate: connection.hold(),
    "silent-handshake.example": stall_handshake,
    "password.example": refuse(407, [("Proxy-Authenticate", 'Basic realm="proxy"')]),
    "unknown-ca.example": tunnel(Flaw.UNKNOWN_CA),
}


def answer(service: LocalService, connection, exchange) -> None:
    path, _, query = exchange.path.partition("?")
    if path in ANSWERS:
        return ANSWERS[path](connection, exchange)
    name, _, number = path.lstrip("/").partition("/")
    if name == "status":
        return reply(int(number))(connection, exchange)
    if name == "redirect":  # /redirect/STATUS?LOCATION
        return redirect(int(number), urllib.parse.unquote(query))(connection, exchange)
    if name == "earlier":  # the fields of the requests since the last one of this kind, the last one first
        connection.read_body(exchange.body, exchange.length)
        since = itertools.takewhile(lambda earlier: earlier.path != exchange.path, service.exchanges[-2::-1])
        fields = [[[part.name, part.file_name or "", part.text] for part in earlier.fields] for earlier in since]
        return reply(200, JSON, json.dumps(fields).encode())(connection, exchange)
    if name == "interim":
        connection.send(b"HTTP/1.1 103 Early Hints\r\nX-Early: yes\r\n\r\n")
    elif name == "count" and int(number) > 0:
        return redirect(302, f"/count/{int(number) - 1}")(connection, exchange)
    else:
        connection.read_body(exchange.body, exchange.length)
    seen = {
        "method": exchange.method, "host": exchange.host, "path": exchange.path, "size": exchange.body.size,
        "md5": hashlib.md5(exchange.body.bytes()).hexdigest(),
        "head": exchange.head.decode("latin-1") + "\r\n",
        "fields": [[part.name, part.file_name or "", part.text] for part in exchange.fields],
        "proxy": [request.head.decode("latin-1") for request in service.proxy_requests],
    }
    reply(200, JSON, json.dumps(seen).encode())(connection, exchange)


def main() -> int:
    hosts = ("api.quorvex.example", "other.example")
    with LocalService(hosts) as service:
        service.answer(functools.partial(answer, service))
        for host, behaviour in CONNECTS.items():
            service.at_connect(behaviour, host=host)
        environment = {name: value for name, value in os.environ.items()
                       if not name.lower().endswith("_proxy") and not name.startswith("SSL_CERT_")}
        environment |= {"HTTPS_PROXY": service.proxy_url, "SSL_CERT_FILE": str(service.ca_file)}
        return subprocess.run(sys.argv[1:], env=environment, check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
