#!/usr/bin/env python3
"""Checks of the DLL for Windows that need no Windows. Needs python3-pefile.

Usage: image_checks.py DLL VERSION x86|x86_64
"""
import pathlib
import sys
import unittest

import pefile

DLL, VERSION, PROCESSOR = pathlib.Path(sys.argv[1]), sys.argv[2], sys.argv[3]
MACHINES = {"x86": 0x014C, "x86_64": 0x8664}
# Every Windows has them; the compiler's own libraries would have to be shipped along.
SYSTEM_LIBRARIES = {b"kernel32.dll", b"msvcrt.dll", b"user32.dll"}
RELOCATIONS_STRIPPED, DYNAMIC_BASE, NO_EXECUTE = 0x0001, 0x0040, 0x0100


class Dll(unittest.TestCase):
    def setUp(self):
        self.pe = pefile.PE(str(DLL))

    def test_nothing_to_warn_about(self):
        self.assertEqual(self.pe.get_warnings(), [])
        self.assertTrue(self.pe.verify_checksum())

    def test_is_for_its_processor(self):
        self.assertTrue(self.pe.is_dll())
        self.assertEqual(self.pe.FILE_HEADER.Machine, MACHINES[PROCESSOR])

    def test_can_be_loaded_at_any_address_and_does_not_run_data(self):
        self.assertFalse(self.pe.FILE_HEADER.Characteristics & RELOCATIONS_STRIPPED)
        wanted = DYNAMIC_BASE | NO_EXECUTE
        self.assertEqual(self.pe.OPTIONAL_HEADER.DllCharacteristics & wanted, wanted)

    def test_exports_the_entry_alone_and_undecorated(self):
        names = [s.name for s in self.pe.DIRECTORY_ENTRY_EXPORT.symbols]
        self.assertEqual(names, [b"VelaEntry"])

    def test_imports_system_libraries_alone(self):
        libraries = {entry.dll.lower() for entry in self.pe.DIRECTORY_ENTRY_IMPORT}
        self.assertLessEqual(libraries, SYSTEM_LIBRARIES)

    def test_is_stripped(self):
        self.assertEqual(self.pe.FILE_HEADER.NumberOfSymbols, 0)
        sections = [s.Name.rstrip(b"\0").decode() for s in self.pe.sections]
        self.assertEqual([name for name in sections if name.startswith((".debug", "/"))], [])
        print(f"{DLL.name}: {DLL.stat().st_size} bytes, sections {' '.join(sections)}")

    def test_bears_no_time(self):
        self.assertEqual(self.pe.FILE_HEADER.TimeDateStamp, 0)
        self.assertEqual(self.pe.DIRECTORY_ENTRY_EXPORT.struct.TimeDateStamp, 0)

    def test_tells_its_version(self):
        (fixed,) = self.pe.VS_FIXEDFILEINFO
        major, minor, patch = map(int, VERSION.split("."))
        self.assertEqual((fixed.FileVersionMS, fixed.FileVersionLS), (major << 16 | minor, patch << 16))
        texts = {}
        for block in self.pe.FileInfo[0]:
            for table in getattr(block, "StringTable", []):
                texts.update(table.entries)
        self.assertEqual(texts[b"FileVersion"].decode(), VERSION)
        self.assertEqual(texts[b"ProductVersion"].decode(), VERSION)
        self.assertEqual(texts[b"OriginalFilename"].decode(), DLL.name)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
