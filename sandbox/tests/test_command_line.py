"""Options, what is printed at the start, exit codes, and sentences for what goes wrong."""

from __future__ import annotations

import datetime
import os
import re
import shutil
import socket
import sqlite3
import subprocess
import tempfile
import unittest

from support import EMAIL, EXECUTABLE, PASSWORD, TODAY, TestCase

OPTIONS = ["--port", "--data-dir", "--database", "--reset", "--today", "--session-seconds", "--fail",
           "--make-ca", "--help"]


class Start(TestCase):
    def test_lines_for_people_and_scripts(self) -> None:
        sandbox = self.start()
        self.assertEqual(sandbox.lines, [
            f"CA certificate: {self.folder}/ca.pem",
            f"database: {self.folder}/sandbox.sqlite",
            f"log in as: {EMAIL} with password: {PASSWORD}",
            f"listening on https://localhost:{sandbox.port}"])
        self.assertEqual(sandbox.log(), "")

    def test_given_port(self) -> None:
        with socket.create_server(("127.0.0.1", 0)) as free:
            port = free.getsockname()[1]
        sandbox = self.start(port=port)
        self.assertEqual(sandbox.port, port)
        self.assertEqual(self.client(sandbox).trackers()["2310400"]["state"], "A")
        sandbox.end()
        # Connections of the first one may linger; the port is free at once all the same.
        self.assertEqual(self.start(port=port).port, port)

    def test_given_database(self) -> None:
        path = os.path.join(self.folder, "sub", "folder", "my data.db")
        sandbox = self.start("--database", path)
        self.assertEqual(sandbox.line("database: "), path)
        self.assertTrue(os.path.exists(path))
        self.assertFalse(os.path.exists(sandbox.database))

    def test_options_with_an_equals_sign(self) -> None:
        sandbox = self.start("--session-seconds=1000", f"--database={self.folder}/a=b.db")
        self.assertEqual(sandbox.line("database: "), f"{self.folder}/a=b.db")

    def test_default_folder(self) -> None:
        for environment, expected in [
                ({"XDG_DATA_HOME": f"{self.folder}/xdg", "HOME": f"{self.folder}/home"},
                 f"{self.folder}/xdg/veltrano-sandbox/ca.pem"),
                ({"HOME": f"{self.folder}/home"},
                 f"{self.folder}/home/.local/share/veltrano-sandbox/ca.pem"),
                ({"XDG_DATA_HOME": "relative", "HOME": f"{self.folder}/home"},
                 f"{self.folder}/home/.local/share/veltrano-sandbox/ca.pem")]:
            result = self.run_once("--make-ca", env=environment, cwd=self.folder)
            self.assertEqual((result.returncode, result.stdout), (0, expected + "\n"))
            self.assertTrue(os.path.exists(expected))
        result = self.run_once("--make-ca", env={})
        self.assertEqual(result.returncode, 2)
        self.assertIn("--data-dir", result.stderr)

    def test_without_today_the_machine_s_date_counts(self) -> None:
        sandbox = self.start(today=None)
        today = datetime.date.today()
        running = self.client(sandbox).trackers()["2310784"]["activations"][0]["startTime"]
        self.assertIn(running, (str(today), str(today - datetime.timedelta(days=1))))


class Help(TestCase):
    def test_names_every_option(self) -> None:
        for option in ("--help", "-h"):
            result = self.run_once(option)
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            for name in OPTIONS:
                self.assertIn(name, result.stdout)
            self.assertEqual(set(re.findall(r"--[a-z-]+", result.stdout)), set(OPTIONS))
            self.assertLessEqual(max(map(len, result.stdout.splitlines())), 80)

    def test_makes_nothing(self) -> None:
        self.run_once("--help", "--data-dir", os.path.join(self.folder, "new"))
        self.assertEqual(os.listdir(self.folder), [])


class WrongUse(TestCase):
    def test_exit_code_2_and_one_sentence(self) -> None:
        for arguments in (["--nonsense"], ["nonsense"], ["--port"], ["--port", "x"],
                          ["--port", "-1"], ["--port", "65536"], ["--port", "99999999999999999999"],
                          ["--port="], ["--port", "1 "], ["--session-seconds", "0"],
                          ["--session-seconds", "1.5"], ["--session-seconds", "99999999999"],
                          ["--today", "2026-02-30"], ["--today", "tomorrow"], ["--today"],
                          ["--database", ""], ["--data-dir="], ["--reset=yes"], ["--make-ca", "x"],
                          ["-p"], [""], ["--"]):
            with self.subTest(arguments=arguments):
                result = self.run_once(*arguments, cwd=self.folder)
                self.assertEqual((result.returncode, result.stdout), (2, ""))
                self.assert_one_sentence(result.stderr)
        self.assertEqual(os.listdir(self.folder), [])

    def assert_one_sentence(self, text: str) -> None:
        self.assertRegex(text, r"\Aveltrano-sandbox: [^\n]+\.\n\Z")


class Trouble(TestCase):
    """Exit code 1, one sentence that names what is wrong, and nothing spoilt."""

    def assert_trouble(self, arguments: list[str], *words: str) -> None:
        result = self.run_once("--data-dir", self.folder, "--port", "0", *arguments)
        self.assertEqual((result.returncode, result.stdout), (1, ""), result.stderr)
        self.assertRegex(result.stderr, r"\Aveltrano-sandbox: [^\n]+\.\n\Z")
        for word in words:
            self.assertIn(word, result.stderr)

    def write(self, name: str, content: bytes) -> str:
        path = os.path.join(self.folder, name)
        with open(path, "wb") as file:
            file.write(content)
        return path

    def test_port_taken(self) -> None:
        for family, address in ((socket.AF_INET, "127.0.0.1"), (socket.AF_INET6, "::1")):
            try:
                taken = socket.create_server((address, 0), family=family)
            except OSError:
                continue
            with taken:
                port = taken.getsockname()[1]
                self.assert_trouble(["--port", str(port)], f"Port {port} is taken", "--port")

    def test_port_taken_by_another_sandbox_and_the_own_data_stays(self) -> None:
        mine = self.start()
        self.client(mine).activate(("2310520", "2026-05-01", "7"))
        mine.end()
        before = mine.dump()
        other = self.start("--data-dir", os.path.join(self.folder, "other"))
        self.assert_trouble(["--port", str(other.port), "--reset"], "is taken")
        self.assertEqual(mine.dump(), before)

    def test_database_that_is_none(self) -> None:
        for content in (b"nonsense", b"x" * 10000, b"SQLite format 3\0", b"\0" * 200):
            for options in ((), ("--reset",)):
                path = self.write("data.db", content)
                self.assert_trouble(["--database", path, *options], path)
                with open(path, "rb") as file:
                    self.assertEqual(file.read(), content)

    def test_database_of_another_program(self) -> None:
        path = os.path.join(self.folder, "other.db")
        with sqlite3.connect(path) as connection:
            connection.execute("CREATE TABLE thesis (chapter TEXT)")
        connection.close()
        with open(path, "rb") as file:
            before = file.read()
        for options in ((), ("--reset",)):
            self.assert_trouble(["--database", path, *options], path, "not one of this program")
            with open(path, "rb") as file:
                self.assertEqual(file.read(), before)

    def test_damaged_database(self) -> None:
        sandbox = self.start()
        sandbox.end()
        with open(sandbox.database, "r+b") as file:
            file.seek(4096)
            file.write(b"\xff" * 8192)
        self.assert_trouble([], sandbox.database)
        again = self.start("--reset")
        self.assertEqual(len(self.client(again).trackers()), 21)

    def test_truncated_database(self) -> None:
        sandbox = self.start()
        sandbox.end()
        with open(sandbox.database, "r+b") as file:
            file.truncate(5000)
        self.assert_trouble([], sandbox.database)

    def test_database_of_another_version(self) -> None:
        sandbox = self.start()
        sandbox.end()
        sandbox.sql("PRAGMA user_version = 99")
        self.assert_trouble([], sandbox.database, "version")

    def test_database_that_is_a_folder_or_below_a_file(self) -> None:
        self.assert_trouble(["--database", self.folder], self.folder, "not a file")
        below = os.path.join(self.write("file", b""), "data.db")
        self.assert_trouble(["--database", below], below)
        self.assert_trouble(["--database", "/dev/null"], "/dev/null")

    def test_data_folder_that_cannot_be_made(self) -> None:
        path = self.write("file", b"")
        result = self.run_once("--data-dir", path + "/x", "--make-ca")
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertRegex(result.stderr, r"\Aveltrano-sandbox: [^\n]+\.\n\Z")

    @unittest.skipUnless(os.geteuid() == 0, "only root can become somebody else")
    def test_somebody_without_the_right_to_read_or_write(self) -> None:
        # The executable may lie where others can't reach it; the folder for it must be open.
        public = tempfile.mkdtemp(prefix="sandbox-test-")
        self.addCleanup(shutil.rmtree, public)
        os.chmod(public, 0o755)
        program = shutil.copy(EXECUTABLE, public)
        sandbox = self.start()
        sandbox.end()
        data = os.path.join(public, "data.db")
        mine = os.path.join(public, "mine")
        os.mkdir(mine)
        os.chown(mine, 65534, 65534)
        for mode, sentence in [
                (0o600, f"The database {data} cannot be read: Permission denied."),
                (0o644, f"The file {data}.lock cannot be locked: Permission denied.")]:
            shutil.copy(sandbox.database, data)
            os.chmod(data, mode)
            result = self.run_as_nobody(program, "--data-dir", mine, "--database", data)
            self.assertEqual((result.returncode, result.stdout), (1, ""), result.stderr)
            self.assertEqual(result.stderr, f"veltrano-sandbox: {sentence}\n")
        # The file may be written, the folder for its journal not.
        os.chmod(data, 0o666)
        with open(data + ".lock", "wb"):
            os.chmod(data + ".lock", 0o666)
        result = self.run_as_nobody(program, "--data-dir", mine, "--database", data)
        self.assertEqual((result.returncode, result.stdout), (1, ""), result.stderr)
        self.assertIn(f"The database {data} cannot be used: ", result.stderr)
        # The lock may be taken, but the file only read.
        os.chmod(shutil.copy(sandbox.database, mine), 0o644)
        result = self.run_as_nobody(program, "--data-dir", mine)
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertEqual(result.stderr, f"veltrano-sandbox: The database {mine}/sandbox.sqlite"
                                        " cannot be used: it may not be written.\n")
        result = self.run_as_nobody(program, "--data-dir", public)
        self.assertEqual((result.returncode, result.stdout), (1, ""), result.stderr)
        self.assertRegex(result.stderr, r"\Aveltrano-sandbox: [^\n]+\.\n\Z")

    def run_as_nobody(self, program: str,
                      *arguments: str) -> subprocess.CompletedProcess[str]:
        def become_nobody() -> None:
            os.setgroups([])
            os.setgid(65534)
            os.setuid(65534)
        return subprocess.run([program, "--port", "0", "--today", TODAY, *arguments],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=30,
                              check=False, preexec_fn=become_nobody, cwd="/")


if __name__ == "__main__":
    unittest.main()
