"""What a configuration builds where something is missing, and where it says so and ends."""

from __future__ import annotations

import os
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

CMAKE = os.environ["VELTRANO_CMAKE"]
GENERATOR = os.environ["VELTRANO_GENERATOR"]
QT = os.environ["VELTRANO_QT"]
SOURCE = Path(__file__).resolve().parents[2]


class TestConfigure(unittest.TestCase):

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory(prefix="veltrano-configure-")
        self.addCleanup(folder.cleanup)
        self.build = Path(folder.name)

    def configure(self, *options: str, source: Path = SOURCE) -> tuple[bool, str]:
        """Whether a first configuration succeeded, and what it said. It takes this build's version of
        Qt: the machine may have no other."""
        (self.build / "CMakeCache.txt").unlink(missing_ok=True)
        environment = {name: value for name, value in os.environ.items()
                       if name != "CMAKE_BUILD_TYPE"}
        done = subprocess.run([CMAKE, "-S", str(source), "-B", str(self.build), "-G", GENERATOR,
                               f"-DVELTRANO_QT={QT}", *options],
                              text=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, env=environment, check=False)
        return done.returncode == 0, done.stdout

    def left_out(self, *options: str) -> list[str]:
        """The parts that a configuration leaves out, each with its reason."""
        succeeded, output = self.configure(*options)
        self.assertTrue(succeeded, output)
        return re.findall(r"^-- Left out: the (.*)\.$", output, re.M)

    def refusal(self, *options: str, source: Path = SOURCE) -> str:
        succeeded, output = self.configure(*options, source=source)
        self.assertFalse(succeeded, output)
        error = re.search(r"^CMake Error at .*?:\n(.*?)(?=\nCall Stack|\n\n\n)", output,
                          re.M | re.S)
        assert error, output
        return " ".join(error.group(1).split())

    def cached(self, name: str) -> str:
        cache = (self.build / "CMakeCache.txt").read_text(encoding="utf-8")
        found = re.search(rf"^{name}:\w+=(.*)$", cache, re.M)
        assert found, name
        return found[1]

    def test_no_database_library(self) -> None:
        self.assertEqual(self.left_out("-DCMAKE_DISABLE_FIND_PACKAGE_SQLite3=ON"),
                         ["sandbox. Missing: SQLite 3, SQLiteCpp 3.2",
                          "client's connections. Missing: the sandbox",
                          "sandbox's fuzz targets. Missing: the sandbox",
                          "journey. Missing: the sandbox",
                          "fault matrix. Missing: the journey",
                          "protocol checks. Missing: the sandbox", "soak. Missing: the sandbox",
                          "failing calls. Missing: the soak"])

    def test_no_libfuzzer(self) -> None:
        self.assertEqual(self.left_out("-DVELTRANO_FUZZ=ON", "-DHAS_LIBFUZZER=0"),
                         ["fuzzing. Missing: clang with libFuzzer"])

    def test_no_openssl_program(self) -> None:
        self.assertEqual(self.left_out("-DOPENSSL_PROGRAM=0"),
                         ["client's tests. Missing: openssl",
                          "endings. Missing: the client's tests",
                          "journey. Missing: the reader's tests",
                          "fault matrix. Missing: the journey, openssl",
                          "soak. Missing: the reader's tests",
                          "failing calls. Missing: the soak",
                          "benchmarks. Missing: the client's tests"])

    def test_no_test_library(self) -> None:
        self.assertEqual(self.left_out(f"-DCMAKE_DISABLE_FIND_PACKAGE_Qt{QT}Test=ON"),
                         [f"client's tests. Missing: Qt{QT}Test",
                          "endings. Missing: the client's tests",
                          "journey. Missing: the reader's tests",
                          "fault matrix. Missing: the journey",
                          "soak. Missing: the reader's tests",
                          "failing calls. Missing: the soak",
                          "benchmarks. Missing: the client's tests"])

    def test_no_device_emulation(self) -> None:
        self.assertEqual(self.left_out("-DUMOCKDEV_WRAPPER=0"),
                         ["reader's tests. Missing: umockdev-wrapper",
                          "journey. Missing: the reader's tests",
                          "fault matrix. Missing: the journey",
                          "soak. Missing: the reader's tests",
                          "failing calls. Missing: the soak"])

    def test_no_clock_and_no_screen(self) -> None:
        self.assertEqual(self.left_out("-DFAKETIME_LIBRARY=0", "-DJOURNEY_Xvfb=0"),
                         ["endings. Missing: libfaketime, Xvfb",
                          "journey. Missing: libfaketime, Xvfb",
                          "fault matrix. Missing: the journey"])

    def test_no_python(self) -> None:
        self.assertEqual(self.left_out("-DCMAKE_DISABLE_FIND_PACKAGE_Python3=ON"),
                         ["sandbox's tests. Missing: Python 3.9",
                          "configuration's tests. Missing: Python 3.9",
                          "document checks. Missing: Python 3.9",
                          "endings. Missing: Python 3.9",
                          "journey. Missing: Python 3.9",
                          "fault matrix. Missing: the journey, Python 3.9",
                          "mutation's tests. Missing: Python 3.9",
                          "packaging checks. Missing: Python 3.9",
                          "protocol checks. Missing: Python 3.9, PyYAML",
                          "soak. Missing: Python 3.9", "failing calls. Missing: the soak",
                          "benchmarks' document. Missing: Python 3.9"])

    def test_no_debugger(self) -> None:
        self.assertEqual(self.left_out("-DGDB_PROGRAM=0"), ["failing calls. Missing: gdb"])

    def test_nothing_but_the_client(self) -> None:
        """Its summary and its kind of build, too, where none was asked for."""
        succeeded, output = self.configure("-DBUILD_TESTING=OFF", "-DVELTRANO_BUILD_SANDBOX=OFF")
        self.assertTrue(succeeded, output)
        enabled, disabled = output.split("The following features have been disabled:")
        self.assertIn("* client, the program itself, for the service localhost:18443", enabled)
        self.assertEqual(re.findall(r"\* ([^,]*),", disabled), ["sandbox", "tests and benchmarks"])
        self.assertEqual(self.cached("CMAKE_BUILD_TYPE"), "Release")
        self.assertEqual(self.cached("VELTRANO_REQUIRE_ALL"), "OFF")
        self.assertEqual(self.cached("VELTRANO_WERROR"), "OFF")

    def test_given_build_type_stays(self) -> None:
        self.assertTrue(self.configure("-DCMAKE_BUILD_TYPE=Debug")[0])
        self.assertEqual(self.cached("CMAKE_BUILD_TYPE"), "Debug")
        self.assertEqual(self.cached("VELTRANO_HARDEN"), "OFF")

    def test_all_required(self) -> None:
        for option, sentence in [
                ("CMAKE_DISABLE_FIND_PACKAGE_SQLite3=ON",
                 "sandbox cannot be built. Missing: SQLite 3, SQLiteCpp 3.2."),
                ("FAKETIME_LIBRARY=0", "endings cannot be built. Missing: libfaketime."),
                ("BUILD_TESTING=OFF",
                 "tests and benchmarks cannot be built. Missing: BUILD_TESTING=ON.")]:
            with self.subTest(option):
                self.assertEqual(self.refusal(f"-D{option}", "-DVELTRANO_REQUIRE_ALL=ON"),
                                 f"VELTRANO_REQUIRE_ALL is on, and the {sentence}")

    def test_sandbox_alone(self) -> None:
        self.assertEqual(
            self.refusal("-DCMAKE_DISABLE_FIND_PACKAGE_SQLite3=ON", source=SOURCE / "sandbox"),
            "The sandbox cannot be built. Missing: SQLite 3, SQLiteCpp 3.2.")

    def test_default_version_of_qt(self) -> None:
        """Taken whether it is installed or not."""
        self.configure("-UVELTRANO_QT")
        self.assertEqual(self.cached("VELTRANO_QT"), "5")

    def test_wrong_version_of_qt(self) -> None:
        for value in ("4", "7", "", "5.15", "5;6"):
            with self.subTest(value):
                self.assertEqual(self.refusal(f"-DVELTRANO_QT={value}"),
                                 f'VELTRANO_QT must be 5 or 6: "{value}".')

    def test_further_certificates(self) -> None:
        """An empty or missing file is what a failed command leaves on the command line."""
        for value, sentence in [
                ("", "VELTRANO_EXTRA_CA is empty: name a PEM file, or say OFF for no further"
                     " certificates."),
                ("/absent.pem", 'VELTRANO_EXTRA_CA names no file: "/absent.pem".')]:
            with self.subTest(value):
                self.assertEqual(self.refusal(f"-DVELTRANO_EXTRA_CA={value}"), sentence)


if __name__ == "__main__":
    unittest.main()
