"""The network between client and sandbox: passes requests on, and spoils a few of them."""

from __future__ import annotations

import random
import socket
import ssl
import threading
import time
from collections import Counter
from contextlib import suppress
from enum import Enum
from pathlib import Path
from typing import Optional

from httpmessages import read_message

REPLY_TIME = 30.0  # seconds
DELAY = 0.4  # seconds


class Fault(Enum):
    """What becomes of a request."""

    CUT = "not passed on; the connection is closed without a byte"
    LOST = "passed on; the connection is closed in the middle of the reply"
    EMPTY = "not passed on; answered with status 200 and nothing"
    ERROR = "not passed on; answered with status 500 and a page"
    JUNK = "not passed on; answered with status 200 and no JSON"
    REFUSED = "not passed on; answered as a service that knows no session"
    DELAYED = "passed on; answered late"


ANSWERS = {
    Fault.EMPTY: ("200 OK", b""),
    Fault.ERROR: ("500 Internal Server Error", b"<html><h1>500</h1></html>"),
    Fault.JUNK: ("200 OK", b'{"trackers":[{"deviceSn": \x00\xff'),
    Fault.REFUSED: ("200 OK", b'{"rcode":-99,"msg":"Session expired"}'),
}


class Proxy:
    """Listens on a free port, with the sandbox's certificate. With a share of 0.01 one request in a
    hundred is spoiled; which, and how, comes from the seed."""

    def __init__(self, certificates: Path, sandbox_port: int, share: float, seed: int) -> None:
        self.calm = False  # while it is, nothing is spoiled
        self.faults: Counter[Fault] = Counter()
        self.requests = 0
        self._sandbox_port = sandbox_port
        self._share = share
        self._random = random.Random(seed)
        self._lock = threading.Lock()
        self._server_tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self._server_tls.load_cert_chain(certificates / "server.pem", certificates / "server.key")
        self._client_tls = ssl.create_default_context(cafile=str(certificates / "ca.pem"))
        self._listeners = [socket.create_server(("127.0.0.1", 0))]
        self.port: int = self._listeners[0].getsockname()[1]
        with suppress(OSError):  # a machine without IPv6
            self._listeners.append(
                socket.create_server(("::1", self.port), family=socket.AF_INET6))
        for listener in self._listeners:
            threading.Thread(target=self._accept, args=[listener], daemon=True).start()

    def spoiled(self) -> int:
        with self._lock:
            return sum(self.faults.values())

    def close(self) -> None:
        for listener in self._listeners:
            with suppress(OSError):
                listener.shutdown(socket.SHUT_RDWR)  # ends accept(), which close() does not
            listener.close()

    def _accept(self, listener: socket.socket) -> None:
        while True:
            try:
                plain, _ = listener.accept()
            except OSError:
                return
            threading.Thread(target=self._serve, args=[plain], daemon=True).start()

    def _serve(self, plain: socket.socket) -> None:
        sandbox: Optional[ssl.SSLSocket] = None
        # A client that goes away is no failure of the network's; nor is a sandbox that ends.
        try:
            with suppress(OSError), self._server_tls.wrap_socket(
                    plain, server_side=True) as client, client.makefile("rb") as reader:
                while request := read_message(reader):
                    fault = self._pick()
                    if fault is Fault.CUT:
                        return
                    if fault in ANSWERS:
                        client.sendall(answer(*ANSWERS[fault]))
                        continue
                    sandbox = sandbox or self._connect()
                    reply = ask(sandbox, request)
                    if fault is Fault.DELAYED:
                        time.sleep(DELAY)
                    if fault is Fault.LOST:
                        client.sendall(reply[:len(reply) // 2])
                        return
                    client.sendall(reply)
        finally:
            if sandbox is not None:
                sandbox.close()

    def _connect(self) -> ssl.SSLSocket:
        plain = socket.create_connection(("127.0.0.1", self._sandbox_port), REPLY_TIME)
        plain.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        return self._client_tls.wrap_socket(plain, server_hostname="localhost")

    def _pick(self) -> Optional[Fault]:
        with self._lock:
            self.requests += 1
            if self.calm or self._random.random() >= self._share:
                return None
            fault = self._random.choice(list(Fault))
            self.faults[fault] += 1
            return fault


def ask(sandbox: ssl.SSLSocket, request: bytes) -> bytes:
    sandbox.sendall(request)
    with sandbox.makefile("rb") as replies:
        return read_message(replies)


def answer(status: str, body: bytes) -> bytes:
    head = (f"HTTP/1.1 {status}\r\nContent-Type: application/json\r\n"
            f"Content-Length: {len(body)}\r\n\r\n")
    return head.encode() + body
