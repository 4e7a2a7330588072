"""What the tests in Python have to know of Qt 5 and Qt 6; qtversions.h says it to the others.

They are told the version that the client was built with, as CMake found it."""

from __future__ import annotations


def is_qt6(version: str) -> bool:
    return version.startswith("6.")


def accepted_encodings(version: str) -> str:
    """Of a reply's body, that each request offers to understand."""
    return "zstd, br, gzip, deflate" if is_qt6(version) else "gzip, deflate"
