"""A build's installation into an empty folder: which files there are, and whether the desktop, the
manual reader and the linker make of them what they should."""

from __future__ import annotations

import os
import platform
import re
import stat
import struct
import subprocess
import tarfile
import tempfile
import unittest
from pathlib import Path

BUILD = os.environ["VELTRANO_BUILD"]
CMAKE = os.environ["VELTRANO_CMAKE"]
HAS_SANDBOX = os.environ["VELTRANO_HAS_SANDBOX"] == "ON"
NAME = "example.quillmora.veltrano"
HERE = Path(__file__).resolve().parent


def install(prefix: str, *component: str) -> None:
    """As someone who keeps what he makes from others, which is not meant for what he installs."""
    mask = os.umask(0o077)
    subprocess.run([CMAKE, "--install", BUILD, "--prefix", prefix, *component], check=True,
                   stdout=subprocess.DEVNULL)
    os.umask(mask)


def files(prefix: str) -> list[str]:
    return sorted(str(path.relative_to(prefix)) for path in Path(prefix).rglob("*")
                  if not path.is_dir())


def listed(component: str) -> list[str]:
    """The files of a component, one a line in a list of its own."""
    return (HERE / f"{component}-files.txt").read_text(encoding="utf-8").splitlines()


def said(*command: str) -> tuple[int, list[str]]:
    """A tool's exit code and the lines that it prints."""
    done = subprocess.run(command, text=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, check=False)
    return done.returncode, done.stdout.splitlines()


class TestInstalled(unittest.TestCase):

    folder: tempfile.TemporaryDirectory[str]
    root: Path
    share: Path

    @classmethod
    def setUpClass(cls) -> None:
        cls.folder = tempfile.TemporaryDirectory(prefix="veltrano-installed-")
        cls.addClassCleanup(cls.folder.cleanup)
        install(cls.folder.name)
        cls.root = Path(cls.folder.name)
        cls.share = cls.root / "share"

    def test_files(self) -> None:
        self.assertEqual(files(self.folder.name),
                         sorted(listed("client") + (listed("sandbox") if HAS_SANDBOX else [])))

    def test_components(self) -> None:
        for component in ["client"] + ["sandbox"] * HAS_SANDBOX:
            with self.subTest(component), tempfile.TemporaryDirectory() as folder:
                install(folder, "--component", component)
                self.assertEqual(files(folder), listed(component))

    def test_archives(self) -> None:
        """One a component, in the same folder where both are unpacked."""
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run([str(Path(CMAKE).with_name("cpack")), "-B", folder,
                            "--config", f"{BUILD}/CPackConfig.cmake"],
                           check=True, stdout=subprocess.DEVNULL)
            archives = {}
            for path in Path(folder).glob("*.tar.gz"):
                with tarfile.open(path) as archive:
                    archives[path.name] = sorted(member.name for member in archive
                                                 if not member.isdir())
        system = f"{os.environ['VELTRANO_VERSION']}-{platform.system()}-{platform.machine()}"
        expected = {f"veltrano-{system}.tar.gz": listed("client")}
        if HAS_SANDBOX:
            expected[f"veltrano-sandbox-{system}.tar.gz"] = listed("sandbox")
        self.assertEqual(archives, {
            name: [f"veltrano-{system}/{file}" for file in names]
            for name, names in expected.items()})

    def test_modes(self) -> None:
        """Everyone may read what is installed, whoever installed it, and run the programs."""
        for name in files(self.folder.name):
            with self.subTest(name):
                mode = stat.S_IMODE((self.root / name).stat().st_mode)
                self.assertEqual(mode, 0o755 if name.startswith("bin/") else 0o644)

    def test_menu_entry(self) -> None:
        entry = self.share / "applications" / f"{NAME}.desktop"
        self.assertEqual(said("desktop-file-validate", str(entry)), (0, []))
        keys = dict(line.split("=", 1) for line in entry.read_text().splitlines() if "=" in line)
        self.assertTrue((self.root / "bin" / keys["Exec"]).is_file())
        self.assertTrue(list((self.share / "icons").rglob(f"{keys['Icon']}.svg")))
        # The class of its windows under X, which the framework takes from the program's name.
        self.assertEqual(keys["StartupWMClass"], "veltrano")

    def test_metainfo(self) -> None:
        metainfo = self.share / "metainfo" / f"{NAME}.metainfo.xml"
        _, lines = said("appstreamcli", "validate", "--no-net", "--pedantic", str(metainfo))
        # The only error: until the owner chooses a licence, the paper itself has none either.
        found = [line.partition(" ")[0] + line.rpartition(": ")[2] for line in lines
                 if re.match("[EWIP]: ", line)]
        self.assertEqual([re.sub(r":\d+", "", line) for line in found],
                         [f"I:cid-maybe-not-rdns {NAME}",
                          "E:metadata-license-invalid LicenseRef-proprietary"])

    def test_icons(self) -> None:
        for path in (self.share / "icons").rglob("*.png"):
            with self.subTest(path.relative_to(self.share)):
                size = struct.unpack(">II", path.read_bytes()[16:24])
                self.assertEqual(path.parents[1].name, "{}x{}".format(*size))

    def test_manual_pages(self) -> None:
        for page in (self.share / "man").rglob("*.1"):
            with self.subTest(page.name):
                self.assertEqual(said("mandoc", "-T", "lint", str(page)), (0, []))

    @unittest.skipUnless(HAS_SANDBOX, "this build has no sandbox")
    def test_options_of_the_sandbox(self) -> None:
        """The manual page explains the options that there are, in the same order."""
        _, usage = said(str(self.root / "bin" / "veltrano-sandbox"), "--help")
        page = (self.share / "man" / "man1" / "veltrano-sandbox.1").read_text(encoding="utf-8")
        options = page.partition(".SH OPTIONS")[2].partition(".SH ")[0].replace("\\", "")
        self.assertEqual(re.findall(r"^\.[BIR]+ (--[a-z-]+)", options, re.M),
                         re.findall(r"^  (--[a-z-]+)", "\n".join(usage), re.M))

    def test_manual_has_its_pictures(self) -> None:
        docs = self.share / "doc" / "veltrano" / "docs"
        links = re.findall(r"\]\(([^)#:]+)\)", (docs / "manual.md").read_text(encoding="utf-8"))
        self.assertGreater(len(links), 5)
        self.assertEqual([link for link in links if not (docs / link).exists()], [])

    def test_program_exports_the_bundle(self) -> None:
        _, symbols = said("nm", "--dynamic", "--defined-only", "--demangle",
                          str(self.root / "bin" / "veltrano"))
        names = {line.split(" ", 2)[2] for line in symbols}
        self.assertLessEqual({"qInitResources_myresources()", "qCleanupResources_myresources()"},
                             names)


if __name__ == "__main__":
    unittest.main()
