"""The members and JSON types of every endpoint's reply, as clients read them."""

from __future__ import annotations

import unittest
from typing import Any

from support import (EXTEND, GROUPS, INFO, REMOVE, TRACKERS, ServiceTestCase, encode)

LABEL = "12 - Alpine Cup"


class Lists(ServiceTestCase):
    def test_groups(self) -> None:
        reply = self.user.get(GROUPS)
        self.assertEqual(reply, {"rcode": 0, "msg": "", "groups": [
            {"id": "12", "group_name": "Alpine Cup"},
            {"id": "27", "group_name": "Club trackers"},
            {"id": "40", "group_name": "Rental pool – Süd"}]})
        self.assertIs(type(reply["rcode"]), int)

    def test_members_and_types_of_the_tracker_list(self) -> None:
        for group in ("12", "27", "40"):
            reply = self.user.get(TRACKERS, idgroup=group)
            self.assertEqual(set(reply), {"rcode", "msg", "balance", "trackers"})
            self.assertIs(type(reply["rcode"]), int)
            self.assertEqual(reply["balance"], "412.50 EUR")
            self.assertGreater(len(reply["trackers"]), 15)
            for tracker in reply["trackers"]:
                texts = {"deviceSn", "TrackerName", "compe_id", "v", "imsi", "p"}
                self.assertEqual(set(tracker), texts | {"state", "groups", "activations"})
                self.assertEqual({type(tracker[name]) for name in texts}, {str})
                self.assertIn(tracker["state"], ("A", "", None))
                self.assertIn(tracker["p"], ("E", "N"))
                for other in tracker["groups"]:
                    self.assertEqual(list(other), ["id"])
                    self.assertIs(type(other["id"]), str)
                for period in tracker["activations"]:
                    self.assertEqual(set(period), {"id", "startTime", "endTime", "done"})
                    self.assertEqual({type(v) for v in period.values()}, {str})
                    self.assertGreater(int(period["id"]), 0)
                    self.assertIn(period["done"], ("0", "1"))

    def test_one_tracker_in_full(self) -> None:
        tracker = self.user.trackers("12")["2310550"]
        self.assertEqual(tracker["groups"], [{"id": "27"}, {"id": "40"}])
        self.assertEqual(self.user.trackers("27")["2310550"]["groups"], [{"id": "12"}, {"id": "40"}])
        self.assertEqual(tracker["TrackerName"], "Αλέξης Παππάς")
        period = tracker["activations"][0]
        del period["id"]
        self.assertEqual(period, {"startTime": "2026-03-04", "endTime": "2026-03-17", "done": "1"})

    def test_order_is_by_serial_number(self) -> None:
        serials = [t["deviceSn"] for t in self.user.get(TRACKERS, idgroup="27")["trackers"]]
        self.assertEqual(serials, sorted(serials))
        self.assertEqual(serials[0], "0041200")

    def test_unknown_groups(self) -> None:
        for group in ("13", "", "-12", "12 - Alpine Cup", "0x0c", "99999999999999999999999",
                      "12' OR '1'='1", "12\0", "١٢", "1" * 8000):
            with self.subTest(group=group[:30]):
                status, _, reply = self.user.request(
                    "GET", TRACKERS + "?" + encode({"idgroup": group})[:8000])
                self.assertEqual(status, 200)
                self.assert_refused(reply, "no group")
                self.assertEqual(reply["trackers"], [])
                self.assertEqual(reply["balance"], "")

    def test_group_of_another_account(self) -> None:
        self.sandbox.sql("INSERT INTO account SELECT 2, 'b@example', name, password_salt,"
                         " password_hash, password_iterations, 5 FROM account")
        self.sandbox.sql("INSERT INTO tracker_group VALUES (50, 2, 'Others')")
        self.assert_refused(self.user.get(TRACKERS, idgroup="50"), "no group")
        self.assertEqual(len(self.user.get(GROUPS)["groups"]), 3)


class PeriodsAndDays(ServiceTestCase):
    """What is running, over and pending follows from the day and from nothing else."""

    def state_on(self, day: str) -> Any:
        self.sandbox.end()
        self.sandbox = self.start(today=day)
        tracker = self.client(self.sandbox).trackers()["2310520"]
        return tracker["state"], [period["done"] for period in tracker["activations"]]

    def test_first_and_last_day_belong_to_the_period(self) -> None:
        self.assertEqual(self.user.activate(("2310520", "2026-03-12", "3"))["rcode"], 0)
        self.assertEqual(self.state_on("2026-03-11"), ("", ["0"]))
        self.assertEqual(self.state_on("2026-03-12"), ("A", ["1"]))
        self.assertEqual(self.state_on("2026-03-14"), ("A", ["1"]))
        self.assertEqual(self.state_on("2026-03-15"), ("", ["1"]))

    def test_no_state_without_a_sim_card_even_while_a_period_runs(self) -> None:
        tracker = self.user.trackers("40")["5120510"]
        self.assertIsNone(tracker["state"])
        self.assertEqual(tracker["imsi"], "")
        self.assertEqual([p["done"] for p in tracker["activations"]], ["1"])


class Info(ServiceTestCase):
    def test_get(self) -> None:
        for label in (LABEL, "12", "12 - Whatever it is called - 99", "12 "):
            with self.subTest(label=label):
                reply = self.user.get(INFO, fx="getInfo", groupId=label, SN="2310400")
                self.assertEqual(reply, {"rcode": 0, "msg": "", "name": "Anna Bergström",
                                         "deviceSN": "2310400", "SN": "2310400"})

    def test_save_and_get(self) -> None:
        for name in ("New name", "", "  blanks  ", "a+b&c=d%20;#?/\\\"'<b>", "Ünï 山田 نوعה 🛰",
                     "x" * 200, "é" * 200, "'; DROP TABLE tracker; --"):
            with self.subTest(name=name):
                reply = self.user.get(INFO, fx="saveInfo", groupId=LABEL, SN="2310400", name=name)
                self.assertEqual(reply, {"rcode": 0, "msg": "", "name": name,
                                         "deviceSN": "2310400", "SN": "2310400"})
                self.assertEqual(self.user.get(INFO, fx="getInfo", groupId=LABEL,
                                               SN="2310400")["name"], name)
                self.assertEqual(self.user.trackers()["2310400"]["TrackerName"], name)
        self.assertEqual(len(self.user.trackers()), 21)

    def test_plus_sign_is_a_blank_unless_it_is_encoded(self) -> None:
        for sent, kept in (("a+b", "a b"), ("a%2Bb", "a+b"), ("a%20b", "a b")):
            self.user.request("GET", f"{INFO}?fx=saveInfo&groupId=12&SN=2310400&name={sent}")
            self.assertEqual(self.user.trackers()["2310400"]["TrackerName"], kept)

    def test_save_changes_that_name_only(self) -> None:
        before = self.sandbox.dump().splitlines()
        self.user.get(INFO, fx="saveInfo", groupId=LABEL, SN="2310400", name="Renamed")
        changed = [line for line in self.sandbox.dump().splitlines() if line not in before]
        self.assertEqual(len(changed), 1)
        self.assertIn("2310400", changed[0])
        self.assertIn("Renamed", changed[0])

    def test_refused_with_nothing_changed(self) -> None:
        before = self.sandbox.dump()
        for label, serial, name in [
                ("13", "2310400", "n"), ("", "2310400", "n"), ("- 12", "2310400", "n"),
                ("12x", "2310400", "n"), ("99999999999999999999", "2310400", "n"),
                (LABEL, "", "n"), (LABEL, "231040", "n"), (LABEL, "2310400\0", "n"),
                (LABEL, "0041200", "n"), (LABEL, "x" * 1000, "n"), (LABEL, "2310400", "x" * 201),
                (LABEL, "2310400", "é" * 201), (LABEL, "2310400", "a\0b"),
                (LABEL, "2310400", "a\nb"), (LABEL, "2310400", "a\x7fb")]:
            with self.subTest(label=label, serial=serial[:20], name=name[:20]):
                reply = self.user.get(INFO, fx="saveInfo", groupId=label, SN=serial, name=name)
                self.assert_refused(reply)
                self.assertTrue(reply["msg"])
                self.assertEqual(reply["SN"], "")
                if name == "n":
                    reply = self.user.get(INFO, fx="getInfo", groupId=label, SN=serial)
                    self.assert_refused(reply)
                    self.assertEqual(reply["name"], "")
        self.assertEqual(self.sandbox.dump(), before)


class Profile(ServiceTestCase):
    def profiles(self) -> dict[str, int]:
        return dict(self.sandbox.sql("SELECT serial, extended FROM tracker"))

    def test_set_and_unset(self) -> None:
        before = self.profiles()
        reply = self.user.extend("Y", "2310400", "2310429", "2310484")
        self.assertEqual(reply, {"rcode": 0, "msg": ""})
        self.assertEqual({s: t["p"] for s, t in self.user.trackers().items()}["2310400"], "E")
        expected = dict(before, **{"2310400": 1, "2310429": 1, "2310484": 1})
        self.assertEqual(self.profiles(), expected)
        self.user.extend("N", "2310400", "2310400", "2310484")
        self.assertEqual(self.profiles(), dict(expected, **{"2310400": 0, "2310484": 0}))

    def test_refused_whole(self) -> None:
        before = self.sandbox.dump()
        refused: list[tuple[str, list[str]]] = [
            ("y", ["2310400"]), ("", ["2310400"]), ("E", ["2310400"]), ("YY", ["2310400"]),
            ("Y", []), ("Y", ["2310400", "9999999"]), ("Y", ["2310400", ""]),
            ("Y", ["2310400' OR '1'='1"])]
        for letter, serials in refused:
            with self.subTest(letter=letter, serials=serials):
                reply = self.user.extend(letter, *serials)
                self.assert_refused(reply)
                self.assertTrue(reply["msg"])
        self.assertEqual(self.sandbox.dump(), before)

    def test_a_tracker_of_another_account(self) -> None:
        self.sandbox.sql("INSERT INTO account SELECT 2, 'b@example', name, password_salt,"
                         " password_hash, password_iterations, 5 FROM account")
        self.sandbox.sql("UPDATE tracker SET account_id = 2 WHERE serial = '2310520'")
        before = self.sandbox.dump()
        self.assert_refused(self.user.extend("Y", "2310400", "2310520"), "2310520")
        self.assertEqual(self.sandbox.dump(), before)

    def test_booked_periods_keep_their_price(self) -> None:
        before = self.sandbox.sql("SELECT id, cost_cents FROM activation")
        self.user.extend("Y", *self.user.trackers())
        self.assertEqual(self.sandbox.sql("SELECT id, cost_cents FROM activation"), before)


class Transport(ServiceTestCase):
    def test_head_of_a_reply(self) -> None:
        # A client that offers compression must still be told how much is to come.
        _, headers, _ = self.user.request("GET", TRACKERS + "?idgroup=12",
                                          headers={"Accept-Encoding": "gzip, deflate, br"})
        self.assertIsNone(headers["Content-Encoding"])
        self.assertGreater(int(headers["Content-Length"]), 3000)
        self.assertEqual(headers["Content-Type"], "application/json; charset=utf-8")
        self.assertEqual(headers["Cache-Control"], "no-store")

    def test_many_requests_on_one_connection(self) -> None:
        self.user.get(GROUPS)
        socket = self.user.connection.sock
        for _ in range(300):
            self.user.get(GROUPS)
        self.assertIs(self.user.connection.sock, socket)

    def test_commands_answer_with_code_and_message_only(self) -> None:
        self.assertEqual(self.user.activate(("2310520", "2026-05-01", "7")),
                         {"rcode": 0, "msg": ""})
        ((number,),) = self.sandbox.sql("SELECT max(id) FROM activation")
        self.assertEqual(self.user.get(REMOVE, activationId=str(number)), {"rcode": 0, "msg": ""})
        self.assertEqual(set(self.user.post(EXTEND, extend="Q", posted="[]")), {"rcode", "msg"})


if __name__ == "__main__":
    unittest.main()
