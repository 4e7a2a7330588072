"""The recorded traffic and the documents that quote it."""

from __future__ import annotations

import json
import re
from dataclasses import dataclass
from pathlib import Path
from typing import Any
from urllib.parse import parse_qsl, urlsplit

ROOT = Path(__file__).resolve().parents[2]
EXAMPLES = ROOT / "docs" / "examples"
PROTOCOL = ROOT / "docs" / "service-protocol.md"
OPENAPI = ROOT / "docs" / "openapi.yaml"


@dataclass(frozen=True)
class Exchange:
    """A request of the client and the sandbox's reply to it."""

    name: str
    session_ended: bool
    request_head: list[str]
    request_body: str
    reply_head: list[str]
    reply: dict[str, Any]

    @classmethod
    def read(cls, entry: dict[str, Any]) -> Exchange:
        return cls(entry["name"], entry.get("session") == "ended",
                   entry["request"]["head"], entry["request"]["body"],
                   entry["reply"]["head"], entry["reply"]["body"])

    @property
    def method(self) -> str:
        return self.request_head[0].split(" ")[0]

    @property
    def target(self) -> str:
        return self.request_head[0].split(" ")[1]

    @property
    def path(self) -> str:
        return urlsplit(self.target).path

    @property
    def items(self) -> list[tuple[str, str]]:
        """The items as a form decoder reads them."""
        encoded = self.request_body if self.method == "POST" else urlsplit(self.target).query
        return parse_qsl(encoded, keep_blank_values=True, strict_parsing=bool(encoded))

    @property
    def reply_body(self) -> str:
        return json.dumps(self.reply, ensure_ascii=False, separators=(",", ":"))


def load(name: str) -> Any:
    return json.loads((EXAMPLES / name).read_text(encoding="utf-8"))


SANDBOX: dict[str, list[str]] = load("exchanges.json")["sandbox"]
EXCHANGES = [Exchange.read(entry) for entry in load("exchanges.json")["exchanges"]]
CHARACTERS: list[dict[str, str]] = load("characters.json")


def types(value: Any) -> Any:
    """The JSON types of a value, down to the last member: 1, 1.0, true and "1" all differ."""
    if isinstance(value, dict):
        return {key: types(member) for key, member in value.items()}
    if isinstance(value, list):
        return [types(element) for element in value]
    return type(value).__name__


@dataclass(frozen=True)
class Quote:
    """A fenced block of the document, whose first line says what is quoted."""

    kind: str
    name: str
    text: str


def quotes() -> list[Quote]:
    found = re.findall(r"^```(\S*) ?([^\n]*)\n(.*?)^```$", PROTOCOL.read_text(encoding="utf-8"),
                       re.M | re.S)
    return [Quote(kind, name, text.rstrip("\n")) for kind, name, text in found]
