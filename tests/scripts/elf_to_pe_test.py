#!/usr/bin/env python3
"""Tests of the converter from a linked ELF image to the device's DLL. Usage: elf_to_pe_test.py FOLDER

FOLDER holds the converter. The images are built here, word by word, so that each test shows what it
is about.
"""
import struct
import sys
import unittest

sys.path.insert(0, sys.argv.pop(1))
import elf_to_pe  # noqa: E402
from elf_image import ElfImage, ImageError  # noqa: E402

BASE = 0x10000000
ABS32, REL32, CALL, TARGET1 = 2, 3, 28, 38
UNDEFINED, ABSOLUTE = 0, 0xFFF1
ALLOC, WRITE, EXEC = 2, 1, 4


def elf(sections, symbols, relocations, entry, machine=40):
    """An ELF file. sections: (name, address, flags, data or size); symbols: (name, value, section
    number from 1, UNDEFINED or ABSOLUTE); relocations: (section number, [(place, kind, symbol)])."""
    strings = b"\0"
    def name_of(text):
        nonlocal strings
        strings += text.encode() + b"\0"
        return len(strings) - len(text) - 1
    bodies, headers = [b""], [(0,) * 10]
    for name, address, flags, content in sections:
        kind, data, size = (8, b"", content) if isinstance(content, int) else (1, content,
                                                                               len(content))
        bodies.append(data)
        headers.append([name_of(name), kind, flags | ALLOC, address, 0, size, 0, 0, 4, 0])
    symbol_section = len(headers)
    table = bytes(16) + b"".join(struct.pack("<IIIBBH", name_of(n), value, 0, 0, 0, section)
                                 for n, value, section in symbols)
    bodies.append(table)
    headers.append([name_of(".symtab"), 2, 0, 0, 0, len(table), symbol_section + 1, 0, 4, 16])
    strings_at = len(headers)
    bodies.append(b"")
    headers.append([name_of(".strtab"), 3, 0, 0, 0, 0, 0, 0, 1, 0])
    numbers = {n: i + 1 for i, (n, _, _) in enumerate(symbols)}
    for target, entries in relocations:
        data = b"".join(struct.pack("<II", place, numbers[symbol] << 8 | kind)
                        for place, kind, symbol in entries)
        bodies.append(data)
        headers.append([name_of(".rel"), 9, 0, 0, 0, len(data), symbol_section, target, 4, 8])
    bodies[strings_at] = strings
    headers[strings_at][5] = len(strings)
    place, image = 52, b""
    for header, body in zip(headers[1:], bodies[1:]):
        header[4] = place + len(image)
        image += body
    start = place + len(image)
    head = b"\x7fELF\x01\x01\x01" + bytes(9)
    head += struct.pack("<HHIIIIIHHHHHH", 2, machine, 1, entry, 0, start, 0, 52, 0, 0, 40,
                        len(headers), strings_at)
    return head + image + b"".join(struct.pack("<10I", *h) for h in headers)


def words(*values):
    return struct.pack(f"<{len(values)}I", *values)


def small_image(base=BASE, drop=(), extra=(), text=None):
    """Code with two addresses in it, data with one, two imports and four bytes of .bss."""
    code, data = base + 0x1000, base + 0x2000
    relocations = [(1, [(code + 4, ABS32, "value"), (code + 8, CALL, "VelaEntry")]),
                   (2, [(data, TARGET1, "VelaEntry")])]
    relocations = [(n, [e for e in entries if e[0] - base not in drop] +
                    [e for e in extra if n == 1]) for n, entries in relocations]
    return elf(
        [(".text", code, EXEC, text or words(0xE1A0F00E, data + 4, 0xEB000000)),
         (".data", data, WRITE, words(code, 0, 0, 0, 0)), (".bss", data + 20, WRITE, 4)],
        [("VelaEntry", code, 1), ("value", data + 4, 2), ("image_base", base, ABSOLUTE),
         ("__imp_malloc", data + 8, 2), ("__imp_free", data + 12, 2), ("nobody", 0, UNDEFINED)],
        relocations, entry=code)


def converted(data=None, exports=("VelaEntry",)):
    return elf_to_pe.convert(ElfImage(data or small_image()), BASE, "some.dll", (1, 2, 3), exports,
                             "A test")


class Dll:
    """Reads a DLL as its loader would."""

    def __init__(self, data):
        self.data = data
        self.header = struct.unpack_from("<I", data, 0x3C)[0]
        self.optional = self.header + 24
        count = struct.unpack_from("<H", data, self.header + 6)[0]
        self.sections = {}
        self.memory = bytearray(struct.unpack_from("<I", data, self.optional + 56)[0])
        for i in range(count):
            at = self.optional + 224 + 40 * i
            name, size, rva, raw, place = struct.unpack_from("<8sIIII", data, at)
            rights = struct.unpack_from("<I", data, at + 36)[0]
            self.sections[name.rstrip(b"\0").decode()] = (rva, size, rights)
            self.memory[rva:rva + raw] = data[place:place + raw]

    def word(self, rva):
        return struct.unpack_from("<I", self.memory, rva)[0]

    def text(self, rva):
        return self.memory[rva:self.memory.index(b"\0", rva)].decode()

    def directory(self, index):
        return struct.unpack_from("<II", self.data, self.optional + 96 + 8 * index)

    def relocations(self):
        at, size = self.directory(5)
        found, end = [], at + size
        while at < end:
            page, length = self.word(at), self.word(at + 4)
            entries = struct.unpack_from(f"<{(length - 8) // 2}H", self.memory, at + 8)
            found += [page + (e & 0xFFF) for e in entries if e >> 12 == 3]
            at += length
        return found


class Header(unittest.TestCase):
    def test_names_the_device(self):
        dll = Dll(converted())
        machine, _, stamp = struct.unpack_from("<HHI", dll.data, dll.header + 4)
        self.assertEqual((machine, stamp), (0x01C0, 0))
        self.assertEqual(struct.unpack_from("<HH", dll.data, dll.optional + 40), (4, 20))
        self.assertEqual(struct.unpack_from("<HH", dll.data, dll.optional + 48), (4, 20))
        self.assertEqual(struct.unpack_from("<H", dll.data, dll.optional + 68)[0], 9)
        self.assertEqual(struct.unpack_from("<III", dll.data, dll.optional + 28),
                         (BASE, 0x1000, 0x200))

    def test_points_at_the_entry(self):
        dll = Dll(converted())
        self.assertEqual(struct.unpack_from("<I", dll.data, dll.optional + 16)[0], 0x1000)

    def test_bss_is_memory_that_the_file_does_not_hold(self):
        rva, size, _ = Dll(converted()).sections[".data"]
        self.assertEqual((rva, size), (0x2000, 24))

    def test_sections_have_the_rights_of_the_image(self):
        sections = Dll(converted()).sections
        self.assertEqual(sections[".text"][2], 0x60000020)
        self.assertEqual(sections[".data"][2], 0xC0000040)
        self.assertEqual(sections[".edata"][2], 0x40000040)

    def test_the_same_image_gives_the_same_bytes(self):
        self.assertEqual(converted(), converted())

    def test_the_checksum_is_that_of_all_words(self):
        data = converted()
        at = Dll(data).optional + 64
        stored = struct.unpack_from("<I", data, at)[0]
        blank = data[:at] + bytes(4) + data[at + 4:]
        total = 0
        for (word,) in struct.iter_unpack("<H", blank):
            total += word
            total = (total & 0xFFFF) + (total >> 16)
        self.assertEqual(stored, total + len(data))


class Directories(unittest.TestCase):
    def test_exports_by_name(self):
        dll = Dll(converted())
        table = dll.directory(0)[0]
        self.assertEqual(dll.text(dll.word(table + 12)), "some.dll")
        self.assertEqual(dll.word(table + 24), 1)
        self.assertEqual(dll.text(dll.word(dll.word(table + 32))), "VelaEntry")
        self.assertEqual(dll.word(dll.word(table + 28)), 0x1000)

    def test_an_image_without_exports_has_no_export_directory(self):
        self.assertEqual(Dll(converted(exports=())).directory(0), (0, 0))

    def test_a_missing_export_is_an_error(self):
        with self.assertRaisesRegex(ImageError, "no symbol Missing"):
            converted(exports=("Missing",))

    def test_imports_by_name_from_the_system_library_alone(self):
        dll = Dll(converted())
        table, size = dll.directory(1)
        self.assertEqual(size, 40)
        self.assertEqual(dll.text(dll.word(table + 12)), "coredll.dll")
        self.assertEqual(dll.word(table + 20 + 12), 0)
        addresses = dll.word(table + 16)
        self.assertEqual(addresses, 0x2008)
        names = [dll.text(dll.word(addresses + 4 * i) + 2) for i in range(2)]
        self.assertEqual(names, ["malloc", "free"])
        self.assertEqual(dll.word(addresses + 8), 0)
        lookup = dll.word(table)
        self.assertEqual([dll.word(lookup + 4 * i) for i in range(3)],
                         [dll.word(addresses + 4 * i) for i in range(3)])

    def test_there_is_no_exception_directory(self):
        self.assertEqual(Dll(converted()).directory(3), (0, 0))

    def test_the_version_is_in_the_resource(self):
        data = converted()
        self.assertIn("1.2.3".encode("utf-16-le"), data)
        self.assertIn(struct.pack("<II", 1 << 16 | 2, 3 << 16), data)


class Relocations(unittest.TestCase):
    def test_addresses_are_relocated_and_distances_are_not(self):
        self.assertEqual(Dll(converted()).relocations(), [0x1004, 0x2000])

    def test_an_undefined_weak_reference_stays_null(self):
        data = small_image(extra=[(BASE + 0x1000, ABS32, "nobody")])
        self.assertEqual(Dll(converted(data)).relocations(), [0x1004, 0x2000])

    def test_an_unknown_kind_is_an_error(self):
        data = small_image(extra=[(BASE + 0x1000, 99, "value")])
        with self.assertRaisesRegex(ImageError, "unknown kind 99"):
            converted(data)

    def test_an_absolute_symbol_is_no_address(self):
        data = small_image(extra=[(BASE + 0x1000, ABS32, "image_base")])
        with self.assertRaisesRegex(ImageError, "is a number, not an address"):
            converted(data)


class SecondBase(unittest.TestCase):
    OTHER = 0x22340000

    def check(self, first, second):
        elf_to_pe.check_second_base(ElfImage(first), BASE, ElfImage(second), self.OTHER)

    def test_accepts_two_links_of_the_same_objects(self):
        self.check(small_image(), small_image(self.OTHER))

    def test_sees_a_dropped_relocation(self):
        with self.assertRaisesRegex(ImageError, "1 words .* 0x10001004"):
            self.check(small_image(drop=[0x1004]), small_image(self.OTHER))

    def test_sees_a_relocation_of_a_word_that_does_not_move(self):
        extra = [(BASE + 0x1000, REL32, "value"), (BASE + 0x1008, ABS32, "value")]
        with self.assertRaisesRegex(ImageError, "1 words .* 0x10001008"):
            self.check(small_image(extra=extra), small_image(self.OTHER))

    def test_sees_a_word_that_differs_by_another_distance(self):
        text = words(0xE1A0F00E, self.OTHER + 0x2004, 0xEB000001)
        with self.assertRaisesRegex(ImageError, "0x10001008 differs by another distance"):
            self.check(small_image(), small_image(self.OTHER, text=text))


class BadInput(unittest.TestCase):
    def test_what_is_no_elf_file_is_refused(self):
        with self.assertRaisesRegex(ImageError, "not a 32-bit little-endian ELF"):
            ElfImage(b"MZ" + bytes(100))

    def test_another_machine_is_refused(self):
        data = elf([(".text", BASE + 0x1000, EXEC, words(0))], [], [], BASE, machine=62)
        with self.assertRaisesRegex(ImageError, "not an ARM image"):
            ElfImage(data)

    def test_a_section_in_the_page_of_the_headers_is_refused(self):
        data = elf([(".text", BASE, EXEC, words(0))], [], [], BASE)
        with self.assertRaisesRegex(ImageError, "the page of the headers"):
            elf_to_pe.convert(ElfImage(data), BASE, "some.dll", (0, 0, 0), (), "A test")


if __name__ == "__main__":
    unittest.main()
