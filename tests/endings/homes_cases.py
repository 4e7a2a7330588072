"""No home folder, or one that nobody can write to."""

from __future__ import annotations

from pathlib import Path

from cases import LOGIN, NO_MOUNTS, STORED, Case, rows, with_rows
from program import mounting
from standin import EMAIL

# All that there is can be read and not written, but for the case's own folder.
READ_ONLY_SYSTEM = """
mount --bind "$0" "$0" && mount -o remount,ro,bind / || exit 99
exec "$@"
"""


@with_rows
class Homes(Case):

    @rows(unset={"HOME": None, "XDG_CONFIG_HOME": None},
          empty={"HOME": "", "XDG_CONFIG_HOME": ""},
          missing={"HOME": "/nonexistent", "XDG_CONFIG_HOME": None},
          read_only={"HOME": "/usr", "XDG_CONFIG_HOME": None},
          config_missing={"XDG_CONFIG_HOME": "/nonexistent/config"})
    def nowhere(self, variables: dict[str, str | None]) -> None:
        """It works, and remembers nobody."""
        prefix = mounting()
        if prefix is None:
            self.skipTest(NO_MOUNTS)
        wrapper = [*prefix, "sh", "-c", READ_ONLY_SYSTEM, str(self.place.folder)]
        for _ in range(2):
            program = self.start(wrapper=wrapper, environment=variables)
            self.assertEqual(program.see()["main"]["user"], "")
            program.log_in()
            program.do("close")
            self.check_end(program, stored=None)
        self.check_requests(LOGIN * 2)

    def test_default(self) -> None:
        self.check_remembered({"XDG_CONFIG_HOME": None}, self.place.home / ".config")

    def test_relative(self) -> None:
        """It is taken from the folder in which the client was started."""
        self.check_remembered({"XDG_CONFIG_HOME": "relative"}, self.place.home / "relative")

    def check_remembered(self, variables: dict[str, str | None], folder: Path) -> None:
        for user in ("", EMAIL):
            program = self.start(environment=variables, cwd=self.place.home)
            self.assertEqual(program.see()["main"]["user"], user)
            program.log_in()
            program.do("close")
            self.check_end(program, stored=None)
        settings = folder / "Quillmora" / self.place.settings.name
        self.assertEqual(settings.read_text(encoding="utf-8"), STORED)
        self.check_requests(LOGIN * 2)
