"""The service itself: a CONNECT proxy on a port of 127.0.0.1 that ends the TLS of the service's hosts, with
certificates of a CA of its own."""

import itertools
import socket
import tempfile
import threading
from collections.abc import Callable
from pathlib import Path

from .behaviours import ConnectBehaviour, RequestBehaviour, head_of, refuse, reply, tunnel
from .certificates import Certificates
from .connection import Connection
from .exchange import Body, Exchange, ProxyRequest, parse_head

SERVICE_HOSTS = ("api.quorvex.example", "symbols.quorvex.example")


class Script:
    """Which behaviour is next. The latest rule that matches counts; its last behaviour repeats."""

    def __init__(self):
        self._rules: list[tuple[Callable[..., bool], list]] = []
        self._lock = threading.Lock()

    def add(self, matches: Callable[..., bool], behaviours) -> None:
        with self._lock:
            self._rules.insert(0, (matches, list(behaviours)))

    def next(self, *subject):
        with self._lock:
            behaviours = next(rule for matches, rule in self._rules if matches(*subject))
            return behaviours.pop(0) if len(behaviours) > 1 else behaviours[0]


class LocalService:
    """Serves between `start` and `stop`, best as a context manager; then no thread, socket or file is left.

    `exchanges` and `proxy_requests` list what came, in order of arrival, from the moment its head was
    read. Every request gets a 201, every known host a tunnel, every other host a 502, until told otherwise.
    """

    def __init__(self, hosts=SERVICE_HOSTS, on_exchange: Callable[[Exchange], None] | None = None):
        self.exchanges: list[Exchange] = []
        self.proxy_requests: list[ProxyRequest] = []
        self._on_exchange = on_exchange or (lambda exchange: None)
        self._requests = Script()
        self._requests.add(lambda host, path: True, [reply(201)])
        self._connects = Script()
        self._connects.add(lambda host: True, [refuse(502)])
        self._connects.add(lambda host: host in hosts, [tunnel()])
        self._stopping = threading.Event()
        self._released = threading.Event()
        self._spools = itertools.count()
        self._connections: list[Connection] = []
        self._threads: list[threading.Thread] = []
        self._failures: list[BaseException] = []

    def __enter__(self) -> "LocalService":
        self.start()
        return self

    def __exit__(self, *_exception) -> None:
        self.stop()

    def start(self) -> None:
        self._folder = tempfile.TemporaryDirectory(prefix="local-service-")
        self._certificates = Certificates(Path(self._folder.name))
        self._listener = socket.create_server(("127.0.0.1", 0), backlog=128)
        self._acceptor = threading.Thread(target=self._accept, name="accept", daemon=True)
        self._acceptor.start()

    def stop(self) -> None:
        """Ends every connection and thread and removes all files; raises what broke inside, if anything."""
        self._stopping.set()
        self._released.set()
        self._listener.shutdown(socket.SHUT_RDWR)
        self._acceptor.join()
        self._listener.close()
        for connection in self._connections:
            connection.interrupt()
        for thread in self._threads:
            thread.join()
        self._folder.cleanup()
        if self._failures:
            raise self._failures[0]

    @property
    def proxy_url(self) -> str:
        return "http://127.0.0.1:%d" % self._listener.getsockname()[1]

    @property
    def ca_file(self) -> Path:
        return self._certificates.ca_file

    def answer(self, *behaviours: RequestBehaviour, host: str | None = None,
               path: str | None = None) -> None:
        """What requests get from now on, one after the other; for one host, or a part of the path, only."""
        self._requests.add(lambda at, of: host in (None, at) and (path is None or path in of), behaviours)

    def at_connect(self, *behaviours: ConnectBehaviour, host: str | None = None) -> None:
        """What CONNECT requests get from now on, one after the other; for one host only when one is given."""
        self._connects.add(lambda at: host in (None, at), behaviours)

    def release(self) -> None:
        """Ends every stall, those to come as well."""
        self._released.set()

    def _accept(self) -> None:
        while not self._stopping.is_set():
            try:
                sock, _ = self._listener.accept()
            except OSError:
                return  # stopped
            sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            connection = Connection(sock, len(self._connections), self._stopping, self._released)
            thread = threading.Thread(target=self._handle, args=(connection,), daemon=True)
            self._connections.append(connection)
            self._threads.append(thread)
            thread.start()

    def _handle(self, connection: Connection) -> None:
        try:
            self._proxy(connection)
        except ConnectionError:
            pass  # the client has gone, which is its right
        except BaseException as error:  # whatever else is a fault of ours that the owner must hear of
            self._failures.append(error)
        finally:
            if connection.open:
                connection.close()

    def _proxy(self, connection: Connection) -> None:
        head = connection.read_head()
        if head is None:
            return
        first, headers = parse_head(head)
        method, target, *_ = first.split(" ") + [""]
        request = ProxyRequest(method, target, headers, head)
        self.proxy_requests.append(request)
        if method != "CONNECT":
            connection.send(head_of(400, [("Content-Length", "0"), ("Connection", "close")]))
            connection.finish()
            return
        host = target.rpartition(":")[0]
        self._connects.next(host)(connection, lambda flaw: self._certificates.context(host, flaw))
        request.secured = connection.secure
        while connection.open and connection.secure:
            self._serve(connection, host)

    def _serve(self, connection: Connection, host: str) -> None:
        head = connection.read_head()
        if head is None:
            return
        first, headers = parse_head(head)
        method, path, *_ = first.split(" ") + ["", ""]
        body = Body(Path(self._folder.name) / f"body-{next(self._spools)}")
        exchange = Exchange(connection.number, host, method, path, headers, head, body)
        self.exchanges.append(exchange)
        try:
            if exchange.chunked:
                exchange.status = 411
                connection.send(head_of(411, [("Content-Length", "0"), ("Connection", "close")]))
                connection.finish()
                return
            self._requests.next(host, path)(connection, exchange)
            if not exchange.complete and connection.open:
                connection.close()
        finally:
            self._on_exchange(exchange)
