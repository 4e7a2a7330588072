#!/usr/bin/env python3
"""How the program ends, and what it does where settings, log, home or screen are broken."""

from __future__ import annotations

import sys
import unittest

if __name__ == "__main__":
    names = ["closing", "signals", "display", "settings", "logs", "homes", "systems"]
    unittest.main(module=None, argv=[sys.argv[0], *(sys.argv[1:] or [
        f"{name}_cases" for name in names])])
