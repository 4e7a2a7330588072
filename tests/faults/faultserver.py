"""The web service as a client meets it on a bad day: good replies, until it is told to fail.

It speaks raw bytes over TLS, so a fault can be performed at any point of a connection's life."""

from __future__ import annotations

import copy
import json
import socket
import ssl
import struct
import threading
import time
import traceback
from collections import Counter
from collections.abc import Callable, Iterable
from contextlib import suppress
from dataclasses import dataclass
from datetime import date, timedelta
from enum import Enum, auto
from functools import cached_property
from pathlib import Path
from typing import Any
from urllib.parse import unquote

from httpmessages import head_lines, header

HANG_UP_TIME = 10.0  # seconds within which a client closes its end of a closed connection
HOLD_TIME = 60.0  # seconds after which nothing is held any more, whatever the player does
SYN_SENT = "02"  # in the system's table
SESSION = "session=5d1f0c; Path=/; Secure; HttpOnly"
# How NTLM begins: the framework says it by itself, and names neither user nor domain nor machine.
NTLM_OPENER = "NTLM TlRMTVNTUAABAAAABYIIAAAAAAAAAAAAAAAAAAAAAAA="
RESET = struct.pack("ii", 1, 0)  # linger on, for no time: closing sends a reset

# How a request is told from others, and the name under which it is counted.
REQUESTS = {
    "/bslogin.php": "login", "/bsGetMyGroups.php": "groups", "/bsGetGroupTrackers.php": "trackers",
    "/bsGetGroupTrackerInfo.php?getInfo": "details",
    "/bsGetGroupTrackerInfo.php?saveInfo": "save", "/activateTrackers.php": "activate",
    "/extendTrackers.php": "profile", "/removeActivation.php": "remove"}
POSTS = {"login", "activate", "profile"}

GROUPS = [{"id": "7", "group_name": "Gliders"}, {"id": "8", "group_name": "Spares"}]


def balance(table: int) -> str:
    """Tells the client's tables apart: each good list of trackers carries another one."""
    return f"{table}.00 EUR"


class Books:
    """What the service has of each tracker; requests that are carried out change it."""

    def __init__(self, first: int = 42) -> None:
        self.next = first  # the number of the next period
        self._trackers: dict[str, dict[str, Any]] = {}
        for serial, name, state, groups in (
                ("96385074", "Kestrel", "A", ["7"]), ("96385075", "Kite", "", ["7", "8"]),
                ("96385076", "Buzzard", None, ["7"])):
            self._trackers[serial] = {
                "deviceSn": serial, "TrackerName": name, "compe_id": name[:1], "state": state,
                "v": "305", "imsi": f"9014051{serial}", "p": "N",
                "groups": [{"id": group} for group in groups], "activations": []}
        self._book("96385074", "2026-03-20", 7)

    def trackers(self, group: str) -> list[dict[str, Any]]:
        return copy.deepcopy([tracker for tracker in self._trackers.values()
                              if {"id": group} in tracker["groups"]])

    def name(self, serial: str) -> str:
        return str(self._trackers[serial]["TrackerName"])

    def carry_out(self, kind: str, items: dict[str, str]) -> None:
        if kind == "save":
            self._trackers[items["SN"]]["TrackerName"] = items["name"]
        elif kind == "remove":
            for tracker in self._trackers.values():
                tracker["activations"] = [period for period in tracker["activations"]
                                          if period["id"] != items["activationId"]]
        elif kind in ("activate", "profile"):
            for entry in json.loads(items["posted"]):
                if kind == "activate":
                    self._book(entry["deviceSn"], entry["start"], int(entry["days"]))
                else:
                    profile = {"Y": "E", "N": "N"}[items["extend"]]
                    self._trackers[entry["deviceSn"]]["p"] = profile

    def _book(self, serial: str, start: str, days: int) -> None:
        last = date.fromisoformat(start) + timedelta(days=days - 1)
        self._trackers[serial]["activations"].append(
            {"id": str(self.next), "startTime": start, "endTime": last.isoformat(), "done": "0"})
        self.next += 1


@dataclass(frozen=True)
class Request:
    """What arrived, whole or not."""

    head: bytes
    body: bytes

    @property
    def target(self) -> str:
        return self.head.split(b" ", 2)[1].decode("latin-1")

    @property
    def kind(self) -> str:
        """One of the eight, or the target of what no client should ask for."""
        path, _, query = self.target.partition("?")
        function = query.partition("&")[0].partition("=")
        return REQUESTS.get(f"{path}?{function[2]}" if function[0] == "fx" else path, self.target)

    @property
    def items(self) -> dict[str, str]:
        """The form's, whether it came as a query or as a body."""
        query = self.body.decode() or self.target.partition("?")[2]
        pairs = (item.partition("=") for item in query.split("&"))
        return {name: unquote(value) for name, _, value in pairs}

    def header(self, name: str) -> str:
        return header(head_lines(self.head), name)


@dataclass(frozen=True)
class Reply:
    """A good reply, in parts that a fault can bend."""

    body: bytes
    headers: tuple[str, ...] = ()

    def head(self, status: str = "200 OK", *headers: str, length: int | str | None = -1) -> bytes:
        """Status line and headers; a length of None is none, -1 the body's own."""
        lines = [f"HTTP/1.1 {status}", "Content-Type: application/json", *self.headers, *headers]
        if length is not None:
            lines.append(f"Content-Length: {len(self.body) if length == -1 else length}")
        return "\r\n".join([*lines, "", ""]).encode("latin-1")

    def whole(self, status: str = "200 OK", *headers: str) -> bytes:
        return self.head(status, *headers) + self.body


class Connection:
    """A client's connection: plain at first, TLS from start_tls() on."""

    def __init__(self, server: Server, plain: socket.socket) -> None:
        self.server = server
        self.socket: socket.socket = plain
        self.open = True
        self._unread = b""
        plain.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)

    def start_tls(self) -> None:
        tls = self.server.tls.wrap_socket(self.socket, server_side=True,
                                          do_handshake_on_connect=False)
        self.server.exchange_sockets(self.socket, tls)
        self.socket = tls
        tls.do_handshake()

    def receive(self) -> bool:
        """Reads on; False at the end."""
        # Without it a post waits 40 ms for the system to acknowledge its first segment.
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_QUICKACK, 1)
        chunk = self.socket.recv(65536)
        self._unread += chunk
        return bool(chunk)

    def read_head(self) -> bytes:
        """Up to the blank line; nothing if the connection has ended."""
        while b"\r\n\r\n" not in self._unread:
            if not self.receive():
                return b""
        head, _, self._unread = self._unread.partition(b"\r\n\r\n")
        return head

    def read_body(self, length: int) -> bytes:
        while len(self._unread) < length:
            if not self.receive():
                return b""
        body, self._unread = self._unread[:length], self._unread[length:]
        return body

    def send(self, *pieces: bytes) -> None:
        for piece in pieces:
            self.socket.sendall(piece)

    def shut_down(self) -> None:
        """Ends it below TLS, without a word, and waits for the client to do the same."""
        self.open = False
        with suppress(OSError):
            socket.socket.shutdown(self.socket, socket.SHUT_WR)
            self.socket.settimeout(HANG_UP_TIME)
            while socket.socket.recv(self.socket, 65536):
                pass

    def reset(self) -> None:
        self.open = False
        with suppress(OSError):
            self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, RESET)
            self.socket.close()

    def hold(self) -> None:
        """Says and does nothing more until the server lets go."""
        released = self.server.hold()
        released.wait(HOLD_TIME)
        self.shut_down()


@dataclass
class Exchange:
    """A request that a fault is to answer."""

    connection: Connection
    request: Request

    @cached_property
    def reply(self) -> Reply:
        """The good one: the request is carried out when a fault first looks at it."""
        return self.connection.server.good_reply(self.request)

    def send(self, *pieces: bytes) -> None:
        self.connection.send(*pieces)


class Place(Enum):
    """The point of a connection's life at which a fault is performed."""

    NETWORK = auto()  # around the whole of it: what performs it takes the player's world
    ACCEPTED = auto()  # before the first byte
    ENCRYPTED = auto()  # before a request is read
    BEGUN = auto()  # with the head of the request read
    ARRIVED = auto()  # with the whole of it read


@dataclass(frozen=True)
class Armed:
    """What is done to whom."""

    place: Place
    perform: Callable[[Any], None]
    kind: str | None  # None: to every request

    def at(self, place: Place, kind: str | None = None) -> bool:
        return self.place is place and (kind is None or self.kind in (None, kind))


class Server:
    """Listens at an address of its own, one thread a connection."""

    def __init__(self, address: str, port: int, certificate: Path, key: Path) -> None:
        self.address = (address, port)
        self._lock = threading.Condition()
        self._armed: Armed | None = None
        self._listener: socket.socket | None = None
        self._acceptor: threading.Thread | None = None
        self._busy: set[Connection] = set()
        self._idle: set[Connection] = set()  # those that wait for a request
        self._sockets: set[socket.socket] = set()
        self._released = threading.Event()
        self._arrived: Counter[str] = Counter()
        self._held = 0
        self._books = Books()
        self._newest = balance(0)
        self._lists: dict[str, list[dict[str, Any]]] = {}
        self._cookies: dict[str, str] = {}
        self._credentials: list[str] = []
        self.errors: list[str] = []  # the server's own, not the client's
        self.show_certificate(certificate, key)
        self.listen()
        self._elsewhere = socket.create_server((address, 0))
        self._elsewhere.setblocking(False)

    # What the player does

    def arm(self, place: Place, perform: Callable[[Any], None], kind: str | None) -> None:
        with self._lock:
            self._armed = Armed(place, perform, kind)

    def disarm(self) -> None:
        with self._lock:
            self._armed = None

    def show_certificate(self, certificate: Path, key: Path) -> None:
        """To the connections that come from now on; none of them can resume an older one."""
        tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        tls.load_cert_chain(certificate, key)
        self.tls = tls

    def listen(self, backlog: int = 128) -> None:
        self._listener = socket.create_server(self.address, backlog=backlog)
        self._acceptor = threading.Thread(target=self._accept, args=[self._listener], daemon=True)
        self._acceptor.start()

    def stop_listening(self) -> None:
        if self._listener is None or self._acceptor is None:
            return
        with suppress(OSError):
            self._listener.shutdown(socket.SHUT_RDWR)  # ends accept(), which close() does not
        self._acceptor.join()
        self._listener.close()
        self._listener = None

    def drop_idle(self) -> None:
        """Closes all connections of a client that asks for nothing; returns when the client has
        closed them, too. What it asks for next needs a new connection."""
        end = time.monotonic() + HANG_UP_TIME
        while self.is_called():  # a connection that the system still tries to make comes, too
            if time.monotonic() > end:
                raise TimeoutError("a connection is not made in the end")
            time.sleep(0.01)
        with self._lock:
            if not self._lock.wait_for(lambda: not self._busy, end - time.monotonic()):
                raise TimeoutError("a request is not answered in the end")
            for connection in self._idle:
                with suppress(OSError):
                    socket.socket.shutdown(connection.socket, socket.SHUT_WR)
            if not self._lock.wait_for(lambda: not self._idle, end - time.monotonic()):
                raise TimeoutError("the client keeps connections that the server has closed")

    def is_called(self) -> bool:
        """Whether a connection to it is being made, for all that the system knows."""
        host, port = self.address
        wanted = f"{socket.inet_aton(host)[::-1].hex().upper()}:{port:04X}"
        lines = Path("/proc/net/tcp").read_text(encoding="ascii").splitlines()[1:]
        return any(fields[2] == wanted and fields[3] == SYN_SENT
                   for fields in map(str.split, lines))

    def release(self) -> None:
        """Lets go of all that is held."""
        with self._lock:
            self._released.set()
            self._released = threading.Event()
            self._held = 0

    def arrivals(self) -> Counter[str]:
        """How many requests of each kind came; one that was begun counts."""
        with self._lock:
            return self._arrived.copy()

    @property
    def held(self) -> int:
        with self._lock:
            return self._held

    @property
    def table(self) -> str:
        """The balance in the newest good list of trackers."""
        with self._lock:
            return self._newest

    def list_of(self, table: str) -> list[dict[str, Any]]:
        """The trackers that came with this balance."""
        with self._lock:
            return self._lists[table]

    def name(self, serial: str) -> str:
        with self._lock:
            return self._books.name(serial)

    def cookies(self) -> dict[str, str]:
        """What each kind of request last carried."""
        with self._lock:
            return dict(self._cookies)

    def credentials(self) -> list[str]:
        """What was ever sent to prove who asks, besides the login's form."""
        with self._lock:
            return list(self._credentials)

    @property
    def elsewhere(self) -> int:
        """A port where nobody should ever connect."""
        return int(self._elsewhere.getsockname()[1])

    def strays(self) -> int:
        """How many did so since this was last asked."""
        count = 0
        with suppress(BlockingIOError):
            while True:
                self._elsewhere.accept()[0].close()
                count += 1
        return count

    def close(self) -> None:
        self.release()
        self.stop_listening()
        self._elsewhere.close()
        with self._lock:
            for opened in self._sockets:
                with suppress(OSError):
                    socket.socket.shutdown(opened, socket.SHUT_RDWR)

    # What connections do

    def hold(self) -> threading.Event:
        with self._lock:
            self._held += 1
            self._lock.notify_all()
            return self._released

    def exchange_sockets(self, old: socket.socket, new: socket.socket) -> None:
        with self._lock:
            self._sockets.discard(old)
            self._sockets.add(new)

    def _accept(self, listener: socket.socket) -> None:
        while True:
            try:
                plain, _ = listener.accept()
            except OSError:
                return
            connection = Connection(self, plain)
            with self._lock:
                self._sockets.add(plain)
                self._busy.add(connection)
            threading.Thread(target=self._serve, args=[connection], daemon=True).start()

    def _serve(self, connection: Connection) -> None:
        # A client that goes away is no failure of the server's; the player sees what comes of it.
        try:
            self._perform(Place.ACCEPTED, connection)
            if connection.open:
                connection.start_tls()
                self._perform(Place.ENCRYPTED, connection)
            while connection.open and self._answer(connection):
                pass
        except OSError:
            pass
        except Exception:
            with self._lock:
                self.errors.append(traceback.format_exc())
        connection.shut_down()
        with self._lock:
            self._busy.discard(connection)
            self._idle.discard(connection)
            self._sockets.discard(connection.socket)
            self._lock.notify_all()
        connection.socket.close()

    def _perform(self, place: Place, what: Connection | Exchange, kind: str | None = None) -> bool:
        with self._lock:
            armed = self._armed
        if armed is None or not armed.at(place, kind):
            return False
        armed.perform(what)
        return True

    def _answer(self, connection: Connection) -> bool:
        """False when the connection has ended."""
        with self._lock:
            self._busy.discard(connection)
            self._idle.add(connection)
            self._lock.notify_all()
        head = connection.read_head()
        if not head:
            return False
        request = Request(head, b"")
        with self._lock:
            self._idle.discard(connection)
            self._busy.add(connection)
            self._arrived[request.kind] += 1
            self._cookies[request.kind] = request.header("Cookie")
            self._credentials += [value for value in (request.header("Authorization"),
                                                      request.header("Proxy-Authorization"))
                                  if value not in ("", NTLM_OPENER)]
            self._lock.notify_all()
        if self._perform(Place.BEGUN, connection, request.kind):
            return connection.open
        body = connection.read_body(int(request.header("Content-Length") or 0))
        request = Request(head, body)
        with self._lock:
            armed = self._armed
        exchange = Exchange(connection, request)
        if armed is not None and armed.at(Place.ARRIVED, request.kind):
            armed.perform(exchange)
        else:
            exchange.send(exchange.reply.whole())
        return connection.open

    # Replies

    def good_reply(self, request: Request) -> Reply:
        with self._lock:
            if request.kind == "login":
                # Every session begins on the same morning. Periods are not numbered alike: a removal
                # that was held in an earlier one must not find another period.
                self._books = Books(self._books.next)
                return json_reply({"id": 12, "msg": "", "name": "Ada"}, f"Set-Cookie: {SESSION}")
            if request.kind == "groups":
                return json_reply({"rcode": 0, "groups": GROUPS})
            items = request.items
            if request.kind == "trackers":
                trackers = self._books.trackers(items["idgroup"])
                self._newest = balance(int(self._newest.partition(".")[0]) + 1)
                self._lists[self._newest] = trackers
                return json_reply({"rcode": 0, "balance": self._newest, "trackers": trackers})
            if request.kind == "details":
                return json_reply({"name": self._books.name(items["SN"]), "deviceSN": items["SN"],
                                   "SN": items["SN"]})
            self._books.carry_out(request.kind, items)
            return json_reply({"rcode": 0})


def json_reply(value: Any, *headers: str) -> Reply:
    return Reply(json.dumps(value).encode(), headers)


def chunked(pieces: Iterable[bytes]) -> bytes:
    """Without the last chunk, which ends a body."""
    return b"".join(b"%x\r\n%s\r\n" % (len(piece), piece) for piece in pieces)
