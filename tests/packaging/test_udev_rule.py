"""What udev makes of the rule for the barcode reader: the real udevadm, on emulated devices.

It runs in mount namespaces of its own, where udev finds no rules but the one under test and the
one that opens devices to whoever sits at the machine, and where all that it writes is gone with
the namespace."""

from __future__ import annotations

import os
import shutil
import subprocess
import tempfile
import unittest
from dataclasses import dataclass
from pathlib import Path

RULE = Path(os.environ["VELTRANO_RULE"])
RULES_FOLDER = Path("/usr/lib/udev/rules.d")
SEAT_RULE = RULES_FOLDER / "73-seat-late.rules"
TIMEOUT = 60  # seconds; a run takes a fraction of one

# What udev is run with, and the Debian package that has it.
TOOLS = {"unshare": "util-linux", "mount": "mount", "udevadm": "udev", "umockdev-run": "umockdev"}

# A chroot's root need not be a mount point. Then nothing says whether what is mounted there shows
# outside, too: a mount point that lets nothing out has to be the way to it.
IN_A_CHROOT = """
set -e
mount -n --make-rprivate /proc
mount -n -t tmpfs none /proc/fs
mkdir /proc/fs/root
mount -n --rbind / /proc/fs/root
mount -n --make-rprivate /proc/fs/root
exec chroot /proc/fs/root "$@"
"""

# Ways to a mount namespace: root's, anybody's, and root's in a chroot.
NAMESPACES = [
    ["unshare", "--mount"],
    ["unshare", "--mount", "--map-root-user"],
    ["unshare", "--mount", "--propagation=unchanged", "sh", "-c", IN_A_CHROOT, "sh"],
]

# Hidden are the rules of other packages and of the administrator, what udev remembers of devices in
# /run, where umockdev puts its files instead, and real devices that are called like emulated ones.
# -n: mount would leave a folder in the real /run for its notes.
IN_THE_NAMESPACE = """
set -e
mount -n --bind "$1" /usr/lib/udev/rules.d
for folder in /etc/udev /usr/local/lib/udev /run /dev; do
    if [ -d $folder ]; then mount -n -t tmpfs none $folder; fi
done
exec umockdev-run --device=/usr/lib/udev/rules.d/devices -- udevadm test --action="$2" "$3"
"""

USB = "/devices/pci0000:00/0000:00:14.0/usb1"
HUB = f"{USB}/1-4"
READER_ACM = f"{USB}/1-1/1-1:1.0/tty/ttyACM0"
READER_USB_SERIAL = f"{USB}/1-2/1-2:1.0/ttyUSB0/tty/ttyUSB0"  # one level more
OTHER_VENDOR = f"{USB}/1-3/1-3:1.0/tty/ttyACM1"
OTHER_VENDOR_BEHIND_HUB = f"{HUB}/1-4.1/1-4.1:1.0/tty/ttyACM2"
READER_BEHIND_HUB = f"{HUB}/1-4.2/1-4.2:1.0/tty/ttyACM3"
READER_AS_KEYBOARD = f"{USB}/1-5/1-5:1.0/0003:05F9:2202.0001/input/input7/event7"
NO_USB = "/devices/platform/serial8250/tty/ttyS0"


@dataclass(frozen=True)
class Verdict:
    """What udev makes of one event."""

    properties: dict[str, str]
    tags: set[str]
    to_run: list[str]         # by udev, when all rules are through
    rules: list[str]          # the files that have been read
    complaints: list[str]     # about the rule under test


def device(path: str, subsystem: str, *lines: str) -> str:
    return "\n".join([f"P: {path}", f"E: SUBSYSTEM={subsystem}", *lines, "", ""])


def usb_device(path: str, vendor: str, number: int, device_class: str = "02") -> str:
    """With its first interface."""
    name = path.rpartition("/")[2]
    return device(path, "usb", "E: DEVTYPE=usb_device", f"E: DEVNAME=bus/usb/001/{number:03}",
                  "E: MAJOR=189", f"E: MINOR={number - 1}", f"A: idVendor={vendor}\\n",
                  "A: idProduct=2206\\n", f"A: bDeviceClass={device_class}\\n") \
        + device(f"{path}/{name}:1.0", "usb", "E: DEVTYPE=usb_interface",
                 "A: bInterfaceNumber=00\\n", f"A: bInterfaceClass={device_class}\\n")


def node(path: str, subsystem: str, major: int, minor: int) -> str:
    name = path.rpartition("/")[2]
    return device(path, subsystem, f"E: DEVNAME={name}", f"E: MAJOR={major}", f"E: MINOR={minor}")


DEVICES = "".join([
    usb_device(USB, "1d6b", 1, device_class="09"),
    usb_device(f"{USB}/1-1", "05f9", 2),
    node(READER_ACM, "tty", 166, 0),
    usb_device(f"{USB}/1-2", "05f9", 3, device_class="00"),
    device(f"{USB}/1-2/1-2:1.0/ttyUSB0", "usb-serial", "A: port_number=0\\n"),
    node(READER_USB_SERIAL, "tty", 188, 0),
    usb_device(f"{USB}/1-3", "05f8", 4),
    node(OTHER_VENDOR, "tty", 166, 1),
    usb_device(HUB, "05f9", 5, device_class="09"),
    usb_device(f"{HUB}/1-4.1", "05f8", 6),
    node(OTHER_VENDOR_BEHIND_HUB, "tty", 166, 2),
    usb_device(f"{HUB}/1-4.2", "05f9", 7),
    node(READER_BEHIND_HUB, "tty", 166, 3),
    usb_device(f"{USB}/1-5", "05f9", 8, device_class="00"),
    node(READER_AS_KEYBOARD, "input", 13, 71),
    node(NO_USB, "tty", 4, 64),
])


def run(command: list[str]) -> subprocess.CompletedProcess[str]:
    # Of the environment nothing that would preload a library or send the log elsewhere.
    environment = {"PATH": os.environ["PATH"], "TMPDIR": "/run", "LC_ALL": "C.UTF-8"}
    return subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, capture_output=True,
                          text=True, encoding="utf-8", timeout=TIMEOUT, check=False)


def find_namespace() -> list[str]:
    """The command that runs another one in a mount namespace."""
    missing = [package for tool, package in TOOLS.items() if shutil.which(tool) is None]
    if missing:
        raise AssertionError("The test needs the Debian packages " + " ".join(missing) + ".")
    refusals = []
    for namespace in NAMESPACES:
        attempt = run([*namespace, "mount", "-n", "-t", "tmpfs", "none", "/run"])
        if attempt.returncode == 0:
            return namespace
        refusals.append(" ".join(attempt.stderr.split()))
    raise AssertionError("The test needs a mount namespace, which this user cannot make here: "
                         + "; ".join(dict.fromkeys(refusals)))


def setUpModule() -> None:
    RuleTestCase.namespace = find_namespace()


class RuleTestCase(unittest.TestCase):
    namespace: list[str]

    def udev(self, path: str, action: str = "add", *, more_rules: str = "") -> Verdict:
        """Lets udev handle an event of a device; more_rules are added to those under test."""
        with tempfile.TemporaryDirectory(prefix="veltrano-rule-") as folder:
            rules = Path(folder)
            shutil.copy(SEAT_RULE, rules)
            text = RULE.read_text(encoding="utf-8")
            (rules / RULE.name).write_text(text + more_rules, encoding="utf-8")
            (rules / "devices").write_text(DEVICES, encoding="utf-8")
            run_udev = run([*self.namespace, "sh", "-c", IN_THE_NAMESPACE, "sh", folder, action,
                            f"/sys{path}"])
        self.assertEqual(run_udev.returncode, 0, run_udev.stderr)
        verdict = read_verdict(run_udev.stdout, run_udev.stderr)
        self.assertEqual(verdict.properties.get("DEVPATH"), path, run_udev.stdout)
        self.assertEqual(verdict.properties.get("ACTION"), action)
        self.assertEqual(verdict.rules, sorted([RULE.name, SEAT_RULE.name]))
        return verdict

    def assert_opened(self, path: str, action: str = "add") -> None:
        verdict = self.udev(path, action)
        self.assertIn("uaccess", verdict.tags)
        self.assertIn("uaccess", verdict.to_run)
        self.assertEqual(verdict.properties.get("ID_MM_PORT_IGNORE"), "1")
        self.assertEqual(verdict.complaints, [])

    def assert_untouched(self, path: str, action: str = "add") -> None:
        verdict = self.udev(path, action)
        self.assertEqual(verdict.tags, set())
        self.assertEqual(verdict.to_run, [])
        self.assertEqual([name for name in verdict.properties if name.startswith("ID_")], [])
        self.assertEqual(verdict.complaints, [])


def read_verdict(output: str, log: str) -> Verdict:
    properties: dict[str, str] = {}
    to_run = []
    for line in output.splitlines():
        if line.startswith("run: "):
            to_run.append(line[len("run: "):].strip("'"))
        else:
            name, separator, value = line.partition("=")
            if separator:
                properties[name] = value
    reading = "Reading rules file: "
    rules = [Path(line[len(reading):]).name for line in log.splitlines()
             if line.startswith(reading)]
    # The rule's own work udev does in silence.
    complaints = [line for line in log.splitlines()
                  if RULE.name in line and not line.startswith(reading)]
    tags = {tag for tag in properties.get("CURRENT_TAGS", "").split(":") if tag}
    return Verdict(properties, tags, to_run, rules, complaints)


class Reader(RuleTestCase):
    def test_port_is_opened_and_kept_from_modemmanager(self) -> None:
        for path in (READER_ACM, READER_USB_SERIAL, READER_BEHIND_HUB):
            for action in ("add", "change", "bind"):
                with self.subTest(path=path, action=action):
                    self.assert_opened(path, action)

    def test_device_is_kept_from_modemmanager(self) -> None:
        for path in (f"{USB}/1-1", f"{USB}/1-2", f"{HUB}/1-4.2"):
            for action in ("add", "change", "bind"):
                with self.subTest(path=path, action=action):
                    verdict = self.udev(path, action)
                    self.assertEqual(verdict.properties.get("ID_MM_DEVICE_IGNORE"), "1")
                    self.assertEqual(verdict.complaints, [])

    def test_device_itself_is_not_opened(self) -> None:
        verdict = self.udev(f"{USB}/1-1")
        self.assertEqual((verdict.tags, verdict.to_run), (set(), []))

    def test_nothing_else_of_it_is_touched(self) -> None:
        for path in (f"{USB}/1-1/1-1:1.0", f"{USB}/1-2/1-2:1.0/ttyUSB0", READER_AS_KEYBOARD):
            with self.subTest(path=path):
                self.assert_untouched(path)

    def test_unplugging(self) -> None:
        for path in (READER_ACM, READER_USB_SERIAL, f"{USB}/1-1"):
            with self.subTest(path=path):
                self.assert_untouched(path, "remove")


class OtherDevices(RuleTestCase):
    def test_vendor_next_to_the_readers(self) -> None:
        for path in (OTHER_VENDOR, f"{USB}/1-3"):
            for action in ("add", "change", "bind", "remove"):
                with self.subTest(path=path, action=action):
                    self.assert_untouched(path, action)

    def test_behind_a_hub_of_the_readers_vendor(self) -> None:
        for path in (OTHER_VENDOR_BEHIND_HUB, f"{HUB}/1-4.1"):
            with self.subTest(path=path):
                self.assert_untouched(path)

    def test_port_that_is_not_on_usb(self) -> None:
        for action in ("add", "change", "remove"):
            with self.subTest(action=action):
                self.assert_untouched(NO_USB, action)


class Mistakes(RuleTestCase):
    """The other tests would see them."""

    def test_none(self) -> None:
        for more_rules in ("", 'TAG+="one-more"\n'):
            self.assertEqual(self.udev(READER_ACM, more_rules=more_rules).complaints, [])

    def test_typing_errors_are_noticed(self) -> None:
        for line in ('SUBSYTEM=="tty", TAG+="uaccess"', 'TAG+=uaccess', 'TAG+="uaccess',
                     'SUBSYSTEM="tty"', 'ACTION=="add" GOTO="nowhere"', 'TAG=="uaccess" "tty"',
                     'TAG{tty}+="uaccess"', 'IMPORT{builtin}="usbid"', 'MODE="rw"',
                     'GROUP="no-such-group"', 'LABEL="veltrano_reader_end'):
            with self.subTest(line=line):
                self.assertNotEqual(self.udev(READER_ACM, more_rules=line + "\n").complaints, [])

    def test_errors_at_work_are_noticed(self) -> None:
        complaints = self.udev(NO_USB, more_rules='IMPORT{builtin}="usb_id"\n').complaints
        self.assertIn("Failed to run builtin", "\n".join(complaints))


if __name__ == "__main__":
    unittest.main()
