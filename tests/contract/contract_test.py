#!/usr/bin/env python3
"""A contract that changes without a new version is noticed. Usage: contract_test.py"""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
SCRIPT = ROOT / "scripts/contract.py"
VERSION = 'VELA_SPLITTER_MP4_VERSION "'


class Contract(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.root = pathlib.Path(scratch.name)
        for file in ("frontend/vela_splitter.h", "docs/contract.txt", "tests/contract/versions.tsv"):
            (self.root / file).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(ROOT / file, self.root / file)
        self.header = self.root / "frontend/vela_splitter.h"

    def run_script(self, command):
        result = subprocess.run([sys.executable, "-B", SCRIPT, command], capture_output=True, text=True,
                                env={**os.environ, "VELA_CONTRACT_ROOT": str(self.root)}, check=False)
        return result.returncode, result.stdout + result.stderr

    def change(self, old, new):
        text = self.header.read_text()
        self.assertIn(old, text)
        self.header.write_text(text.replace(old, new, 1))

    def test_is_what_the_header_says(self):
        self.assertEqual(self.run_script("check"), (0, ""))

    def test_a_change_of_any_kind_needs_a_new_version(self):
        changes = {
            "slots change places": ("virtual uint32_t addRef() = 0;", "virtual uint32_t other() = 0;\n  virtual uint32_t addRef() = 0;"),
            "an argument changes its type": ("seekTo(Word64 offset", "seekTo(uint64_t offset"),
            "an identifier": ("0xE15B839C", "0xE15B839D"),
            "a flag": ("kAlbumGainPresent = 0x2", "kAlbumGainPresent = 0x10"),
            "a result code": ("failed = 5", "failed = 4"),
            "an offset in a record": ("uint32_t bitRate; ", "uint64_t bitRate; "),
            "a constant": ("kHostUnitsPerSecond = 16777216", "kHostUnitsPerSecond = 16777215"),
            "an inherited interface": ("class VideoPacket {", "class VideoPacket : public IObject {"),
        }
        for what, (old, new) in changes.items():
            with self.subTest(what):
                self.setUp()
                self.change(old, new)
                status, words = self.run_script("check")
                self.assertEqual(status, 1)
                self.assertIn("needs a new version", words)
                status, words = self.run_script("update")
                self.assertEqual(status, 1)
                self.assertIn("is taken", words)

    def test_a_new_version_may_have_a_new_contract(self):
        self.change("kAlbumGainPresent = 0x2", "kAlbumGainPresent = 0x10")
        self.change(VERSION, VERSION + "9")
        self.assertIn("no row", self.run_script("check")[1])
        self.assertEqual(self.run_script("update"), (0, ""))
        self.assertEqual(self.run_script("check"), (0, ""))
        self.assertIn("  0x10 kAlbumGainPresent\n", (self.root / "docs/contract.txt").read_text())

    def test_a_list_that_was_edited_by_hand_is_noticed(self):
        file = self.root / "docs/contract.txt"
        file.write_text(file.read_text().replace("slot 12 seekTo", "slot 13 seekTo"))
        self.assertIn("is not what the header says", self.run_script("check")[1])

    def test_words_of_the_header_may_change(self):
        self.change("/// Slot 0. @return the new count", "/// Slot 0. The count.")
        self.assertEqual(self.run_script("check"), (0, ""))

    def test_a_declaration_of_an_unknown_form_is_an_error(self):
        for text in ("union Word { uint32_t low; };\n", "inline constexpr float kOdd = 1;\n", "using Other = Guid*;\n"):
            with self.subTest(text):
                self.setUp()
                self.change("/// A text count that means", text + "/// A text count that means")
                self.assertIn("not understood", self.run_script("check")[1])


if __name__ == "__main__":
    unittest.main()
