#!/usr/bin/env python3
"""Checks of the device's DLL that need no device: what a second reader of such files says of it, which
instructions it holds, which parts of the compiler's libraries it took, and that it is built again
to the same bytes. Needs python3-pefile and binutils for ARM.

Usage: image_checks.py BUILD SOURCE VERSION; BUILD is the build folder of the preset wince-armv4.
"""
import collections
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
import zipfile

import pefile

BUILD, SOURCE, VERSION = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3]
DLL = BUILD / "frontend/vela_splitter_mp4.dll"
PROBE = BUILD / "examples/velaprobe/velaprobe.exe"
IMAGE = BUILD / "frontend/vela_splitter_mp4_at_0x10000000.elf"
PROBE_IMAGE = BUILD / "examples/velaprobe/velaprobe_at_0x00010000.elf"
PACKAGE = BUILD / "device.zip"

MOST_CODE_AND_CONSTANTS = 77_000  # bytes

# Not on an ARMv4: interworking, count leading zeros, double words, preload, 16-bit immediates.
FORBIDDEN = {"bx", "blx", "clz", "ldrd", "strd", "pld", "movw", "movt"}
COPROCESSOR = re.compile(r"^(fldm|fstm|vldm|vstm|vpush|vpop|ldc|stc|ldf|stf|mcr|mrc|cdp|wld|wst)")
CONDITIONS = ("eq", "ne", "cs", "cc", "mi", "pl", "vs", "vc", "hi", "ls", "ge", "lt", "gt", "le")
# The unwinder saves and restores registers of coprocessors with these, when a frame says that it has
# such registers; no frame of ours does.
REGISTER_HELPERS = re.compile(r"^(gnu_Unwind_|__gnu_Unwind_)(Save|Restore)_(VFP|WMMX\w)")


def instructions(image=IMAGE):
    """(function, mnemonic) of every instruction in .text; words between them are left out."""
    listing = subprocess.run(["arm-none-eabi-objdump", "-d", "-j", ".text", image], check=True,
                             capture_output=True, text=True).stdout
    function = ""
    for line in listing.splitlines():
        header = re.match(r"^[0-9a-f]+ <(.+)>:$", line)
        if header:
            function = header[1]
            continue
        code = re.match(r"^\s*[0-9a-f]+:\t[0-9a-f ]+\t(\S+)", line)
        if code and not code[1].startswith("."):
            yield function, code[1]


def without_condition(mnemonic):
    return mnemonic[:-2] if mnemonic.endswith(CONDITIONS) and len(mnemonic) > 3 else mnemonic


class PeFile(unittest.TestCase):
    def setUp(self):
        self.pe = pefile.PE(str(DLL))

    def test_nothing_to_warn_about(self):
        self.assertEqual(self.pe.get_warnings(), [])
        self.assertTrue(self.pe.verify_checksum())

    def test_header(self):
        self.assertEqual(self.pe.FILE_HEADER.Machine, 0x01C0)
        self.assertEqual(self.pe.FILE_HEADER.TimeDateStamp, 0)
        self.assertTrue(self.pe.is_dll())
        header = self.pe.OPTIONAL_HEADER
        self.assertEqual(header.Subsystem, 9)
        self.assertEqual((header.MajorOperatingSystemVersion, header.MinorOperatingSystemVersion),
                         (4, 20))
        self.assertEqual((header.MajorSubsystemVersion, header.MinorSubsystemVersion), (4, 20))
        self.assertEqual((header.SectionAlignment, header.FileAlignment), (0x1000, 0x200))

    def test_sections(self):
        rights = {s.Name.rstrip(b"\0").decode(): s.Characteristics for s in self.pe.sections}
        self.assertEqual(rights, {
            ".text": 0x60000020, ".rdata": 0x40000040, ".data": 0xC0000040, ".edata": 0x40000040,
            ".idata": 0x40000040, ".rsrc": 0x40000040, ".reloc": 0x42000040})

    def test_exports_the_entry_alone(self):
        names = [s.name for s in self.pe.DIRECTORY_ENTRY_EXPORT.symbols]
        self.assertEqual(names, [b"VelaEntry"])

    def test_imports_by_name_what_the_list_offers(self):
        (entry,) = self.pe.DIRECTORY_ENTRY_IMPORT
        self.assertEqual(entry.dll, b"coredll.dll")
        names = [symbol.name.decode() for symbol in entry.imports]
        self.assertEqual(len(names), len(set(names)))
        offered = (SOURCE / "platform/wince/coredll_imports.txt").read_text().split("\n")
        self.assertLessEqual(set(names), set(offered))
        print(f"imports of the image: {len(names)}: {' '.join(sorted(names))}")

    def test_relocates_whole_words_alone(self):
        kinds = {r.type for block in self.pe.DIRECTORY_ENTRY_BASERELOC for r in block.entries}
        self.assertLessEqual(kinds, {0, 3})  # 0 fills a block up

    def test_has_no_exception_directory(self):
        self.assertEqual(self.pe.OPTIONAL_HEADER.DATA_DIRECTORY[3].Size, 0)

    def test_tells_its_version(self):
        (information,) = self.pe.FileInfo
        texts = {}
        for block in information:
            for table in getattr(block, "StringTable", []):
                texts.update(table.entries)
        self.assertEqual(texts[b"FileVersion"].decode(), VERSION)
        self.assertEqual(texts[b"ProductVersion"].decode(), VERSION)
        self.assertEqual(texts[b"OriginalFilename"], b"vela_splitter_mp4.dll")


    def test_holds_no_more_code_and_constants_than_a_device_has_room_for(self):
        sizes = {s.Name.rstrip(b"\0"): s.Misc_VirtualSize for s in self.pe.sections}
        self.assertLessEqual(sizes[b".text"] + sizes[b".rdata"], MOST_CODE_AND_CONSTANTS)


class Probe(unittest.TestCase):
    def test_is_a_program_that_nothing_warns_about(self):
        pe = pefile.PE(str(PROBE))
        # It loads the DLL by name and looks its entry up, as unpackers do.
        self.assertLessEqual(set(pe.get_warnings()),
                             {"Imported symbols contain entries typical of packed executables."})
        self.assertTrue(pe.verify_checksum())
        self.assertFalse(pe.is_dll())
        self.assertEqual(pe.OPTIONAL_HEADER.Subsystem, 9)
        self.assertFalse(hasattr(pe, "DIRECTORY_ENTRY_EXPORT"))
        self.assertEqual([entry.dll for entry in pe.DIRECTORY_ENTRY_IMPORT], [b"coredll.dll"])


class Package(unittest.TestCase):
    def test_holds_dll_probe_licence_and_page(self):
        with zipfile.ZipFile(PACKAGE) as package:
            self.assertEqual(set(package.namelist()), {"LICENSE.txt", "README.txt", "velaprobe.exe",
                                                       "vela_splitter_mp4.dll"})
            self.assertEqual(package.read("vela_splitter_mp4.dll"), DLL.read_bytes())
            self.assertEqual(package.read("velaprobe.exe"), PROBE.read_bytes())


class Code(unittest.TestCase):
    def test_holds_no_instruction_that_the_device_lacks(self):
        for image in IMAGE, PROBE_IMAGE:
            found = collections.Counter((f, m) for f, m in instructions(image)
                                        if m in FORBIDDEN or without_condition(m) in FORBIDDEN)
            self.assertEqual(found, {})

    def test_has_coprocessor_instructions_in_the_unwinders_helpers_alone(self):
        elsewhere = collections.Counter(
            (f, m) for f, m in instructions()
            if COPROCESSOR.match(m) and not REGISTER_HELPERS.match(f))
        self.assertEqual(elsewhere, {})

    def test_takes_nothing_of_the_compilers_c_library(self):
        taken = set(re.findall(r"lib(?:c|m|nosys|g)\.a\((\S+)\)", pathlib.Path(f"{IMAGE}.map").read_text()
                               .split("Discarded input sections")[0]))
        self.assertEqual(taken, set())


class Build(unittest.TestCase):
    def test_gives_the_same_bytes_in_another_folder(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run(["cmake", "--preset", "wince-armv4", "-B", folder], cwd=SOURCE, check=True,
                           capture_output=True)
            subprocess.run(["cmake", "--build", folder], check=True, capture_output=True)
            again = (pathlib.Path(folder) / DLL.relative_to(BUILD)).read_bytes()
            self.assertEqual(again == DLL.read_bytes(), True, "the two builds differ")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
