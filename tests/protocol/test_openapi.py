"""docs/openapi.yaml under the validator, which comes from npm: into the folder that
VELTRANO_VALIDATOR_FOLDER names, the first time and whenever the list of packages has changed."""

from __future__ import annotations

import os
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent
OPENAPI = HERE.parents[1] / "docs" / "openapi.yaml"
FOLDER = Path(os.environ["VELTRANO_VALIDATOR_FOLDER"])
LISTS = ["package.json", "package-lock.json"]
SKIPPED = 77
# What npm says where there is no network: no fault of the document.
UNREACHABLE = ("ENOTFOUND", "EAI_AGAIN", "ECONNREFUSED", "ECONNRESET", "ENETUNREACH", "ETIMEDOUT",
               "EHOSTUNREACH", "ERR_SOCKET_TIMEOUT")


def run(*command: str) -> subprocess.CompletedProcess[str]:
    return subprocess.run(command, cwd=FOLDER, text=True, stdin=subprocess.DEVNULL, check=False,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=300)


class TestOpenApi(unittest.TestCase):
    """The document, as others' tools read it."""

    def install(self) -> None:
        lists = "".join((HERE / name).read_text(encoding="utf-8") for name in LISTS)
        installed = FOLDER / "installed"  # written last: half an installation is none
        if installed.exists() and installed.read_text(encoding="utf-8") == lists:
            return
        npm = shutil.which("npm")
        if npm is None:
            self.skipTest("npm, which brings the validator, is not there (Debian: npm)")
        FOLDER.mkdir(parents=True, exist_ok=True)
        installed.unlink(missing_ok=True)
        for name in LISTS:
            shutil.copy(HERE / name, FOLDER)
        done = run(npm, "ci", "--ignore-scripts", "--no-audit", "--no-fund")
        if done.returncode != 0:
            if any(word in done.stdout for word in UNREACHABLE):
                self.skipTest("npm cannot reach its registry, so there is no validator")
            self.fail("npm could not install the validator:\n" + done.stdout)
        installed.write_text(lists, encoding="utf-8")

    def test_document_is_valid(self) -> None:
        node = shutil.which("node")
        if node is None:
            self.skipTest("node, which runs the validator, is not there (Debian: nodejs)")
        self.install()
        done = run(node, str(HERE / "lint-openapi.js"), str(OPENAPI))
        self.assertEqual(done.returncode, 0, "\n" + done.stdout)


if __name__ == "__main__":
    result = unittest.main(exit=False).result
    if not result.wasSuccessful():
        sys.exit(1)
    sys.exit(SKIPPED if result.skipped else 0)
