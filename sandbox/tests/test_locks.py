"""Two sandboxes at the same time: never with one folder, and no reset under one that runs."""

from __future__ import annotations

import os
import signal
import threading
import unittest

from support import Sandbox, TestCase

BOOKED = ("2310520", "2026-05-01", "7")


class LockTestCase(TestCase):
    def other(self, *options: str) -> Sandbox:
        """One that runs with a folder of its own."""
        folder = os.path.join(self.folder, "other")
        os.makedirs(folder, exist_ok=True)
        sandbox = Sandbox(folder, *options)
        self.addCleanup(sandbox.end)
        return sandbox

    def assert_refused_start(self, what: str, *options: str) -> None:
        result = self.run_once("--port", "0", *options)
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertRegex(result.stderr, r"\Aveltrano-sandbox: [^\n]+\.\n\Z")
        self.assertIn(f"{what} is in use by another sandbox", result.stderr)

    def assert_untouched(self, sandbox: Sandbox, before: str) -> None:
        self.assertEqual(sandbox.dump(), before)
        self.assert_booked(sandbox)

    def assert_booked(self, sandbox: Sandbox) -> None:
        periods = self.client(sandbox).trackers()[BOOKED[0]]["activations"]
        self.assertEqual([p["startTime"] for p in periods], [BOOKED[1]])


class OneFolder(LockTestCase):
    def test_a_second_one_is_refused_whatever_it_is_to_do(self) -> None:
        sandbox = self.start()
        self.client(sandbox).activate(BOOKED)
        before = sandbox.dump()
        data = os.path.join(self.folder, "elsewhere.db")
        for options in ((), ("--reset",), ("--database", data), ("--database", data, "--reset")):
            with self.subTest(options=options):
                self.assert_refused_start(f"The folder {self.folder}", "--data-dir", self.folder,
                                          *options)
        self.assertFalse(os.path.exists(data))
        self.assert_untouched(sandbox, before)

    def test_under_another_name(self) -> None:
        self.start()
        link = os.path.join(self.folder, "link")
        os.symlink(self.folder, link)
        self.assert_refused_start(f"The folder {link}", "--data-dir", link)

    def test_its_authority_can_be_asked_for_meanwhile(self) -> None:
        sandbox = self.start()
        result = self.run_once("--make-ca", "--data-dir", self.folder)
        self.assertEqual((result.returncode, result.stdout, result.stderr),
                         (0, sandbox.authority + "\n", ""))

    def test_free_again_after_whatever_end(self) -> None:
        for number in (signal.SIGTERM, signal.SIGKILL, signal.SIGINT):
            self.start().end(number)
            self.start("--reset").end(number)

    def test_of_many_at_once_one_runs(self) -> None:
        codes = []

        def run() -> None:
            try:
                sandbox = self.start()
                codes.append(0)
                self.assertEqual(self.client(sandbox).trackers()["2310400"]["state"], "A")
            except AssertionError as error:
                self.assertIn("in use by another sandbox", str(error))
                codes.append(1)
        threads = [threading.Thread(target=run) for _ in range(6)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(sorted(codes), [0] + [1] * 5)

    def test_two_folders_side_by_side(self) -> None:
        first, second = self.start(), self.other()
        self.client(first).activate(BOOKED)
        self.assertNotEqual(first.authority, second.authority)
        self.assertEqual(self.client(second).trackers()[BOOKED[0]]["activations"], [])


class OneDatabase(LockTestCase):
    def test_it_is_not_replaced_under_one_that_runs(self) -> None:
        sandbox = self.start()
        self.client(sandbox).activate(BOOKED)
        before = sandbox.dump()
        self.assert_refused_start(f"The database {sandbox.database}", "--data-dir",
                                  os.path.join(self.folder, "third"), "--database",
                                  sandbox.database, "--reset")
        self.assert_untouched(sandbox, before)

    def test_nor_under_one_that_has_just_replaced_it(self) -> None:
        sandbox = self.start("--reset")
        with self.assertRaisesRegex(AssertionError, "in use by another sandbox"):
            self.other("--database", sandbox.database, "--reset")

    def test_two_may_use_it(self) -> None:
        first = self.start("--reset")
        second = self.other("--database", first.database)
        self.client(first).activate(BOOKED)
        self.assert_booked(second)

    def test_free_again_after_a_kill(self) -> None:
        sandbox = self.start()
        sandbox.end(signal.SIGKILL)
        again = self.other("--database", sandbox.database, "--reset")
        self.assertEqual(self.client(again).trackers()[BOOKED[0]]["activations"], [])

    def test_no_lock_beside_a_file_of_another_program(self) -> None:
        path = os.path.join(self.folder, "other.db")
        with open(path, "wb") as file:
            file.write(b"nonsense")
        result = self.run_once("--data-dir", os.path.join(self.folder, "data"), "--port", "0",
                               "--database", path)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(sorted(os.listdir(self.folder)), ["data", "other.db"])


if __name__ == "__main__":
    unittest.main()
