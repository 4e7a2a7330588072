"""The properties and the icon of the bundle for macOS, as the build makes them on any system."""

from __future__ import annotations

import os
import plistlib
import struct
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PROPERTIES = Path(os.environ["VELTRANO_BUILD"]) / "Info.plist"
VERSION = os.environ["VELTRANO_VERSION"]
ICON = "veltrano.icns"


class TestBundle(unittest.TestCase):

    def test_properties(self) -> None:
        with open(PROPERTIES, "rb") as file:
            properties = plistlib.load(file)
        minimum = properties.pop("LSMinimumSystemVersion")
        self.assertRegex(minimum, r"^\d+\.\d+(\.\d+)?$")
        self.assertEqual(properties, {
            "CFBundleDevelopmentRegion": "en",
            "CFBundleExecutable": "Veltrano",
            "CFBundleIconFile": ICON,
            "CFBundleIdentifier": "example.quillmora.veltrano",
            "CFBundleInfoDictionaryVersion": "6.0",
            "CFBundleName": "Veltrano",
            "CFBundlePackageType": "APPL",
            "CFBundleShortVersionString": VERSION,
            "CFBundleVersion": VERSION,
            "LSApplicationCategoryType": "public.app-category.business",
            "NSHighResolutionCapable": True,
            "NSPrincipalClass": "NSApplication"})

    def test_icon_is_whole(self) -> None:
        icon = (ROOT / "packaging" / "icons" / ICON).read_bytes()
        self.assertEqual(icon[:8], b"icns" + struct.pack(">I", len(icon)))


if __name__ == "__main__":
    unittest.main()
