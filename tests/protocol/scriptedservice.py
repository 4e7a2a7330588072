"""A service that gives the recorded replies, one of them changed as a test wants it."""

from __future__ import annotations

import copy
import json
import socket
import ssl
import threading
from contextlib import suppress
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

from httpmessages import head_lines, header, read_body, read_head
from recorded import EXCHANGES

# Of the recorded groups, the one whose trackers were not recorded.
OTHER_GROUP = "trackers of another group"
BY_NAME = {exchange.name: exchange for exchange in EXCHANGES}


@dataclass
class Answer:
    """What is sent back to one of the recorded requests."""

    value: Any
    status: str = "200 OK"
    headers: dict[str, str] = field(default_factory=dict)
    body: bytes | None = None  # instead of the value
    whole: bytes | None = None  # instead of all of it; the connection is closed behind it
    held: bool = False  # until the service ends, and then nothing is sent
    drop_seconds: float = 0  # from one byte to the next

    @classmethod
    def recorded(cls, name: str) -> Answer:
        head = BY_NAME[name].reply_head
        headers = dict(line.split(": ", 1) for line in head[1:]
                       if not line.startswith("Content-Length"))
        return cls(copy.deepcopy(BY_NAME[name].reply), head[0].split(" ", 1)[1], headers)

    def wire(self) -> bytes:
        if self.whole is not None:
            return self.whole
        body = self.body
        if body is None:
            body = json.dumps(self.value, ensure_ascii=False).encode("utf-8")
        headers = dict(self.headers)
        if "Transfer-Encoding" in headers:
            body = b"".join(b"%x\r\n%s\r\n" % (len(part), part) for part in (body[:5], body[5:]))
            body += b"0\r\n\r\n"
        elif headers.setdefault("Content-Length", str(len(body))) == "none":
            del headers["Content-Length"]
        lines = [f"HTTP/1.1 {self.status}", *(": ".join(pair) for pair in headers.items())]
        return "\r\n".join(lines).encode("latin-1") + b"\r\n\r\n" + body


def good_answers() -> dict[str, Answer]:
    names = ["login", "groups", "groups-no-session", "trackers", "trackers-no-sim", "details",
             "details-other-group"]
    answers = {name: Answer.recorded(name) for name in names}
    answers[OTHER_GROUP] = Answer.recorded("trackers-no-sim")
    answers[OTHER_GROUP].value["trackers"] = []
    return answers


def answer_name(target: str, has_cookie: bool) -> str:
    """Which of the answers a request gets."""
    path, _, query = target.partition("?")
    if path == "/bsGetMyGroups.php":
        return "groups" if has_cookie else "groups-no-session"
    if path == "/bsGetGroupTrackers.php":
        return {"idgroup=12": "trackers", "idgroup=40": "trackers-no-sim"}.get(query, OTHER_GROUP)
    if path == "/bsGetGroupTrackerInfo.php":
        return "details-other-group" if "groupId=40" in query else "details"
    return "login"


class ScriptedService:
    """Serves one request a connection."""

    def __init__(self, certificate: Path, address: str = "127.0.0.1") -> None:
        self.answers = good_answers()
        self.requests: list[tuple[list[str], str]] = []
        self.arrived = threading.Event()
        self._ended = threading.Event()
        self._tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self._tls.load_cert_chain(certificate, certificate.with_suffix(".key"))
        self._listener = socket.create_server((address, 0))
        self.port: int = self._listener.getsockname()[1]
        self._thread = threading.Thread(target=self._accept, daemon=True)
        self._thread.start()

    def begin_anew(self) -> None:
        self.answers = good_answers()
        self.requests.clear()
        self.arrived.clear()

    def close(self) -> None:
        self._ended.set()
        self._listener.shutdown(socket.SHUT_RDWR)  # ends accept(), which close() does not
        self._thread.join()
        self._listener.close()

    def _accept(self) -> None:
        while True:
            try:
                connection, _ = self._listener.accept()
            except OSError:
                return
            threading.Thread(target=self._serve, args=[connection], daemon=True).start()

    def _serve(self, plain: socket.socket) -> None:
        # A client that goes away, or does not like the certificate, is no failure of this service.
        with suppress(OSError), plain, self._tls.wrap_socket(plain, server_side=True) as connection:
            connection.settimeout(30)
            with connection.makefile("rb") as reader:
                head = read_head(reader)
                body = read_body(reader, head) if head else b""
            if head:
                self.requests.append((head_lines(head), body.decode("utf-8")))
                self.arrived.set()
                self._answer(connection, head_lines(head))

    def _answer(self, connection: ssl.SSLSocket, head: list[str]) -> None:
        answer = self.answers[answer_name(head[0].split(" ")[1], bool(header(head, "Cookie")))]
        if answer.held:
            self._ended.wait()
        elif answer.drop_seconds:
            for number in answer.wire():
                connection.sendall(bytes([number]))
                if self._ended.wait(answer.drop_seconds):
                    return
        else:
            connection.sendall(answer.wire())
