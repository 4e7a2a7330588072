"""Other systems: their locale, their clock, their time zone. What is sent does not hang on them."""

from __future__ import annotations

import datetime
import unittest

from cases import Case, rows, with_rows
from clientprocess import wait_until
from clock import UNTOUCHED_WAITS
from program import CLOCK, QT_VERSION, SANITIZER, Program
from qtversions import accepted_encodings
from standin import PASSWORD, path

NAME = "Füchsin İı"
NAME_SENT = "F%C3%BCchsin%20%C4%B0%C4%B1"
DETAILS = "/bsGetGroupTrackerInfo.php?fx={}&groupId=12%20-%20Club%20A&SN=1000003"
DAY = datetime.timedelta(days=1)
FORM = "Content-Type: application/x-www-form-urlencoded\r\n"


class Booking(Case):
    """Cases in which a period is booked."""

    def book(self, program: Program) -> str:
        """Schedules for the first tracker; returns the question and waits until it is sent."""
        before = len(self.posts())
        program.do("tick", 0)
        program.do("click", "activateButton")
        question: str = program.wait_for_window("QMessageBox")["text"]
        program.do("answer", "Yes")
        wait_until("the period is posted", lambda: len(self.posts()) == before + 1)
        program.wait_for_table()
        return question

    def posts(self) -> list[bytes]:
        return [request.partition(b"\r\n\r\n")[2] for request in self.service.requests
                if path(request) == "/activateTrackers.php"]


def booked(start: str, days: str) -> str:
    """The form of a period for the first tracker."""
    return (f"posted=[%0A    %7B%0A        %22days%22: %22{days}%22,%0A"
            f"        %22deviceSn%22: %221000003%22,%0A        %22start%22: %22{start}%22%0A"
            "    %7D%0A]%0A")


@with_rows
class Locales(Booking):
    """Start and numbers of trackers go in ASCII everywhere, the days in the digits that are shown.
    The framework names the locale in a header."""

    @rows(german=("de_DE", "14", "7"), turkish=("tr_TR", "14", "7"),
          arabic=("ar_EG", "١٤", "٧"), persian=("fa_IR", "۱۴", "۷"))
    def all_requests(self, locale: str, fourteen: str, seven: str) -> None:
        program = self.start_logged_in(environment={"LC_ALL": f"{locale}.UTF-8", "LANG": None})
        program.do("days", 5)
        program.wait("five days become a week",
                     lambda report: report["main"]["days"] == seven)
        program.do("days", 14)
        program.do("date", "2030-04-09")
        program.do("scan", "1000003")
        program.wait("the scanned tracker is ticked",
                     lambda report: report["main"]["rows"][0]["ticked"])
        question = self.book(program)
        shown = 14 if fourteen == "14" else 0
        self.assertEqual(question, "You are about to activate 1 trackers.\n Starting 2030-04-09 "
                                   f"and during {shown} days. Are you sure?")
        self.change_profile(program)
        self.remove(program)
        self.rename(program)
        program.do("close")
        self.check_end(program)
        self.check_bytes(locale.replace("_", "-"), fourteen)

    def change_profile(self, program: Program) -> None:
        program.do("tick", 0)
        program.do("click", "extendProfile")
        program.wait_for_window("QMessageBox")
        program.do("answer", "Yes")
        self.wait_for_reload(program, 3)

    def remove(self, program: Program) -> None:
        program.do("menu", 0, 0)
        program.wait_for_window("QMenu")
        program.do("choose", 0)
        self.wait_for_reload(program, 4)

    def wait_for_reload(self, program: Program, number: int) -> None:
        wait_until("the trackers are asked for again", lambda: sum(
            path(request) == "/bsGetGroupTrackers.php" for request in self.service.requests)
            == number)
        program.wait_for_table()

    def rename(self, program: Program) -> None:
        program.do("details", 0)
        program.wait_for_window("EditTracker")
        program.do("rename", NAME)
        program.do("answer", "OK")
        wait_until("the name is saved", lambda: "fx=saveInfo" in self.service.lines()[-1])

    def check_bytes(self, language: str, days: str) -> None:
        password = PASSWORD.replace("&", "%26").replace("=", "%3D").replace("%+", "%25+")
        trackers = self.get("/bsGetGroupTrackers.php?idgroup=12", language)
        expected = [
            self.post("/bslogin.php", language,
                      f"email=operator@example.org&password={password}"),
            self.get("/bsGetMyGroups.php", language, FORM),
            trackers,
            self.post("/activateTrackers.php", language, booked("2030-04-09", days)),
            trackers,
            self.post("/extendTrackers.php", language,
                      "extend=Y&posted=[%0A    %7B%0A        %22deviceSn%22: %221000003%22%0A"
                      "    %7D%0A]%0A"),
            trackers,
            self.get("/removeActivation.php?activationId=71", language),
            trackers,
            self.get(DETAILS.format("getInfo"), language),
            self.get(f"{DETAILS.format('saveInfo')}&name={NAME_SENT}", language),
        ]
        self.service.all_lines()
        self.assertEqual([request.decode() for request in self.service.requests], expected)

    def head(self, line: str, language: str, form: str) -> str:
        return (f"{line} HTTP/1.1\r\nHost: localhost:{self.service.port}\r\n{form}"
                f"Connection: Keep-Alive\r\nAccept-Encoding: {accepted_encodings(QT_VERSION)}\r\n"
                f"Accept-Language: {language},en,*\r\nUser-Agent: Mozilla/5.0\r\n\r\n")

    def get(self, target: str, language: str, form: str = "") -> str:
        return self.head(f"GET {target}", language, form)

    def post(self, target: str, language: str, body: str) -> str:
        length = f"Content-Length: {len(body.encode())}\r\n"
        return self.head(f"POST {target}", language, FORM + length) + body


@unittest.skipIf(SANITIZER, "A sanitizer's library and the clock's do not go together.")
class Clocks(Booking):
    """What the calendar shows is what is sent, whatever the clock does meanwhile."""

    def start_at(self, moment: datetime.datetime, **environment: str) -> Program:
        self.clock = self.place.folder / "clock"
        self.set_clock(moment)
        return self.start_logged_in(preload=CLOCK, environment={
            "FAKETIME_TIMESTAMP_FILE": str(self.clock), "FAKETIME_NO_CACHE": "1",
            "FAKETIME_FMT": "%s", **UNTOUCHED_WAITS, **environment})

    def set_clock(self, moment: datetime.datetime) -> None:
        new = self.clock.with_suffix(".new")
        new.write_text(f"{moment.timestamp():.0f}\n", encoding="utf-8")
        new.replace(self.clock)  # at once: half a date is none

    def check_today(self, program: Program, day: datetime.date) -> None:
        program.wait(f"it is {day} for the client",
                     lambda report: report["main"]["today"] == f"{day}")

    def check_booking(self, program: Program, day: datetime.date) -> None:
        self.assertEqual(program.see()["main"]["date"], f"{day}")
        question = self.book(program)
        self.assertIn(f"\n Starting {day} and during 7 days.", question)
        self.assertEqual(self.posts()[-1].decode(), booked(f"{day}", "7"))

    @staticmethod
    def evening() -> datetime.datetime:
        """Not in the past: the certificates of this build are as young as it is."""
        tomorrow = datetime.datetime.now(datetime.timezone.utc) + DAY
        return tomorrow.replace(hour=23, minute=59, second=30)

    def test_midnight(self) -> None:
        """A client that is left open overnight still shows, and books, the evening's day."""
        evening = self.evening()
        program = self.start_at(evening)
        self.check_booking(program, evening.date())
        self.set_clock(evening + datetime.timedelta(minutes=5))
        self.check_today(program, evening.date() + DAY)
        self.check_booking(program, evening.date())
        chosen = evening.date() + datetime.timedelta(days=9)
        program.do("date", f"{chosen}")
        self.check_booking(program, chosen)
        program.do("close")
        self.check_end(program)

    def test_zones(self) -> None:
        """A client that travels, or whose system learns of its zone late."""
        evening = self.evening()
        program = self.start_at(evening)
        for zone, days in (("Pacific/Kiritimati", 1), ("America/New_York", 0), ("Asia/Tokyo", 1)):
            program.do("zone", zone)
            self.check_today(program, evening.date() + days * DAY)
            self.check_booking(program, evening.date())
        program.do("close")
        self.check_end(program)

    def test_start_in_another_zone(self) -> None:
        """A client begins with its own zone's day."""
        evening = self.evening()
        program = self.start_at(evening, TZ="Pacific/Kiritimati")
        self.check_booking(program, evening.date() + DAY)
        program.do("close")
        self.check_end(program)
