"""What the machine's other users can read of the sandbox's files: nothing but certificates."""

from __future__ import annotations

import os
import shutil
import signal
import sqlite3
import stat
import subprocess
import unittest

from support import Sandbox, TestCase

PUBLIC = ("ca.pem", "server.pem")


def mode(path: str) -> int:
    return stat.S_IMODE(os.stat(path).st_mode)


class PrivacyTestCase(TestCase):
    def with_umask(self, mask: int) -> None:
        self.addCleanup(os.umask, os.umask(mask))

    def assert_files_private(self, folder: str, *names: str) -> None:
        """Those names are there, and whatever is there has the right mode."""
        self.assertLessEqual({*names, *PUBLIC}, set(os.listdir(folder)))
        for name in os.listdir(folder):
            expected = 0o644 if name in PUBLIC else 0o600
            self.assertEqual(oct(mode(os.path.join(folder, name))), oct(expected), name)

    def end(self, sandbox: Sandbox, number: int = signal.SIGTERM) -> None:
        """Ends it and takes its log out of its folder, where the tests keep it."""
        sandbox.end(number)
        os.remove(sandbox.log_path)


class NewFiles(PrivacyTestCase):
    def test_whatever_the_umask(self) -> None:
        for mask in (0o000, 0o022, 0o027, 0o077, 0o177):
            with self.subTest(mask=oct(mask)):
                folder = os.path.join(self.folder, f"{mask:03o}", "data")
                self.with_umask(mask)
                sandbox = self.start("--data-dir", folder)
                self.assertEqual(mode(os.path.dirname(folder)), 0o700)
                self.assertEqual(mode(folder), 0o700)
                self.assert_files_private(folder, "sandbox.sqlite", "ca.key", "server.key")
                sandbox.end()

    def test_what_the_database_writes_beside_itself(self) -> None:
        self.with_umask(0)
        sandbox = self.start()
        sandbox.sql("PRAGMA journal_mode = WAL")
        self.client(sandbox).activate(("2310520", "2026-05-01", "7"))
        for suffix in ("", "-wal", "-shm"):
            self.assertEqual(mode(sandbox.database + suffix), 0o600, suffix)

    def test_a_database_elsewhere(self) -> None:
        self.with_umask(0)
        path = os.path.join(self.folder, "new", "data.db")
        self.start("--database", path)
        self.assertEqual((mode(os.path.dirname(path)), mode(path)), (0o700, 0o600))

    def test_an_empty_file_that_is_filled(self) -> None:
        path = os.path.join(self.folder, "empty.db")
        with open(path, "wb"):
            os.chmod(path, 0o664)
        self.start("--database", path)
        self.assertEqual(mode(path), 0o600)

    def test_a_reset_makes_no_wider_one(self) -> None:
        self.with_umask(0)
        self.start().end()
        self.assertEqual(mode(self.start("--reset").database), 0o600)


class OldFiles(PrivacyTestCase):
    def test_made_private_and_said(self) -> None:
        sandbox = self.start()
        sandbox.sql("UPDATE account SET balance_cents = 7")
        self.end(sandbox)
        names = ("sandbox.sqlite", "ca.key", "server.key")
        for name in names:
            os.chmod(os.path.join(self.folder, name), 0o664)
        again = self.start()
        self.assertEqual(again.sql("SELECT balance_cents FROM account"), [(7,)])
        self.assertEqual(
            sorted(again.log().splitlines()),
            sorted(f"now for its owner only: {self.folder}/{name}" for name in names))
        self.end(again)
        self.assert_files_private(self.folder, *names)
        self.assertEqual(self.start().log(), "")

    def test_what_a_killed_one_left_beside_its_database(self) -> None:
        sandbox = self.start()
        sandbox.sql("PRAGMA journal_mode = WAL")
        self.client(sandbox).activate(("2310520", "2026-05-01", "7"))
        self.end(sandbox, signal.SIGKILL)
        for suffix in ("-wal", "-shm"):
            os.chmod(sandbox.database + suffix, 0o644)
        again = self.start()
        for suffix in ("-wal", "-shm"):
            self.assertEqual(mode(again.database + suffix), 0o600, suffix)
        self.assertEqual(self.client(again).trackers()["2310520"]["activations"][0]["startTime"],
                         "2026-05-01")

    @unittest.skipUnless(os.geteuid() == 0, "only root can give a file away")
    def test_a_database_of_somebody_else_is_theirs(self) -> None:
        sandbox = self.start()
        self.end(sandbox)
        os.chmod(sandbox.database, 0o666)
        os.chown(sandbox.database, 65534, 65534)
        again = self.start()
        self.assertEqual((mode(again.database), again.log()), (0o666, ""))

    def test_a_file_of_another_program_keeps_its_mode(self) -> None:
        path = os.path.join(self.folder, "other.db")
        with sqlite3.connect(path) as connection:
            connection.execute("CREATE TABLE thesis (chapter TEXT)")
        connection.close()
        os.chmod(path, 0o644)
        result = self.run_once("--data-dir", self.folder, "--port", "0", "--database", path)
        self.assertEqual((result.returncode, mode(path)), (1, 0o644))


class Folders(PrivacyTestCase):
    def make_authority(self, *options: str) -> subprocess.CompletedProcess[str]:
        result = self.run_once("--make-ca", *options, env={"XDG_DATA_HOME": self.folder})
        self.assertEqual(result.returncode, 0, result.stderr)
        return result

    def setUp(self) -> None:
        super().setUp()
        self.default = os.path.join(self.folder, "veltrano-sandbox")

    def test_the_default_one_is_made_private(self) -> None:
        os.mkdir(self.default)
        os.chmod(self.default, 0o755)
        self.assertEqual(self.make_authority().stderr, f"now for its owner only: {self.default}\n")
        self.assertEqual(mode(self.default), 0o700)
        self.assertEqual(self.make_authority().stderr, "")

    def test_one_that_the_user_put_in_its_place_keeps_its_mode(self) -> None:
        chosen = os.path.join(self.folder, "chosen")
        os.mkdir(chosen)
        os.chmod(chosen, 0o755)
        os.symlink(chosen, self.default)
        self.assertEqual(self.make_authority().stderr, "")
        self.assertEqual(mode(chosen), 0o755)

    def test_one_that_the_user_names_keeps_its_mode_and_what_else_is_in_it(self) -> None:
        shared = os.path.join(self.folder, "shared")
        os.mkdir(shared)
        other = shutil.copy(__file__, shared)
        os.chmod(shared, 0o775)
        os.chmod(other, 0o644)
        sandbox = Sandbox(self.folder, "--data-dir", shared)
        self.addCleanup(sandbox.end)
        self.assertEqual((mode(shared), mode(other)), (0o775, 0o644))
        self.assertEqual(sandbox.log(), "")
        os.remove(other)
        self.assert_files_private(shared, "sandbox.sqlite", "ca.key", "server.key")

    def test_a_copy_of_the_authority_can_be_read_by_whom_it_is_for(self) -> None:
        self.with_umask(0o077)
        authority = self.make_authority().stdout.rstrip("\n")
        os.umask(0o022)
        self.assertEqual(mode(shutil.copy(authority, self.folder)), 0o644)


if __name__ == "__main__":
    unittest.main()
