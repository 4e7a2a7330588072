"""The network between client and sandbox: passes everything on, until it is told to fail."""

from __future__ import annotations

import socket
import ssl
import threading
from collections.abc import Callable
from contextlib import suppress
from enum import Enum
from pathlib import Path
from typing import BinaryIO

from screen import Failure

NONSENSE = b"<html>It works!</html> \x00\xff{"
HALF_A_STATUS_LINE = b"HTTP/1.1 2"
REPLY_TIME = 10.0  # seconds


class Mode(Enum):
    """What happens to a request. All but the refused ones are read to their end, and noted."""

    PASS = "passed on, and answered"
    CLOSE = "not passed on; the connection is closed without a byte"
    ANSWER_LOST = "passed on; the connection is closed without a byte"
    STALL = "not passed on; the connection is closed when release() is called"
    REFUSE = "nobody listens, and no connection is left"
    NONSENSE = "not passed on; answered with status 200 and no JSON"
    HALF_LINE = "not passed on; the connection is closed within the reply's first line"


class Network:
    """Takes the client's connections, with the sandbox's certificate, and passes requests on."""

    def __init__(self, port: int, folder: Path, sandbox_port: Callable[[], int]) -> None:
        self._port = port
        self._sandbox_port = sandbox_port
        self._tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self._tls.load_cert_chain(folder / "server.pem", folder / "server.key")
        self._lock = threading.Lock()
        self._mode = Mode.PASS
        self._requests: list[str] = []
        self._listeners: list[tuple[socket.socket, threading.Thread]] = []
        self._connections: set[socket.socket] = set()
        self._released = threading.Event()
        self._listen()

    # What the steps do

    def become(self, mode: Mode) -> None:
        """For the requests that come from now on; those that are held stay held."""
        with self._lock:
            self._mode = mode
        if mode is Mode.REFUSE:
            self._hang_up()
        elif not self._listeners:
            self._listen()

    def release(self) -> None:
        """Closes the connections of the requests that are held."""
        with self._lock:
            self._released.set()
            self._released = threading.Event()

    def count(self, request: str) -> int:
        """How many requests came whose line begins so: "POST /bslogin.php"."""
        with self._lock:
            return sum(line.startswith(request) for line in self._requests)

    def close(self) -> None:
        self.release()
        self._hang_up()

    # Connections

    def _listen(self) -> None:
        for family, address in ((socket.AF_INET, "127.0.0.1"), (socket.AF_INET6, "::1")):
            try:
                listener = socket.create_server((address, self._port), family=family)
            except OSError as error:
                if family == socket.AF_INET:
                    raise Failure(f"The network cannot listen: {error}") from error
                continue  # a machine without IPv6
            thread = threading.Thread(target=self._accept, args=[listener], daemon=True)
            thread.start()
            self._listeners.append((listener, thread))

    def _hang_up(self) -> None:
        for listener, thread in self._listeners:
            listener.shutdown(socket.SHUT_RDWR)  # ends accept(), which close() does not
            thread.join()
            listener.close()
        self._listeners.clear()
        with self._lock:
            for connection in self._connections:
                with suppress(OSError):
                    # The plain one: the one of TLS would take the object from the reading thread.
                    socket.socket.shutdown(connection, socket.SHUT_RDWR)

    def _accept(self, listener: socket.socket) -> None:
        while True:
            try:
                plain, _ = listener.accept()
            except OSError:
                return
            connection = self._tls.wrap_socket(plain, server_side=True,
                                               do_handshake_on_connect=False)
            with self._lock:
                self._connections.add(connection)
            threading.Thread(target=self._serve, args=[connection], daemon=True).start()

    def _serve(self, connection: ssl.SSLSocket) -> None:
        # A client that goes away is no failure of the network's; what the steps see of it is.
        with suppress(OSError), connection.makefile("rb") as reader:
            connection.do_handshake()
            while self._answer(connection, read_message(reader)):
                pass
        with self._lock:
            self._connections.discard(connection)
        connection.close()

    # Requests

    def _answer(self, connection: ssl.SSLSocket, request: bytes) -> bool:
        """False if the connection is to be closed."""
        if not request:
            return False
        with self._lock:
            self._requests.append(request.partition(b"\r\n")[0].decode("latin-1"))
            mode, released = self._mode, self._released
        if mode is Mode.STALL:
            released.wait()
            return False
        if mode is Mode.NONSENSE:
            connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n"
                               b"Content-Length: %d\r\n\r\n%s" % (len(NONSENSE), NONSENSE))
            return True
        if mode is Mode.HALF_LINE:
            connection.sendall(HALF_A_STATUS_LINE)
            return False
        if mode is Mode.CLOSE:
            return False
        reply = self._forward(request)
        if mode is Mode.ANSWER_LOST:
            return False
        connection.sendall(reply)
        return True

    def _forward(self, request: bytes) -> bytes:
        # The sandbox's certificate is right for its own clock, which is not this process's.
        tls = ssl._create_unverified_context()
        address = ("127.0.0.1", self._sandbox_port())
        with tls.wrap_socket(socket.create_connection(address, REPLY_TIME)) as connection, \
                connection.makefile("rb") as reader:
            connection.sendall(request)
            return read_message(reader)


def read_message(reader: BinaryIO) -> bytes:
    """A request or reply with its body; nothing if the connection has ended."""
    head = [reader.readline()]
    length = 0
    while head[-1] not in (b"\r\n", b""):
        head.append(reader.readline())
        name, _, value = head[-1].partition(b":")
        if name.lower() == b"content-length":
            length = int(value)
    if not head[-1]:
        return b""
    return b"".join(head) + reader.read(length)
