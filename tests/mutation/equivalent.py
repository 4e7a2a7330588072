"""Faults that no test can find, each with the reason: the source, the lines that go, those that
come."""

from __future__ import annotations

EQUIVALENT: dict[tuple[str, str, str], str] = {}
