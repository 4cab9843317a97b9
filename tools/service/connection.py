"""One connection to the local service: reading, writing and every way to end it."""

import select
import socket
import ssl
import struct
import threading

from .exchange import Body

CHUNK = 1 << 18
HEAD_LIMIT = 1 << 20
# A reader that keeps to a rate must not let the kernel take more on its behalf than it has read.
SLOW_RECEIVE_BUFFER = 1 << 16


class Connection:
    """Owns the socket. Used by one thread; only `interrupt` may be called from others."""

    def __init__(self, sock: socket.socket, number: int, stopping: threading.Event,
                 released: threading.Event):
        self.number = number
        self.open = True
        self.secure = False
        self._sock = sock
        self._buffer = b""
        self._stopping = stopping
        self._released = released

    def start_tls(self, context: ssl.SSLContext) -> None:
        """The server's side of the handshake; closes the connection when the peer gives up."""
        self._sock = context.wrap_socket(self._sock, server_side=True, do_handshake_on_connect=False)
        try:
            # An interruption that came while the socket changed hands has not reached it.
            if not self._stopping.is_set():
                self._sock.do_handshake()
                self.secure = True
        except OSError:  # TLS errors are among them
            pass
        if not self.secure:
            self.close()

    def read_head(self) -> bytes | None:
        """All before the next empty line; None, and the connection closed, when it ends before."""
        while b"\r\n\r\n" not in self._buffer:
            piece = self._receive(CHUNK)
            if not piece or len(self._buffer) > HEAD_LIMIT:
                self.close()
                return None
            self._buffer += piece
        head, _, self._buffer = self._buffer.partition(b"\r\n\r\n")
        return head

    def read_body(self, body: Body, size: int, rate: int | None = None) -> None:
        """Reads until the body has `size` bytes, at most `rate` bytes a second when one is given."""
        if rate:
            self._sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, SLOW_RECEIVE_BUFFER)
        step = max(1, rate // 10) if rate else CHUNK
        while body.size < size:
            wanted = min(step, size - body.size)
            piece, self._buffer = self._buffer[:wanted], self._buffer[wanted:]
            piece = piece or self._receive(wanted)
            if not piece:
                raise ConnectionError("the client left in the middle of a body")
            body.append(piece)
            if rate:
                self.pause(len(piece) / rate)

    def send(self, data: bytes) -> None:
        try:
            self._sock.sendall(data)
        except OSError as error:
            raise ConnectionError("the client left while it was sent to") from error

    def pause(self, seconds: float) -> None:
        """Waits, unless the service is being stopped."""
        self._stopping.wait(seconds)

    def hold(self) -> None:
        """Waits until the service is released or stopped, or the client has gone (then it closes)."""
        poll = select.poll()
        poll.register(self._sock, select.POLLRDHUP)
        while not self._released.wait(0.05):
            if poll.poll(0):
                self.close()
                return

    def finish(self) -> None:
        """Closes as a well-behaved server does: TLS is told that nothing was cut off."""
        try:
            self._sock.settimeout(2)
            if self.secure:
                self._sock.unwrap()
        except (OSError, ValueError):
            pass  # the client was faster
        self.close()

    def close(self) -> None:
        self._sock.close()
        self.open = False

    def reset(self) -> None:
        """Ends the connection with a RST packet."""
        self._sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.close()

    def interrupt(self) -> None:
        """Wakes the connection's thread, whatever it waits for."""
        try:
            # Not the TLS socket's own shutdown, which takes its state away under the thread's feet.
            socket.socket.shutdown(self._sock, socket.SHUT_RDWR)
        except OSError:
            pass  # closed already

    def _receive(self, size: int) -> bytes:
        try:
            return self._sock.recv(size)
        except OSError:
            return b""
