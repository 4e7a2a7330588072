"""Booking and removing: rules, prices, refunds, duplicates, and many clients at once."""

from __future__ import annotations

import json
import os
import threading
import time
import unittest
from collections.abc import Callable
from typing import Any

from support import ACTIVATE, FORM, REMOVE, TRACKERS, Client, Sandbox, ServiceTestCase, encode

FREE = "2310520"       # normal profile, no periods
FREE_2 = "2310911"     # the same
EXTENDED = "2310640"   # extended profile, no periods


class ActivationTestCase(ServiceTestCase):
    def balance(self) -> Any:
        return self.user.get(TRACKERS, idgroup="12")["balance"]

    def periods(self, serial: str) -> list[Any]:
        return self.sandbox.sql("SELECT first_day, last_day, cost_cents FROM activation"
                                " WHERE serial = ? ORDER BY first_day", serial)

    def assert_nothing_changes(self, request: Callable[[], Any], *words: str) -> None:
        before = self.sandbox.dump()
        reply = request()
        self.assert_refused(reply, *words)
        self.assertTrue(reply["msg"])
        self.assertEqual(self.sandbox.dump(), before)

    def pending(self, serial: str) -> list[Any]:
        return [p for p in self.user.trackers()[serial]["activations"] if p["done"] == "0"]


class Booking(ActivationTestCase):
    def test_one_period(self) -> None:
        self.assertEqual(self.user.activate((FREE, "2026-04-01", "7")), {"rcode": 0, "msg": ""})
        self.assertEqual(self.periods(FREE), [("2026-04-01", "2026-04-07", 350)])
        self.assertEqual(self.balance(), "409.00 EUR")
        (period,) = self.user.trackers()[FREE]["activations"]
        self.assertEqual((period["startTime"], period["endTime"], period["done"]),
                         ("2026-04-01", "2026-04-07", "0"))

    def test_extended_profile_costs_twice_as_much(self) -> None:
        self.user.activate((EXTENDED, "2026-04-01", "7"))
        self.assertEqual(self.periods(EXTENDED), [("2026-04-01", "2026-04-07", 700)])
        self.assertEqual(self.balance(), "405.50 EUR")

    def test_several_trackers_and_only_those(self) -> None:
        before = self.sandbox.sql("SELECT * FROM activation")
        self.user.activate((FREE, "2026-04-01", "2"), (EXTENDED, "2026-04-03", "10"),
                           ("5120420", "2026-03-10", "365"))
        after = self.sandbox.sql("SELECT * FROM activation")
        self.assertEqual(after[:len(before)], before)
        self.assertEqual([row[1:] for row in after[len(before):]], [
            (FREE, "2026-04-01", "2026-04-02", 100), (EXTENDED, "2026-04-03", "2026-04-12", 1000),
            ("5120420", "2026-03-10", "2027-03-09", 18250)])
        self.assertEqual(self.balance(), "219.00 EUR")

    def test_begins_today(self) -> None:
        self.user.activate((FREE, "2026-03-10", "2"))
        tracker = self.user.trackers()[FREE]
        self.assertEqual(tracker["state"], "A")
        self.assertEqual(tracker["activations"][0]["done"], "1")

    def test_neighbours_do_not_overlap(self) -> None:
        self.user.activate((FREE, "2026-04-10", "7"))
        self.assertEqual(self.user.activate((FREE, "2026-04-17", "2"),
                                            (FREE, "2026-04-08", "2"))["rcode"], 0)
        self.assertEqual(len(self.periods(FREE)), 3)

    def test_leap_day(self) -> None:
        self.user.activate((FREE, "2028-02-28", "3"))
        self.assertEqual(self.periods(FREE)[0][:2], ("2028-02-28", "2028-03-01"))

    def test_order_of_members_and_further_ones_do_not_matter(self) -> None:
        posted = '[{"x": [1, {}], "days": "2", "start": "2026-04-01", "deviceSn": "2310520"}]'
        self.assertEqual(self.user.post(ACTIVATE, posted=posted)["rcode"], 0)

    def test_body_as_the_client_sends_it(self) -> None:
        # Blanks and UTF-8 raw, line feeds and braces encoded.
        body = ('posted=[%0A    %7B%0A        "days": "7",%0A        "deviceSn": "2310520",%0A'
                '        "start": "2026-04-01"%0A    %7D%0A]%0A')
        _, _, reply = self.user.request("POST", ACTIVATE, body, {"Content-Type": FORM})
        self.assertEqual(reply["rcode"], 0)
        self.assertEqual(self.periods(FREE), [("2026-04-01", "2026-04-07", 350)])

    def test_500_trackers_in_one_form(self) -> None:
        serials = [f"7{n:06d}" for n in range(500)]
        for serial in serials:
            self.sandbox.sql("INSERT INTO tracker VALUES (?, 1, 'n', '', '305', '1', 0, 1)", serial)
        self.sandbox.sql("UPDATE account SET balance_cents = 100000")
        posted = json.dumps([{"days": "2", "deviceSn": s, "start": "2026-04-01"} for s in serials],
                            indent=4)
        body = encode({"posted": posted})
        self.assertGreater(len(body), 100000)
        start = time.monotonic()
        _, _, reply = self.user.request("POST", ACTIVATE, body, {"Content-Type": FORM})
        self.assertLess(time.monotonic() - start, 5)
        self.assertEqual(reply, {"rcode": 0, "msg": ""})
        self.assertEqual(self.balance(), "500.00 EUR")
        self.assertEqual(self.sandbox.sql("SELECT count(*) FROM activation WHERE serial >= '7'"),
                         [(500,)])


class Refusals(ActivationTestCase):
    def test_days(self) -> None:
        for days in ("1", "0", "366", "-7", "", " 7", "7 ", "+7", "7.0", "0x7", "1e1", "seven",
                     "4294967298", "18446744073709551618", "9" * 500, "٧", "7\0"):
            with self.subTest(days=days):
                self.assert_nothing_changes(
                    lambda: self.user.activate((FREE, "2026-04-01", days)), "2 to 365")

    def test_limits_of_the_days(self) -> None:
        self.assertEqual(self.user.activate((FREE, "2026-04-01", "365"))["rcode"], 0)
        self.assertEqual(self.user.activate((FREE_2, "2026-04-01", "2"))["rcode"], 0)

    def test_dates(self) -> None:
        for start in ("2026-02-29", "2026-13-01", "2026-00-10", "2026-04-31", "2026-04-00",
                      "0000-04-01", "2026-4-1", "26-04-01", "01.04.2026", "2026/04/01",
                      "2026-04-01 ", " 2026-04-01", "2026-04-01T00:00", "+026-04-01", "20260401",
                      "", "tomorrow", "12026-04-01", "٢٠٢٦-٠٤-٠١", "2026-04-0\0", "-026-04-01"):
            with self.subTest(start=start):
                self.assert_nothing_changes(
                    lambda: self.user.activate((FREE, start, "7")), "not a date")

    def test_before_today(self) -> None:
        for start in ("2026-03-09", "2025-03-10", "1970-01-01", "0001-01-01"):
            self.assert_nothing_changes(
                lambda: self.user.activate((FREE, start, "7")), "before today")

    def test_end_of_the_calendar(self) -> None:
        self.assert_nothing_changes(lambda: self.user.activate((FREE, "9999-12-31", "2")), "9999")
        self.assertEqual(self.user.activate((FREE, "9999-12-30", "2"))["rcode"], 0)

    def test_trackers(self) -> None:
        for serial in ("9999999", "", "231052", "02310520", "2310520 ", "2310520\0",
                       "2310520' OR '1'='1", "x" * 5000, "é" * 50):
            with self.subTest(serial=serial[:30]):
                self.assert_nothing_changes(
                    lambda: self.user.activate((serial, "2026-04-01", "7")), "no tracker")

    def test_tracker_of_another_account(self) -> None:
        self.sandbox.sql("INSERT INTO account SELECT 2, 'b@example', name, password_salt,"
                         " password_hash, password_iterations, 5000 FROM account")
        self.sandbox.sql("UPDATE tracker SET account_id = 2 WHERE serial = ?", FREE)
        self.assert_nothing_changes(
            lambda: self.user.activate((FREE, "2026-04-01", "7")), "no tracker")

    def test_one_bad_period_refuses_the_good_ones_too(self) -> None:
        for bad in (("9999999", "2026-04-01", "7"), (EXTENDED, "2026-04-01", "1"),
                    (EXTENDED, "2026-04-31", "7"), (FREE, "2026-04-07", "7")):
            for order in (1, -1):
                periods = [(FREE, "2026-04-01", "7"), bad][::order]
                self.assert_nothing_changes(lambda: self.user.activate(*periods))

    def test_nothing_named(self) -> None:
        self.assert_nothing_changes(lambda: self.user.activate(), "No tracker was named")

    def test_overlaps(self) -> None:
        self.user.activate((FREE, "2026-04-10", "7"))
        for start, days in (("2026-04-10", "7"), ("2026-04-16", "2"), ("2026-04-04", "7"),
                            ("2026-04-12", "2"), ("2026-04-01", "30")):
            with self.subTest(start=start, days=days):
                self.assert_nothing_changes(
                    lambda: self.user.activate((FREE, start, days)),
                    FREE, "2026-04-10", "2026-04-16")

    def test_overlap_with_a_running_period(self) -> None:
        self.assert_nothing_changes(
            lambda: self.user.activate(("2310400", "2026-03-10", "2")), "already booked")

    def test_same_tracker_twice_in_one_request(self) -> None:
        self.assert_nothing_changes(lambda: self.user.activate(
            (FREE, "2026-04-01", "7"), (FREE, "2026-04-05", "7")), "already booked")
        self.assertEqual(self.user.activate(
            (FREE, "2026-04-01", "7"), (FREE, "2026-04-08", "7"))["rcode"], 0)

    def test_balance(self) -> None:
        self.sandbox.sql("UPDATE account SET balance_cents = 699")
        for periods in ([(EXTENDED, "2026-04-01", "7")],
                        [(FREE, "2026-04-01", "7"), (FREE_2, "2026-04-01", "7")]):
            self.assert_nothing_changes(lambda: self.user.activate(*periods),
                                        "balance", "7.00 EUR")
        self.sandbox.sql("UPDATE account SET balance_cents = 700")
        self.assertEqual(self.user.activate((EXTENDED, "2026-04-01", "7"))["rcode"], 0)
        self.assertEqual(self.balance(), "0.00 EUR")


class Removing(ActivationTestCase):
    def test_gives_back_what_it_cost(self) -> None:
        self.user.activate((FREE, "2026-04-01", "7"), (EXTENDED, "2026-04-01", "9"))
        self.assertEqual(self.balance(), "400.00 EUR")
        # Another profile since then changes nothing about what was paid.
        self.user.extend("N", EXTENDED)
        self.user.extend("Y", FREE)
        (period,) = self.pending(EXTENDED)
        self.assertEqual(self.user.get(REMOVE, activationId=period["id"]), {"rcode": 0, "msg": ""})
        self.assertEqual(self.balance(), "409.00 EUR")
        (period,) = self.pending(FREE)
        self.user.get(REMOVE, activationId=period["id"])
        self.assertEqual(self.balance(), "412.50 EUR")
        self.assertEqual(self.periods(FREE) + self.periods(EXTENDED), [])

    def test_removes_that_one_only(self) -> None:
        before = self.sandbox.sql("SELECT * FROM activation")
        (period,) = self.pending("2310400")
        self.user.get(REMOVE, activationId=period["id"])
        gone = [row for row in before if row not in self.sandbox.sql("SELECT * FROM activation")]
        self.assertEqual([str(row[0]) for row in gone], [period["id"]])

    def test_the_second_time_there_is_nothing_to_remove(self) -> None:
        (period,) = self.pending("2310400")
        self.assertEqual(self.user.get(REMOVE, activationId=period["id"])["rcode"], 0)
        self.assert_nothing_changes(
            lambda: self.user.get(REMOVE, activationId=period["id"]), "no activation")

    def test_identifiers_are_not_used_again(self) -> None:
        self.user.activate((FREE, "2026-04-01", "7"))
        (first,) = self.pending(FREE)
        self.user.get(REMOVE, activationId=first["id"])
        self.user.activate((FREE, "2026-04-01", "7"))
        (second,) = self.pending(FREE)
        self.assertGreater(int(second["id"]), int(first["id"]))

    def test_begun_periods_stay(self) -> None:
        for period in self.user.trackers()["2310400"]["activations"]:
            if period["done"] == "1":
                self.assert_nothing_changes(
                    lambda: self.user.get(REMOVE, activationId=period["id"]), "has begun")

    def test_one_that_begins_today_has_begun(self) -> None:
        self.user.activate((FREE, "2026-03-10", "7"))
        (period,) = self.user.trackers()[FREE]["activations"]
        self.assert_nothing_changes(
            lambda: self.user.get(REMOVE, activationId=period["id"]), "has begun")

    def test_unknown_ones(self) -> None:
        for number in ("0", "-1", "999999", "", "abc", "1.0", "9" * 30, "25 OR 1=1", "25\0"):
            with self.subTest(number=number):
                self.assert_nothing_changes(
                    lambda: self.user.get(REMOVE, activationId=number), "no activation")

    def test_of_another_account(self) -> None:
        (period,) = self.pending("2310400")
        self.sandbox.sql("INSERT INTO account SELECT 2, 'b@example', name, password_salt,"
                         " password_hash, password_iterations, 5000 FROM account")
        self.sandbox.sql("UPDATE tracker SET account_id = 2 WHERE serial = '2310400'")
        self.assert_nothing_changes(
            lambda: self.user.get(REMOVE, activationId=period["id"]), "no activation")


class Duplicates(ActivationTestCase):
    def duplicates(self) -> list[str]:
        return [line for line in self.sandbox.log().splitlines()
                if line.startswith("DUPLICATE ACTIVATION")]

    def test_twice_the_same(self) -> None:
        self.assertEqual(self.user.activate((FREE, "2026-04-01", "7"))["rcode"], 0)
        self.assertEqual(self.duplicates(), [])
        self.assertEqual(self.user.activate((FREE, "2026-04-01", "7"))["rcode"], 1)
        self.assertEqual(len(self.duplicates()), 1)
        self.user.activate((FREE, "2026-04-01", "7"))
        self.assertEqual(len(self.duplicates()), 2)

    def test_also_when_the_first_was_refused(self) -> None:
        for _ in range(2):
            self.assert_refused(self.user.activate((FREE, "2026-04-01", "1")))
        self.assertEqual(len(self.duplicates()), 1)

    def test_also_when_the_second_succeeds(self) -> None:
        self.user.activate((FREE, "2026-04-01", "7"))
        (period,) = self.pending(FREE)
        self.user.get(REMOVE, activationId=period["id"])
        self.assertEqual(self.user.activate((FREE, "2026-04-01", "7"))["rcode"], 0)
        self.assertEqual(len(self.duplicates()), 1)

    def test_order_does_not_matter(self) -> None:
        periods = [(FREE, "2026-04-01", "7"), (EXTENDED, "2026-04-01", "7")]
        self.user.activate(*periods)
        self.user.activate(*reversed(periods))
        self.assertEqual(len(self.duplicates()), 1)

    def test_different_ones_are_none(self) -> None:
        other = self.client(self.sandbox)
        self.user.activate((FREE, "2026-04-01", "7"))
        self.user.activate((FREE, "2026-04-01", "8"))
        self.user.activate((FREE, "2026-04-02", "7"))
        self.user.activate((EXTENDED, "2026-04-01", "7"))
        self.user.activate((FREE, "2026-04-01", "7"), (EXTENDED, "2026-04-01", "7"))
        other.activate((FREE, "2026-04-01", "7"))
        self.assertEqual(self.duplicates(), [])


class ManyClients(ActivationTestCase):
    def at_once(self, count: int, action: Callable[[Client], Any]) -> list[int]:
        clients = [self.client(self.sandbox) for _ in range(count)]
        barrier = threading.Barrier(count)
        replies = []

        def run(client: Client) -> None:
            barrier.wait()
            replies.append(action(client))
        threads = [threading.Thread(target=run, args=(client,)) for client in clients]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(len(replies), count)
        return [reply["rcode"] for reply in replies]

    def test_booking_the_same_period(self) -> None:
        codes = self.at_once(12, lambda c: c.activate((FREE, "2026-04-01", "7")))
        self.assertEqual(sorted(codes), [0] + [1] * 11)
        self.assertEqual(self.periods(FREE), [("2026-04-01", "2026-04-07", 350)])
        self.assertEqual(self.balance(), "409.00 EUR")

    def test_spending_the_last_money(self) -> None:
        self.sandbox.sql("UPDATE account SET balance_cents = 350")
        serials = [FREE, FREE_2, "2310713", "5120300", "5120450"]
        self.user.extend("N", *serials)
        lock = threading.Lock()

        def book(client: Client) -> Any:
            with lock:
                serial = serials.pop()
            return client.activate((serial, "2026-04-01", "7"))
        self.assertEqual(sorted(self.at_once(5, book)), [0, 1, 1, 1, 1])
        self.assertEqual(self.balance(), "0.00 EUR")

    def test_removing_the_same_period(self) -> None:
        (period,) = self.pending("2310400")
        codes = self.at_once(8, lambda c: c.get(REMOVE, activationId=period["id"]))
        self.assertEqual(sorted(codes), [0] + [1] * 7)
        self.assertEqual(self.balance(), "416.00 EUR")

    def test_two_sandboxes_with_one_database(self) -> None:
        folder = os.path.join(self.folder, "other")
        os.mkdir(folder)
        other = Sandbox(folder, "--database", self.sandbox.database)
        self.addCleanup(other.end)
        users = [self.user, self.client(other)]
        replies = []

        def run(user: Client, serial: str) -> None:
            for day in range(1, 29, 2):
                replies.append(user.activate((serial, f"2026-06-{day:02}", "2"))["rcode"])
        threads = [threading.Thread(target=run, args=pair) for pair in zip(users, (FREE, FREE_2))]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(replies, [0] * 28)
        self.assertEqual(self.balance(), "384.50 EUR")

    def test_idle_connections_starve_nobody(self) -> None:
        idle = [self.client(self.sandbox) for _ in range(30)]
        self.assertEqual(self.client(self.sandbox).get(TRACKERS, idgroup="12")["rcode"], 0)
        self.assertEqual({client.get(TRACKERS, idgroup="12")["rcode"] for client in idle}, {0})


if __name__ == "__main__":
    unittest.main()
