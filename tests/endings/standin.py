"""The web service as the cases need it: answers at once, not at all, or with half a reply."""

from __future__ import annotations

import json
import socket
import ssl
import threading
import time
from contextlib import suppress
from enum import Enum
from pathlib import Path
from typing import Any

from clientprocess import Failure
from httpmessages import read_message

EMAIL = "operator@example.org"
SECRET = "Hush-4711"  # the part of the password that reads the same in every encoding
PASSWORD = f"{SECRET}-&=%+"

GROUPS = [{"id": "12", "group_name": "Club A"}, {"id": "40", "group_name": "Club B"}]
TRACKERS = [
    {"deviceSn": "1000003", "TrackerName": "Wolf", "compe_id": "W", "state": "A", "v": "305",
     "imsi": "1", "p": "N", "groups": [], "activations": [
         {"id": "71", "startTime": "2030-01-05", "endTime": "2030-01-09", "done": "0"},
         {"id": "72", "startTime": "2020-01-01", "endTime": "2020-01-02", "done": "1"}]},
    {"deviceSn": "1000001", "TrackerName": "Fox", "compe_id": "F", "state": "", "v": "305",
     "imsi": "2", "p": "E", "groups": [], "activations": []},
]


class Mode(Enum):
    """What happens to the requests that come from now on; all are read and noted."""

    ANSWER = "answered"
    SILENT = "never answered; the connection stays open"
    HALF = "half a reply, and then silence"


class Standin:
    """Listens on the port that the client was built for."""

    def __init__(self, port: int, certificates: Path) -> None:
        self.port = port
        self.answers: dict[str, Any] = {
            "/bslogin.php": {"id": 7, "name": "Operator"},
            "/bsGetMyGroups.php": {"rcode": 0, "groups": GROUPS},
            "/bsGetGroupTrackers.php": {"rcode": 0, "balance": "1.00 EUR", "trackers": TRACKERS},
            "/bsGetGroupTrackerInfo.php": {"name": "Wolf", "deviceSN": "1000003", "SN": "1000003"},
            "/activateTrackers.php": {"rcode": 0},
            "/extendTrackers.php": {"rcode": 0},
            "/removeActivation.php": {"rcode": 0},
        }
        self.mode = Mode.ANSWER
        self.requests: list[bytes] = []
        self._lock = threading.Lock()
        self._threads: list[threading.Thread] = []
        self._connections: list[ssl.SSLSocket] = []
        self._tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self._tls.load_cert_chain(certificates / "trusted.pem", certificates / "trusted.key")
        self._listeners: list[socket.socket] = []
        for family, address in ((socket.AF_INET, "127.0.0.1"), (socket.AF_INET6, "::1")):
            try:
                listener = socket.create_server((address, port), family=family)
            except OSError as error:
                if family == socket.AF_INET:
                    self.close()
                    raise Failure(f"Port {port}, which this build's client asks, is taken: another "
                                  f"run of this test may be under way. {error}") from error
                continue  # a machine without IPv6
            self._listeners.append(listener)
            self._start(self._accept, listener)

    def _start(self, function: Any, *arguments: Any) -> None:
        thread = threading.Thread(target=function, args=arguments, daemon=True)
        with self._lock:
            self._threads.append(thread)
        thread.start()

    def _accept(self, listener: socket.socket) -> None:
        while True:
            try:
                plain, _ = listener.accept()
            except OSError:
                return
            connection = self._tls.wrap_socket(plain, server_side=True,
                                               do_handshake_on_connect=False)
            with self._lock:
                self._connections.append(connection)
            self._start(self._serve, connection)

    def _serve(self, connection: ssl.SSLSocket) -> None:
        with suppress(OSError), connection.makefile("rb") as reader:
            connection.do_handshake()
            while request := read_message(reader):
                with self._lock:
                    self.requests.append(request)
                    mode = self.mode
                reply = self._reply(path(request))
                if mode is Mode.HALF:
                    reply = reply[:-4]
                if mode is not Mode.SILENT:
                    connection.sendall(reply)
        connection.close()

    def _reply(self, of: str) -> bytes:
        answer = self.answers[of]
        if isinstance(answer, list):  # one after the other; the last one stays
            answer = answer.pop(0) if len(answer) > 1 else answer[0]
        body = json.dumps(answer).encode()
        return (b"HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: "
                b"%d\r\n\r\n%s" % (len(body), body))

    def lines(self) -> list[str]:
        """The request lines, without the protocol's version."""
        with self._lock:
            return [line(request) for request in self.requests]

    def all_lines(self, seconds: float = 10.0) -> list[str]:
        """The same once the client's connections have ended, and nothing more can come."""
        end = time.monotonic() + seconds
        with self._lock:
            threads = list(self._threads)
        for thread in threads[len(self._listeners):]:
            thread.join(max(end - time.monotonic(), 0))
            if thread.is_alive():
                raise Failure("A connection outlives the client.")
        return self.lines()

    def close(self) -> None:
        for listener in self._listeners:
            listener.shutdown(socket.SHUT_RDWR)  # ends accept(), which close() does not
            listener.close()
        with self._lock:
            connections, threads = list(self._connections), list(self._threads)
        for connection in connections:
            with suppress(OSError):
                # The plain one: the one of TLS would take the object from the reading thread.
                socket.socket.shutdown(connection, socket.SHUT_RDWR)
        for thread in threads:
            thread.join()


def line(request: bytes) -> str:
    return request.partition(b"\r\n")[0].decode("latin-1").rpartition(" ")[0]


def path(request: bytes) -> str:
    return line(request).split(" ")[1].partition("?")[0]
