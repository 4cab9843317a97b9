"""How the local service treats a connection or a request: proper answers and every kind of fault.

A connect behaviour is called with (connection, certificate), where certificate(flaw) gives the TLS
context for the host asked for; a request behaviour with (connection, exchange), the head being read
and the body not. Both may be called any number of times. A request behaviour that leaves the
connection open after the whole body was read keeps it alive for the next request.
"""

import http
from collections.abc import Callable, Iterable

from .certificates import Flaw
from .connection import Connection
from .exchange import Exchange, Headers

ConnectBehaviour = Callable[[Connection, Callable], None]
RequestBehaviour = Callable[[Connection, Exchange], None]
Content = bytes | Callable[[], Iterable[bytes]]


def head_of(status: int, headers: Headers) -> bytes:
    try:
        phrase = http.HTTPStatus(status).phrase
    except ValueError:
        phrase = "Status"
    lines = [f"HTTP/1.1 {status} {phrase}", *(f"{name}: {value}" for name, value in headers)]
    return ("\r\n".join(lines) + "\r\n\r\n").encode("latin-1")


# Connect behaviours.


def tunnel(flaw: Flaw | None = None) -> ConnectBehaviour:
    """Opens the tunnel and shows a certificate for the host, flawed or not."""

    def behave(connection: Connection, certificate: Callable) -> None:
        context = certificate(flaw)
        connection.send(head_of(200, []))
        connection.start_tls(context)

    return behave


def refuse(status: int, headers: Headers = ()) -> ConnectBehaviour:
    """Answers CONNECT with a status of the proxy's own, as 403 or 407."""

    def behave(connection: Connection, _certificate: Callable) -> None:
        connection.send(head_of(status, [*headers, ("Content-Length", "0"), ("Connection", "close")]))
        connection.finish()

    return behave


def die(connection: Connection, _certificate: Callable) -> None:
    """The proxy goes away without a word on CONNECT."""
    connection.close()


def stall_handshake(connection: Connection, _certificate: Callable) -> None:
    """The tunnel opens and the TLS handshake is never answered."""
    connection.send(head_of(200, []))
    connection.hold()
    connection.close()


def reset_before_request(connection: Connection, certificate: Callable) -> None:
    """The handshake succeeds, then the connection is reset with nothing read."""
    tunnel()(connection, certificate)
    if connection.open:
        connection.reset()


# Request behaviours.


def reply(status: int = 201, headers: Headers = (), body: Content = b"", *, pause: float = 0.0,
          piece: int = 1, rate: int | None = None) -> RequestBehaviour:
    """Reads the request whole (at most `rate` bytes a second) and answers.

    A body given as a function makes its pieces anew for each answer; without a Content-Length among
    the headers the connection's end is the body's end. With a pause, in seconds, the answer trickles:
    `piece` bytes at a time, head included (a made body in its own pieces).

    A sender sees a slow reader only once the kernel's buffers are full: use bodies of many megabytes,
    and a rate that empties some four megabytes within the sender's patience.
    """

    def behave(connection: Connection, exchange: Exchange) -> None:
        connection.read_body(exchange.body, exchange.length, rate)
        exchange.status = status
        all_headers = list(headers)
        sized = any(name.lower() == "content-length" for name, _ in headers)
        if isinstance(body, bytes) and not sized and status not in (204, 304):
            all_headers.append(("Content-Length", str(len(body))))
            sized = True
        head = head_of(status, all_headers)
        made = [body] if isinstance(body, bytes) else body()
        if not pause:
            connection.send(head)
            for part in made:
                connection.send(part)
        else:
            _trickle(connection, _cut(head, piece), pause)
            _trickle(connection, _cut(body, piece) if isinstance(body, bytes) else made, pause)
        if not sized and status not in (204, 304):
            connection.finish()

    return behave


def redirect(status: int, location: str) -> RequestBehaviour:
    """A redirect; endless when the location gets the same answer."""
    return reply(status, [("Location", location)])


def stall(connection: Connection, exchange: Exchange) -> None:
    """Reads the request and does not answer until the service is released; then closes."""
    connection.read_body(exchange.body, exchange.length)
    connection.hold()
    connection.close()


def stall_in_body(connection: Connection, exchange: Exchange) -> None:
    """Reads half of the body and nothing more.

    A client that leaves with more to send goes unnoticed: its goodbye waits behind what is not read.
    """
    connection.read_body(exchange.body, exchange.length // 2)
    connection.hold()
    connection.close()


def reset_in_body(connection: Connection, exchange: Exchange) -> None:
    connection.read_body(exchange.body, exchange.length // 2)
    connection.reset()


def reset_after_body(connection: Connection, exchange: Exchange) -> None:
    connection.read_body(exchange.body, exchange.length)
    connection.reset()


def break_reply(status: int = 200, body: bytes = b"half of it", *, reset: bool = False) -> RequestBehaviour:
    """Announces twice the body's length, sends the body, and closes or resets.

    A reset can overtake what was sent: the client may then not see even the status line.
    """

    def behave(connection: Connection, exchange: Exchange) -> None:
        connection.read_body(exchange.body, exchange.length)
        exchange.status = status
        connection.send(head_of(status, [("Content-Length", str(2 * len(body)))]) + body)
        connection.reset() if reset else connection.close()

    return behave


def half_status_line(connection: Connection, exchange: Exchange) -> None:
    connection.read_body(exchange.body, exchange.length)
    connection.send(b"HTTP/1.1 2")
    connection.close()


def _cut(data: bytes, piece: int) -> Iterable[bytes]:
    return (data[start:start + piece] for start in range(0, len(data), piece))


def _trickle(connection: Connection, pieces: Iterable[bytes], pause: float) -> None:
    for part in pieces:
        connection.send(part)
        connection.pause(pause)
