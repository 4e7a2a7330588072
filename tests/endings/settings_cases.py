"""Settings that cannot be written, or read: the client starts, logs in and works, and asks nothing.
The one thing that is lost is the address in the user field of the next start."""

from __future__ import annotations

import os

from cases import LOGIN, NO_MOUNTS, STORED, Case, rows, with_rows
from program import Program, mounting
from standin import EMAIL

OLD = "somebody.else@example.org"
OLD_STORED = STORED.replace(EMAIL, OLD)

# Each takes the folder or file, does something to it, and starts the client.
FULL_DISK = """
mount -t tmpfs -o size=16k tmpfs "$0" && mkdir "$0/Quillmora" || exit 99
printf '%s' "$OLD_SETTINGS" >"$0/Quillmora/veltrano.conf"
cat /dev/zero >"$0/fill" 2>/dev/null
exec "$@"
"""
READ_ONLY = 'mount --bind "$0" "$0" && mount -o remount,ro,bind "$0" || exit 99; exec "$@"'


@with_rows
class Broken(Case):

    def start_mounted(self, script: str, place: str) -> Program:
        prefix = mounting()
        if prefix is None:
            self.skipTest(NO_MOUNTS)
        return self.start(wrapper=[*prefix, "sh", "-c", script, place],
                          environment={"OLD_SETTINGS": OLD_STORED})

    def check_works(self, program: Program, user: str) -> None:
        """Logs in, with no box on the way, and does what an operator does."""
        self.assertEqual(program.see()["main"]["user"], user)
        program.log_in()
        program.do("group", 1)
        program.wait_for_table("40 - Club B")

    def check_closes(self, program: Program, stored: str | None,
                     complaints: list[str] | None = None) -> None:
        program.do("close")
        self.check_end(program, stored=stored, complaints=complaints)
        self.check_requests([*LOGIN, "GET /bsGetGroupTrackers.php?idgroup=40"])

    def test_disk_full(self) -> None:
        """What was stored before stays: it is not cut to nothing."""
        program = self.start_mounted(FULL_DISK, str(self.place.config))
        self.check_works(program, OLD)
        inside = f"/proc/{program.process.pid}/root{self.place.settings.parent}"
        with open(f"{inside}/{self.place.settings.name}", encoding="utf-8") as settings:
            self.assertEqual(settings.read(), OLD_STORED)
        self.assertEqual(os.listdir(inside), [self.place.settings.name])
        self.check_closes(program, stored=None)

    def test_folder_read_only(self) -> None:
        self.place.write_settings(OLD_STORED)
        program = self.start_mounted(READ_ONLY, str(self.place.config))
        self.check_works(program, OLD)
        self.check_closes(program, OLD_STORED)

    def test_file_read_only(self) -> None:
        self.place.write_settings(OLD_STORED)
        program = self.start_mounted(READ_ONLY, str(self.place.settings))
        self.check_works(program, OLD)
        self.check_closes(program, OLD_STORED)

    def test_folder_in_place_of_the_file(self) -> None:
        self.place.settings.mkdir(parents=True)
        program = self.start()
        self.check_works(program, "")
        program.do("close")
        self.assertEqual(program.end(), 0)
        self.assertEqual(program.complaints(), [])
        self.assertEqual(self.place.files(), [])

    def test_file_in_place_of_the_folder(self) -> None:
        self.place.settings.parent.write_text("in the way", encoding="utf-8")
        program = self.start()
        self.check_works(program, "")
        program.do("close")
        self.assertEqual(program.end(), 0)
        self.assertEqual(program.complaints(), [])
        self.assertEqual(self.place.files(), [self.place.settings.parent.name])

    def test_dangling_link(self) -> None:
        """The file is made where the link leads to."""
        target = self.place.folder / "elsewhere.conf"
        self.place.settings.parent.mkdir()
        self.place.settings.symlink_to(target)
        program = self.start()
        self.check_works(program, "")
        self.check_closes(program, STORED)
        self.assertEqual(target.read_text(encoding="utf-8"), STORED)

    # What stands in the file, and what the user field makes of it.
    @rows(
        nothing=(b"", ""),
        no_section=(b"lastuser=a@b", "a@b"),
        noise=(bytes(range(256)) * 64, ""),
        one_long_line=(b"x" * 1_000_000, ""),
        half_a_file=(b"[General]\nlastus", ""),
        many=(b"[General]\nlastuser=one\nlastuser=two\n", "two"),
        invalid=(b"[General]\nlastuser=@Invalid()\n", ""),
        bytes=(b"[General]\nlastuser=@ByteArray(a@b)\n", "a@b"),
        # Less than thirty bits of a number: the older versions of the framework keep no more.
        variant_of_junk=(b"[General]\nlastuser=@Variant(1junk)\n", "", [
            "warning: Trying to construct an instance of an invalid type, type id: 829060365"]),
        variant_cut=(b"[General]\nlastuser=@Variant(\\0\\0\\0\\n\\0\\0\\0\\x80\\0)\n", ""),
        variant_rect=(b"[General]\nlastuser=@Rect(1 2 3 4)\n", ""),
        unknown_type=(b"[General]\nlastuser=@Nothing(a)\n", "@Nothing(a)"),
        list=(b"[General]\nlastuser=a, b, c\n", ""),
        empty_list=(b"[General]\nlastuser=@Invalid(), b\n", ""),
        long_text=(b"[General]\nlastuser=" + b"u" * 100_000 + b"\n", "u" * 32767),
        right_to_left=(b"[General]\nlastuser=\\x202e\\x5d0\\x5d1@b\n",
                       "\u202e\u05d0\u05d1@b"),
        zero=(b"[General]\nlastuser=a\\0b\n", "a\0b"),
        line_feed=(b"[General]\nlastuser=a\\nb\n", "a\nb"),
    )
    def content(self, content: bytes, user: str, complaints: list[str] | None = None) -> None:
        """The next login replaces it by what should have stood there."""
        self.place.write_settings(content)
        program = self.start()
        self.check_works(program, user)
        self.check_closes(program, STORED, complaints)
