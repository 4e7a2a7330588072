"""HTTP messages as the tests' own servers and clients read them."""

from __future__ import annotations

from collections.abc import Sequence
from typing import BinaryIO


def read_head(reader: BinaryIO) -> bytes:
    """Up to and with its blank line; nothing if the connection has ended before."""
    lines = [reader.readline()]
    while lines[-1] not in (b"\r\n", b""):
        lines.append(reader.readline())
    return b"".join(lines) if lines[-1] else b""


def read_body(reader: BinaryIO, head: bytes) -> bytes:
    return reader.read(int(header(head_lines(head), "Content-Length") or 0))


def read_message(reader: BinaryIO) -> bytes:
    """A request or reply with its body; nothing if the connection has ended."""
    head = read_head(reader)
    return head + read_body(reader, head) if head else b""


def head_lines(head: bytes) -> list[str]:
    return head.decode("utf-8", errors="replace").rstrip("\r\n").split("\r\n")


def header(head: Sequence[str], name: str) -> str:
    """Of a head's lines; empty where there is none."""
    for line in head[1:]:
        key, _, value = line.partition(":")
        if key.lower() == name.lower():
            return value.strip()
    return ""
