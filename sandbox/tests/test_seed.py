"""The demonstration data: whatever a client can show is there to be seen."""

from __future__ import annotations

import unittest
from typing import Any

from support import GROUPS, ServiceTestCase


def check_value(serial: str) -> int:
    """The value of the eighth digit of the barcode, as readers are asked for it: 1 to 10."""
    digits = [int(c) for c in serial]
    return 10 - (3 * sum(digits[0::2]) + sum(digits[1::2])) % 10


class Seed(ServiceTestCase):
    def setUp(self) -> None:
        super().setUp()
        self.groups = {g["id"]: self.user.trackers(g["id"]) for g in self.user.get(GROUPS)["groups"]}
        self.all = {s: t for trackers in self.groups.values() for s, t in trackers.items()}

    @staticmethod
    def light(tracker: Any) -> str:
        if tracker["state"] == "A":
            return "green"
        return "yellow" if "0" in [p["done"] for p in tracker["activations"]] else "red"

    def test_numbers(self) -> None:
        self.assertEqual(len(self.groups), 3)
        self.assertEqual(len(self.all), 60)
        self.assertGreaterEqual(min(map(len, self.groups.values())), 19)

    def test_every_light_in_every_group(self) -> None:
        for group, trackers in self.groups.items():
            lights = [self.light(tracker) for tracker in trackers.values()]
            for colour in ("green", "yellow", "red"):
                self.assertGreaterEqual(lights.count(colour), 2, (group, colour))

    def test_trackers_without_a_state(self) -> None:
        none = [t for t in self.all.values() if t["state"] is None]
        self.assertEqual(len(none), 3)
        self.assertEqual({self.light(t) for t in none}, {"red", "yellow"})
        self.assertTrue(all(t["imsi"] == "" for t in none))

    def test_profiles(self) -> None:
        for trackers in self.groups.values():
            self.assertEqual({t["p"] for t in trackers.values()}, {"N", "E"})

    def test_periods_before_now_and_later_under_one_tracker(self) -> None:
        for serial in ("2310400", "0041200"):
            tracker = self.all[serial]
            self.assertEqual([p["done"] for p in tracker["activations"]], ["1", "1", "0"])
            self.assertEqual(tracker["state"], "A")
        self.assertEqual(next(iter(self.groups["27"])), "0041200")

    def test_no_two_periods_of_a_tracker_overlap(self) -> None:
        for tracker in self.all.values():
            periods = sorted((p["startTime"], p["endTime"]) for p in tracker["activations"])
            for (_, end), (start, _) in zip(periods, periods[1:]):
                self.assertLess(end, start)
            self.assertTrue(all(start <= end for start, end in periods))

    def test_shared_trackers(self) -> None:
        shared = {s: t for s, t in self.all.items() if t["groups"]}
        self.assertGreaterEqual(len(shared), 5)
        self.assertEqual(max(len(t["groups"]) for t in shared.values()), 2)
        for group, trackers in self.groups.items():
            for serial, tracker in trackers.items():
                others = [g for g, members in self.groups.items() if serial in members and g != group]
                self.assertEqual([g["id"] for g in tracker["groups"]], others)

    def test_names(self) -> None:
        names = [t["TrackerName"] for t in self.all.values()]
        self.assertEqual(len(set(names)), 60)
        self.assertGreater(max(map(len, names)), 100)
        self.assertGreaterEqual(sum(not name.isascii() for name in names), 15)
        for sign in "&=+%<\"'":
            self.assertTrue(any(sign in name for name in names), sign)

    def test_other_texts(self) -> None:
        for tracker in self.all.values():
            self.assertRegex(tracker["v"], r"^\d{2,3}$")
            self.assertRegex(tracker["imsi"], r"^(\d{15})?$")
            self.assertRegex(tracker["compe_id"], r"^\w{2,3}$")

    def test_barcodes(self) -> None:
        for serial in self.all:
            self.assertRegex(serial, r"^\d{7}$")
        self.assertGreaterEqual(sum(s.startswith("0") for s in self.all), 5)
        self.assertEqual([s for s in self.all if check_value(s) == 10], ["0041773"])


if __name__ == "__main__":
    unittest.main()
