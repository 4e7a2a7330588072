"""A log that cannot be written: nobody to read it, a full disk, no log at all."""

from __future__ import annotations

import os
import re
import select
import signal
import subprocess
import threading
from pathlib import Path

from cases import LOGIN, NO_MOUNTS, Case, ScreenCase, rows, with_rows
from clientprocess import wait_until
from program import CLIENT, END_TIME, mounting
from standin import PASSWORD

FULL_DISK = """
mount -t tmpfs -o size=16k tmpfs "$0" || exit 99
cat /dev/zero >"$0/fill" 2>/dev/null
exec "$@" 2>>"$0/fill"
"""


@with_rows
class Logs(Case):

    def test_full(self) -> None:
        with open("/dev/full", "wb") as full:
            program = self.start_logged_in(stderr=full)
        program.do("close")
        self.check_end(program)
        self.check_requests(LOGIN)

    @rows(output_and_log='exec "$@" >&- 2>&-', all='exec "$@" <&- >&- 2>&-')
    def closed(self, script: str) -> None:
        program = self.start_logged_in(wrapper=["sh", "-c", script, "sh"])
        program.do("close")
        self.check_end(program)
        self.check_requests(LOGIN)

    def test_reader_that_pauses(self) -> None:
        """The window stands still until somebody reads; then it goes on as if nothing had been."""
        self.service.answers["/bsGetGroupTrackers.php"]["more"] = "m" * 200_000
        reading, writing = os.pipe()
        program = self.start(stderr=writing)
        program.send_login()
        wait_until("the pipe is full", lambda: not select.select([], [writing], [], 0)[1])
        os.close(writing)
        with open(reading, "rb") as log:
            reader = threading.Thread(target=log.read)
            reader.start()
            program.wait_for_table()
            program.do("close")
            self.check_end(program)
            reader.join()
        self.check_requests(LOGIN)

    def test_file_on_a_full_disk(self) -> None:
        prefix = mounting()
        if prefix is None:
            self.skipTest(NO_MOUNTS)
        program = self.start_logged_in(wrapper=[*prefix, "sh", "-c", FULL_DISK,
                                                str(self.place.home)])
        program.do("close")
        self.check_end(program)
        self.check_requests(LOGIN)


@with_rows
class NoStreams(ScreenCase):
    """On a screen it is the display's connection that would take the number of a closed stream."""

    @rows(input='exec "$@" <&-', output='exec "$@" >&-', log='exec "$@" 2>&-',
          all='exec "$@" <&- >&- 2>&-')
    def closed(self, script: str) -> None:
        program = self.start_logged_in(wrapper=["sh", "-c", script, "sh"])
        self.ask_to_close(program)
        self.check_end(program)
        self.check_requests(LOGIN)


class BrokenPipe(ScreenCase):
    """The reader of the log is gone. The hand's own socket would change what happens."""

    def start_alone(self, log: int) -> subprocess.Popen[bytes]:
        environment = self.place.environment | self.screen.environment | {
            "HOME": str(self.place.home), "XDG_CONFIG_HOME": str(self.place.config),
            "QT_QPA_PLATFORM": "xcb"}
        process = subprocess.Popen([str(CLIENT)], env=environment, stdin=subprocess.DEVNULL,
                                   stdout=subprocess.DEVNULL, stderr=log)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def test_before_the_first_request(self) -> None:
        """The system ends it at its first line, as any program whose output nobody takes."""
        reading, writing = os.pipe()
        os.close(reading)
        process = self.start_alone(writing)
        os.close(writing)
        self.assertEqual(process.wait(END_TIME), -signal.SIGPIPE)

    def test_after_the_first_request(self) -> None:
        """From then on the framework passes over broken pipes, whatever they belong to."""
        reading, writing = os.pipe()
        process = self.start_alone(writing)
        os.close(writing)
        with open(reading, "rb") as log:
            window = wait_until("the window is there", lambda: self.screen.tool(
                "search", "--onlyvisible", "--name", "^Veltrano$", check=False).stdout.strip())
            self.screen.tool("windowactivate", "--sync", window)
            self.screen.tool("key", "Tab")
            self.screen.tool("type", PASSWORD)
            self.screen.tool("key", "Return")
            wait_until("the trackers are asked for", lambda: len(self.service.lines()) == 3)
            while b"imsi" not in log.readline():
                pass
        ignored = re.search(r"^SigIgn:\s*(\w+)$", Path(f"/proc/{process.pid}/status").read_text(
            encoding="utf-8"), re.M)
        assert ignored is not None
        self.assertTrue(int(ignored[1], 16) >> (signal.SIGPIPE - 1) & 1)
        self.screen.tool("key", "alt+F4")
        self.assertEqual(process.wait(END_TIME), 0)
