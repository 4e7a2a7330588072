"""The barcode reader: scanning, unplugging, plugging in again."""

from __future__ import annotations

from day import Day
from service import Tracker, expect

UNKNOWN = "9638507"  # no tracker of the sandbox


def code(serial: str) -> str:
    """The code on a tracker: its serial number and the check character."""
    digits = [int(digit) for digit in serial]
    check = 10 - (3 * sum(digits[0::2]) + sum(digits[1::2])) % 10
    return serial + (":" if check == 10 else str(check))


def present(day: Day) -> list[Tracker]:
    return day.service.trackers(day.groups[1])


def scan_and_see(day: Day, tracker: Tracker) -> None:
    assert day.client is not None
    day.client.tell_reader(f"scan {code(tracker.serial)}")
    day.operator.wait(f"{tracker.serial} is ticked and current",
                      lambda view: view.row(tracker.serial).check
                      and view.row(tracker.serial).current)


def reader_shown(day: Day, shown: bool) -> None:
    day.operator.wait(f"the reader's box is {'ticked' if shown else 'cleared'}",
                      lambda view: view.widget("barReaderFound")["checked"] == shown)


def scan(day: Day) -> None:
    assert day.client is not None
    first, second = present(day)[:2]
    reader_shown(day, True)
    scan_and_see(day, first)
    wrong = code(second.serial)[:-1] + ("0" if code(second.serial)[-1] != "0" else "1")
    for refused in (wrong, code(UNKNOWN)):
        day.client.tell_reader(f"scan {refused}")
    # A code that is taken, after those that are not: what they did would be seen by then.
    scan_and_see(day, first)
    day.check_group(day.groups[1], frozenset([first.serial]))


def unplug(day: Day) -> None:
    assert day.client is not None
    day.client.tell_reader("unplug")
    reader_shown(day, False)
    lines = day.client.log.read_text(encoding="utf-8", errors="replace").count("onBarCodeError")
    expect("the errors that the reader's end reports are few", lines < 10, True)


def plug_in_again(day: Day) -> None:
    assert day.client is not None
    first, second = present(day)[:2]
    day.client.tell_reader("plug")
    day.operator.click("barReaderFound")
    reader_shown(day, True)
    scan_and_see(day, second)
    day.check_group(day.groups[1], frozenset([first.serial, second.serial]))
    day.operator.click_button("Select none")
    day.operator.wait("nothing is ticked",
                      lambda view: not any(row.check for row in view.table))
