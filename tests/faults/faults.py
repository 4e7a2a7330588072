"""The table of faults: what goes wrong, where, and what comes of it.

A new fault is a new row; the player, the slice that every run plays and the document follow."""

from __future__ import annotations

import fcntl
import gzip
import json
import socket
import ssl
import struct
import termios
import time
import zlib
from collections.abc import Callable, Iterator
from contextlib import AbstractContextManager, contextmanager, suppress
from dataclasses import dataclass, field, replace
from datetime import datetime
from functools import partial
from pathlib import Path
from typing import Any

from commands import Desk, Shown
from faultserver import Connection, Exchange, Place, Reply, chunked
from qtversions import is_qt6
from remoteclient import NOW

GOOD, EMPTY, HELD, ODD = Shown.GOOD, Shown.EMPTY, Shown.HELD, Shown.ODD
FREEZE = 1000.0  # ms that the event loop may take, unless a fault says otherwise
NONSENSE = b"<html>It works!</html> \x00\xff{"
HALF_A_STATUS_LINE = b"HTTP/1.1 2"
ATTEMPTS = 4  # the framework's: a get that got no status line is sent again three times
TEN_YEARS_ON, TEN_YEARS_BACK = NOW.replace(year=NOW.year + 10), NOW.replace(year=NOW.year - 10)
TLS_HANDSHAKE, SERVER_HELLO = 22, 2

Begun = Callable[[], bool]
Around = Callable[["World"], AbstractContextManager[Begun]]


@dataclass(frozen=True)
class Fault:
    """One row. What is said of gets and posts is what the window shows of them."""

    section: str
    name: str
    place: Place
    perform: Callable[[Any], Any]  # of the network: an Around
    get: Shown = EMPTY
    post: Shown = EMPTY
    gets: int = 1  # how often a get arrives while the fault lasts
    gets_vary: int = 0  # how many more there may be: the framework's connections differ
    posts: int = 1
    everything: bool = False  # whether it befalls the reload behind a command, too
    # What becomes of a request that was held. With the next connection, or when it is let go?
    later_get: Shown = GOOD
    later_post: Shown = EMPTY
    resumes: bool = False
    freeze: float = FREEZE
    quickest: str = ""  # the command of the slice, where others take long
    spoils: bool = False  # whether the process is of no more use for a measurement
    on_qt6: dict[str, Any] = field(default_factory=dict)  # what of it is otherwise there

    def of(self, version: str) -> Fault:
        """The row as it is with that version of the framework."""
        return replace(self, on_qt6={}, **self.on_qt6) if is_qt6(version) else self

    def shown(self, is_post: bool) -> Shown:
        return self.post if is_post else self.get

    def later(self, is_post: bool) -> Shown:
        return self.later_post if is_post else self.later_get

    def times(self, is_post: bool) -> range:
        """How often the request may arrive."""
        least, more = (self.posts, 0) if is_post else (self.gets, self.gets_vary)
        return range(least, least + more + 1)


@dataclass
class World:
    """What a fault of the network can reach."""

    desk: Desk
    certificates: dict[str, tuple[Path, Path]]


# The network

def at_once() -> bool:
    return True


@contextmanager
def undisturbed(world: World) -> Iterator[Begun]:
    yield at_once


@contextmanager
def refused(world: World) -> Iterator[Begun]:
    server = world.desk.server
    server.stop_listening()
    yield at_once
    server.listen()


@contextmanager
def black_hole(world: World) -> Iterator[Begun]:
    """A queue that is full: the system drops what more would come, without a word."""
    server = world.desk.server
    server.stop_listening()
    with socket.socket() as listener:
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        listener.bind(server.address)
        listener.listen(0)
        with socket.create_connection(server.address):
            yield server.is_called
    server.listen()


@contextmanager
def unknown_host(world: World) -> Iterator[Begun]:
    world.desk.client.names("unknown")
    yield at_once
    world.desk.client.names("known")


@contextmanager
def silent_resolver(world: World) -> Iterator[Begun]:
    world.desk.client.names("silent")
    yield lambda: bool(world.desk.client.see().report["names_waiting"])
    world.desk.client.names("known")


@contextmanager
def certificate(name: str, world: World) -> Iterator[Begun]:
    world.desk.server.show_certificate(*world.certificates[name])
    yield at_once
    world.desk.server.show_certificate(*world.certificates["server"])


@contextmanager
def clock(moment: datetime, world: World) -> Iterator[Begun]:
    # Not as a session that was agreed on earlier, either.
    world.desk.server.show_certificate(*world.certificates["server"])
    world.desk.client.set_clock(moment)
    yield at_once
    world.desk.client.set_clock(NOW)


# Connections

def hold(connection: Connection) -> None:
    connection.hold()


def close(connection: Connection) -> None:
    connection.shut_down()


def reset(connection: Connection) -> None:
    connection.reset()


def half_server_hello(connection: Connection) -> None:
    incoming, outgoing = ssl.MemoryBIO(), ssl.MemoryBIO()
    tls = connection.server.tls.wrap_bio(incoming, outgoing, server_side=True)
    answer = b""
    while not answer:
        incoming.write(connection.socket.recv(65536))
        with suppress(ssl.SSLWantReadError):
            tls.do_handshake()
        answer = outgoing.read()
    assert answer[0] == TLS_HANDSHAKE and answer[5] == SERVER_HELLO
    length = int.from_bytes(answer[3:5], "big")
    connection.send(answer[:length // 2])
    connection.hold()


# Requests and replies

Performance = Callable[[Exchange], None]


def ends(how: Callable[[Connection], None], bytes_: Callable[[Exchange], bytes]) -> Performance:
    """Sends these bytes, then ends the connection so."""
    def perform(exchange: Exchange) -> None:
        exchange.send(bytes_(exchange))
        how(exchange.connection)

    return perform


def sends(bytes_: Callable[[Exchange], bytes]) -> Performance:
    return lambda exchange: exchange.send(bytes_(exchange))


def nothing(exchange: Exchange) -> bytes:
    return b""


def carried_out_and_lost(exchange: Exchange) -> None:
    assert exchange.reply.body
    exchange.connection.shut_down()


def constant(value: bytes) -> Callable[[Exchange], bytes]:
    return lambda exchange: value


def good(exchange: Exchange) -> bytes:
    return exchange.reply.whole()


def page(status: str, *headers: str) -> Callable[[Exchange], bytes]:
    """What a server in between says, in words for people."""
    reply = Reply(f"<html><h1>{status}</h1></html>".encode())
    return lambda exchange: reply.whole(status, *headers)


def good_with(status: str, *headers: str) -> Callable[[Exchange], bytes]:
    return lambda exchange: exchange.reply.whole(status, *headers)


def head_with(*headers: str, length: int | str | None) -> Callable[[Exchange], bytes]:
    return lambda exchange: exchange.reply.head("200 OK", *headers, length=length)


def half_the_body(exchange: Exchange) -> bytes:
    body = exchange.reply.body
    return exchange.reply.head() + body[:len(body) // 2]


def byte_by_byte(exchange: Exchange) -> None:
    whole = exchange.reply.whole()
    exchange.send(*(whole[place:place + 1] for place in range(len(whole))))


def body_longer_than_said(exchange: Exchange) -> bytes:
    return exchange.reply.whole() + b'{"id":0,"rcode":-99}'


def two_replies(exchange: Exchange) -> bytes:
    return exchange.reply.whole() + Reply(b'{"id":0,"rcode":-99}').whole()


def in_chunks(bend: Callable[[bytes], bytes]) -> Callable[[Exchange], bytes]:
    def reply(exchange: Exchange) -> bytes:
        return (exchange.reply.head("200 OK", "Transfer-Encoding: chunked", length=None)
                + bend(exchange.reply.body))

    return reply


def three_chunks(body: bytes) -> bytes:
    third = len(body) // 3 + 1
    return chunked(body[start:start + third] for start in range(0, len(body), third))


def packed(coding: str, bend: Callable[[bytes], bytes]) -> Callable[[Exchange], bytes]:
    packs: dict[str, Callable[[bytes], bytes]] = {"gzip": gzip.compress, "deflate": zlib.compress}

    def reply(exchange: Exchange) -> bytes:
        body = bend(packs[coding](exchange.reply.body))
        return replace(exchange.reply, body=body).whole("200 OK", f"Content-Encoding: {coding}")

    return reply


def halved(data: bytes) -> bytes:
    return data[:len(data) // 2]


def broken(data: bytes) -> bytes:
    middle = len(data) // 2
    return data[:middle] + bytes(255 - byte for byte in data[middle:middle + 16]) \
        + data[middle + 16:]


def plain_body(data: bytes) -> bytes:
    return NONSENSE


def body(value: bytes) -> Callable[[Exchange], bytes]:
    return lambda exchange: replace(exchange.reply, body=value).whole()


def redirect(status: str, where: str) -> Callable[[Exchange], bytes]:
    def reply(exchange: Exchange) -> bytes:
        server = exchange.connection.server
        host, port = server.address
        target = {"another host": f"https://{host}:{server.elsewhere}/moved",
                  "another name": f"https://elsewhere.example:{port}/moved",
                  "another path": "/moved.php",
                  "plain HTTP": f"http://localhost:{server.elsewhere}/moved"}[where]
        return page(status, f"Location: {target}")(exchange)

    return reply


def slowly_reset(exchange: Exchange) -> None:
    """The reply's first half has been read when the connection is reset."""
    exchange.send(half_the_body(exchange))
    while unread_by_client(exchange.connection):
        time.sleep(0.001)
    exchange.connection.reset()


def unread_by_client(connection: Connection) -> bool:
    unsent = fcntl.ioctl(connection.socket.fileno(), termios.TIOCOUTQ, b"\0\0\0\0")
    return bool(struct.unpack("i", unsent)[0])


# The table

def network(name: str, around: Around, **items: Any) -> Fault:
    items.setdefault("everything", True)
    return Fault("The network", name, Place.NETWORK, around, **items)


def early(section: str, name: str, place: Place, perform: Callable[[Connection], None],
          **items: Any) -> Fault:
    """Before a request is known, so it befalls every one."""
    items = {"gets": 0, "posts": 0, "everything": True} | items
    return Fault(section, name, place, perform, **items)


def late(section: str, name: str, perform: Performance, **items: Any) -> Fault:
    return Fault(section, name, Place.ARRIVED, perform, **items)


HELD_TO_THE_END = {"get": HELD, "post": HELD}
TILL_THE_NEXT = {**HELD_TO_THE_END, "gets": 0, "posts": 0, "later_post": GOOD, "resumes": True}
REPEATED: dict[str, Any] = {"gets": ATTEMPTS, "everything": True}
AS_GOOD = {"get": GOOD, "post": GOOD}
AS_ODD = {"get": ODD, "post": ODD}

NETWORK_FAULTS = [
    network("connection refused", refused, gets=0, posts=0),
    network("host unknown", unknown_host, gets=0, posts=0),
    network("name server silent", silent_resolver, **TILL_THE_NEXT),
    network("black hole", black_hole, **TILL_THE_NEXT),
    network("idle connections closed before the request", undisturbed, **AS_GOOD),
    network("certificate changed to another valid one", partial(certificate, "other"), **AS_GOOD),
    network("certificate changed to a stranger's", partial(certificate, "stranger"), gets=0,
            posts=0),
    network("clock ten years on", partial(clock, TEN_YEARS_ON), gets=0, posts=0),
    network("clock ten years back", partial(clock, TEN_YEARS_BACK), gets=0, posts=0),
]

SILENCE = "Silence"
SILENT_FAULTS = [
    early(SILENCE, "silent before TLS", Place.ACCEPTED, hold, **TILL_THE_NEXT),
    early(SILENCE, "silent within the server's first TLS message", Place.ACCEPTED,
          half_server_hello, **TILL_THE_NEXT),
    early(SILENCE, "silent after TLS", Place.ENCRYPTED, hold, **HELD_TO_THE_END),
    late(SILENCE, "silent after the request", ends(hold, nothing), everything=True,
         **HELD_TO_THE_END),
    late(SILENCE, "silent within the status line", ends(hold, constant(HALF_A_STATUS_LINE)),
         **HELD_TO_THE_END),
    late(SILENCE, "silent after the headers", ends(hold, head_with(length=-1)), later_get=EMPTY,
         **HELD_TO_THE_END),
    late(SILENCE, "silent within the body", ends(hold, half_the_body), later_get=EMPTY,
         **HELD_TO_THE_END),
]

CLOSED = "Closed and reset"
CLOSED_FAULTS = [
    early(CLOSED, "closed before TLS", Place.ACCEPTED, close),
    early(CLOSED, "reset before TLS", Place.ACCEPTED, reset),
    early(CLOSED, "closed after TLS", Place.ENCRYPTED, close),
    early(CLOSED, "reset after TLS", Place.ENCRYPTED, reset),
    Fault(CLOSED, "closed within the request", Place.BEGUN, close, **REPEATED),
    Fault(CLOSED, "reset within the request", Place.BEGUN, reset, **REPEATED),
    late(CLOSED, "closed after the request", ends(close, nothing), **REPEATED),
    late(CLOSED, "reset after the request", ends(reset, nothing), **REPEATED),
    late(CLOSED, "answer lost: carried out, then closed", carried_out_and_lost, **REPEATED),
    late(CLOSED, "closed within the status line", ends(close, constant(HALF_A_STATUS_LINE)),
         **REPEATED),
    late(CLOSED, "reset within the body", slowly_reset),
]

TEXT = "Status lines and their replies"
TEXT_FAULTS = [
    late(TEXT, "a page with status 200", sends(body(NONSENSE)), everything=True),
    late(TEXT, "a page in place of a status line", ends(close, constant(NONSENSE * 20)),
         gets=ATTEMPTS),
    late(TEXT, "junk for a status code",
         ends(close, constant(b"HTTP/1.1 abc OK\r\nContent-Length: 0\r\n\r\n")),
         gets=ATTEMPTS),
    late(TEXT, "junk for a version",
         ends(close, constant(b"HTTP/x.y 200 OK\r\nContent-Length: 0\r\n\r\n")),
         gets=ATTEMPTS),
    late(TEXT, "1,000 times 100 Continue, then a good reply",
         sends(lambda exchange: b"HTTP/1.1 100 Continue\r\n\r\n" * 1000 + good(exchange)),
         **AS_GOOD),
    # Only 100 is passed over: the first 103 is the reply, and what follows ends the connection.
    late(TEXT, "100 times 103 Early Hints, then a good reply",
         sends(lambda exchange: b"HTTP/1.1 103 Early Hints\r\n\r\n" * 100 + good(exchange))),
    late(TEXT, "204, no body", sends(constant(b"HTTP/1.1 204 No Content\r\n\r\n"))),
    late(TEXT, "304, no body", sends(constant(b"HTTP/1.1 304 Not Modified\r\n\r\n"))),
    late(TEXT, "206 with a good body",
         sends(good_with("206 Partial Content", "Content-Range: bytes 0-9/10")), **AS_GOOD),
    *(late(TEXT, status, sends(page(status)))
      for status in ("403 Forbidden", "404 Not Found", "429 Too Many Requests",
                     "500 Internal Server Error", "502 Bad Gateway", "503 Service Unavailable")),
    late(TEXT, "500 with a good body", sends(good_with("500 Internal Server Error")), **AS_GOOD),
]

REDIRECTS = [
    late("Redirects", f"{status} to {where}", sends(redirect(status, where)))
    for status in ("301 Moved Permanently", "302 Found", "303 See Other", "307 Temporary Redirect",
                   "308 Permanent Redirect")
    for where in ("another host", "another name", "another path", "plain HTTP")
]

LOGINS = [
    *(late("Requests to log in", f"401, {scheme.partition(' ')[0]}",
           sends(page("401 Unauthorized", f"WWW-Authenticate: {scheme}")),
           gets_vary=int(scheme == "NTLM"))
      for scheme in ('Basic realm="x"', 'Digest realm="x", nonce="5d1f", qop="auth"', "NTLM",
                     "Negotiate")),
    late("Requests to log in", "407, Basic",
         sends(page("407 Proxy Authentication Required", 'Proxy-Authenticate: Basic realm="x"'))),
]

FRAMES = "Lengths, chunks and packing"
FRAME_FAULTS = [
    late(FRAMES, "one byte at a time", byte_by_byte, **AS_GOOD),
    late(FRAMES, "body cut", ends(close, half_the_body)),
    late(FRAMES, "body longer than said", sends(body_longer_than_said), **AS_GOOD),
    late(FRAMES, "two replies in one segment", sends(two_replies), **AS_GOOD),
    late(FRAMES, "no length, closed at the end",
         ends(close, lambda exchange: exchange.reply.head(length=None) + exchange.reply.body),
         **AS_GOOD),
    late(FRAMES, "a negative length, closed at the end",
         ends(close, lambda exchange: exchange.reply.head(length="-5") + exchange.reply.body),
         **AS_GOOD),
    late(FRAMES, "junk for a length, closed at the end",
         ends(close, lambda exchange: exchange.reply.head(length="many") + exchange.reply.body),
         **AS_GOOD),
    late(FRAMES, "good chunks", sends(in_chunks(lambda data: three_chunks(data) + b"0\r\n\r\n")),
         **AS_GOOD),
    late(FRAMES, "junk for a chunk's size",
         ends(close, in_chunks(lambda data: b"zz\r\n" + data + b"\r\n0\r\n\r\n"))),
    late(FRAMES, "a negative chunk", ends(close, in_chunks(
        lambda data: b"-5\r\n" + data + b"\r\n0\r\n\r\n"))),
    late(FRAMES, "a huge chunk", ends(close, in_chunks(
        lambda data: b"7fffffffffffffff\r\n" + data)), **AS_GOOD),
    late(FRAMES, "a chunk beyond all numbers", ends(close, in_chunks(
        lambda data: b"f" * 40 + b"\r\n" + data))),
    late(FRAMES, "the last chunk missing, closed", ends(close, in_chunks(three_chunks)),
         **AS_GOOD),
    late(FRAMES, "the last chunk missing, silence", ends(hold, in_chunks(three_chunks)),
         later_post=GOOD, **HELD_TO_THE_END),
    *(late(FRAMES, f"{coding}, {how}", sends(packed(coding, bend)))
      for coding in ("gzip", "deflate")
      for how, bend in (("cut", halved), ("broken", broken), ("not packed at all", plain_body))),
    late(FRAMES, "good gzip", sends(packed("gzip", bytes)), **AS_GOOD),
]

HEADERS = "Headers and cookies"


def cookies(*values: str) -> list[str]:
    return [f"Set-Cookie: {value}" for value in values]


def with_headers(*headers: str) -> dict[str, Any]:
    """A good reply with these besides its own."""
    return {"perform": sends(good_with("200 OK", *headers)), **AS_GOOD}


def with_unread_headers(*headers: str) -> dict[str, Any]:
    """Qt 6 reads all headers of a reply or none of them: none where they are too many or too long
    or the name of one is none. Then it knows no length, and waits until the server closes."""
    return {**with_headers(*headers),
            "on_qt6": {"perform": ends(hold, good_with("200 OK", *headers)), **HELD_TO_THE_END,
                       "later_get": GOOD, "later_post": GOOD}}


HEADER_FAULTS = [
    late(HEADERS, "one header of 64 KB", **with_headers(f"X-Long: {'x' * 65536}")),
    late(HEADERS, "one header of 128 KB", **with_unread_headers(f"X-Long: {'x' * 131072}")),
    late(HEADERS, "five headers of 64 KB",
         **with_unread_headers(*(f"X-Long-{number}: {'x' * 65536}" for number in range(5)))),
    # With those that a good reply has there are never more than a hundred.
    late(HEADERS, "97 headers", **with_headers(*(f"X-Header-{number}: x" for number in range(97)))),
    late(HEADERS, "2,000 headers",
         **with_unread_headers(*(f"X-Header-{number}: x" for number in range(2000)))),
    late(HEADERS, "a header's name with a blank", **with_unread_headers("X Header: x")),
    late(HEADERS, "100 cookies", **with_unread_headers(*cookies(
        *(f"many{number}=1; Max-Age=600" for number in range(100))))),
    late(HEADERS, "1,000 cookies", freeze=10000, quickest="save", spoils=True,
         **with_unread_headers(*cookies(*(f"many{number}=1" for number in range(1000))))),
    late(HEADERS, "a foreign cookie",
         **with_headers(*cookies("foreign=1; Domain=elsewhere.example"))),
    late(HEADERS, "a cookie that has expired",
         **with_headers(*cookies("expired=1; Expires=Thu, 01 Jan 2015 00:00:00 GMT"))),
    late(HEADERS, "malformed cookies",
         **with_headers(*cookies("", "=", ";;;", "malformed\x01", "=malformed; =;",
                                 "malformed=1; Expires=never; Domain=.;"))),
]

BODIES = "Bodies"
LONG_TEXT = "x" * 200_000
BODY_FAULTS = [
    late(BODIES, "an empty body", sends(body(b""))),
    late(BODIES, "100,000 nested arrays", sends(body(b"[" * 100_000))),
    late(BODIES, "a good object nested 100,000 deep", sends(body(
        b'{"groups":' + b"[" * 100_000 + b"]" * 100_000 + b"}"))),
    *(late(BODIES, f"JSON: {name}", sends(body(json.dumps(value).encode()))) for name, value in (
        ("an array", [1, 2, 3]), ("a text", "no object"), ("null", None),
        ("every member of a wrong type",
         {"id": "12", "msg": 5, "name": ["x"], "rcode": "-99", "groups": {"id": "7"},
          "balance": 17, "trackers": "many", "SN": {}, "deviceSN": None}))),
    late(BODIES, "JSON: lists of what are no objects", sends(body(json.dumps(
        {"id": None, "msg": [], "groups": [1, None, "x", [], {}], "balance": "17",
         "trackers": [1, None, "x", [], {"groups": [1, {}], "activations": ["x", 5, {}]}]}
        ).encode())), **AS_ODD),
    late(BODIES, "200 KB in every text that is shown", sends(body(json.dumps(
        {"id": 0, "msg": LONG_TEXT, "name": LONG_TEXT, "SN": "96385074", "deviceSN": LONG_TEXT,
         "groups": [{"id": "7", "group_name": LONG_TEXT}], "balance": LONG_TEXT,
         "trackers": [{"deviceSn": LONG_TEXT, "TrackerName": LONG_TEXT, "activations": [
             {"id": "41", "done": "0", "startTime": LONG_TEXT, "endTime": LONG_TEXT}]}]}
        ).encode())), freeze=60000, quickest="details",
         spoils=True, **AS_ODD),
    late(BODIES, "1 MB in a member that nobody reads",
         sends(lambda exchange: replace(exchange.reply, body=json.dumps(
             {**json.loads(exchange.reply.body), "remark": 5 * LONG_TEXT}).encode()).whole()),
         **AS_GOOD),
]

FAULTS = [*NETWORK_FAULTS, *SILENT_FAULTS, *CLOSED_FAULTS, *TEXT_FAULTS, *REDIRECTS, *LOGINS,
          *FRAME_FAULTS, *HEADER_FAULTS, *BODY_FAULTS]

# What befalls every one of the commands in the slice, too.
ALWAYS = ["connection refused", "silent after the request", "closed after the request",
          "answer lost: carried out, then closed", "closed within the status line",
          "a page with status 200"]
