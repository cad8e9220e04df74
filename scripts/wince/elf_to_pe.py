#!/usr/bin/env python3
"""Turns the linked device image (ELF) into the DLL (PE) that the device's loader takes.

The DLL has the sections of the image at the same distances from its base, and after them what the
loader needs: an export directory, one import descriptor (coredll.dll, by name), the version and
the base relocations. Nothing in it depends on the time or the place of the build.

With --second-base IMAGE, the same objects linked at another base, the relocations are checked:
the words that differ between the two images must be exactly those that the DLL relocates.

There is no exception directory: the compiler describes its frames in a form of its own, which the
C++ runtime inside the DLL reads. A hardware fault inside the library can't be unwound by the
system.
"""
import argparse
import struct
import sys
from dataclasses import dataclass

from elf_image import FLAG_EXEC, FLAG_WRITE, ElfImage, ImageError
from version_resource import resource_section, version_info

MACHINE_ARM = 0x01C0
SUBSYSTEM_WINDOWS_CE = 9
SYSTEM_VERSION = (4, 20)
SECTION_ALIGNMENT = 0x1000
FILE_ALIGNMENT = 0x200
# executable image, no line numbers, no local symbols, 32-bit words
CHARACTERISTICS = 0x0002 | 0x0004 | 0x0008 | 0x0100
CHARACTERISTIC_DLL = 0x2000
CODE, INITIALISED = 0x20, 0x40
EXECUTE, READ, WRITE, DISCARDABLE = 0x20000000, 0x40000000, 0x80000000, 0x02000000
EXPORT, IMPORT, RESOURCE, RELOCATION, IMPORT_ADDRESSES = 0, 1, 2, 5, 12
HIGH_LOW = 3  # a relocation of a whole word
PADDING_RELOCATION = 0
SYSTEM_LIBRARY = "coredll.dll"
IMPORT_PREFIX = "__imp_"


@dataclass
class PeSection:
    name: str
    rva: int
    data: bytearray
    size: int  # in memory
    rights: int


def aligned(value, alignment):
    return (value + alignment - 1) // alignment * alignment


class DllBuilder:
    """Collects the sections and directories of one DLL."""

    def __init__(self, image, base, dll_name, version):
        self.image, self.base, self.dll_name, self.version = image, base, dll_name, version
        self.sections = []
        self.directories = {}
        for section in image.sections:
            if section.allocated() and section.data:
                self._take(section)

    def _take(self, section):
        if section.address < self.base + SECTION_ALIGNMENT:
            raise ImageError(f"{section.name} lies in the page of the headers")
        rva = section.address - self.base
        if section.name == ".bss":  # the part of .data that the file does not hold
            self.sections[-1].size = rva + len(section.data) - self.sections[-1].rva
            return
        if rva % SECTION_ALIGNMENT:
            raise ImageError(f"{section.name} does not begin at a page")
        rights = READ | (CODE | EXECUTE if section.flags & FLAG_EXEC else INITIALISED)
        if section.flags & FLAG_WRITE:
            rights |= WRITE
        self.sections.append(
            PeSection(section.name, rva, bytearray(section.data), len(section.data), rights))

    def _next_rva(self):
        last = self.sections[-1]
        return aligned(last.rva + last.size, SECTION_ALIGNMENT)

    def _append(self, name, data, rights=READ | INITIALISED):
        self.sections.append(
            PeSection(name, self._next_rva(), bytearray(data), len(data), rights))

    def _section_of(self, rva):
        for section in self.sections:
            if section.rva <= rva < section.rva + len(section.data):
                return section
        raise ImageError(f"no section holds 0x{rva:x}")

    def add_exports(self, names):
        """Export directory of the named functions, in one section of its own."""
        names = sorted(names)
        start = self._next_rva()
        count = len(names)
        addresses = start + 40
        name_pointers = addresses + 4 * count
        ordinals = name_pointers + 4 * count
        texts = ordinals + aligned(2 * count, 4)
        strings = [self.dll_name.encode() + b"\0"] + [n.encode() + b"\0" for n in names]
        places = [texts + sum(map(len, strings[:i])) for i in range(count + 1)]
        table = struct.pack("<IIHHIIIIIII", 0, 0, 0, 0, places[0], 1, count, count, addresses,
                            name_pointers, ordinals)
        table += b"".join(struct.pack("<I", self.image.address_of(n) - self.base) for n in names)
        table += b"".join(struct.pack("<I", place) for place in places[1:])
        table += b"".join(struct.pack("<H", i) for i in range(count))
        table += bytes(-len(table) % 4) + b"".join(strings)
        self._append(".edata", table)
        self.directories[EXPORT] = (start, len(table))

    def add_imports(self):
        """One descriptor for the system library; its address table lies in the image's data."""
        slots = sorted((s.value, s.name[len(IMPORT_PREFIX):])
                       for s in self.image.symbols.values() if s.name.startswith(IMPORT_PREFIX))
        if not slots:
            return
        first = slots[0][0]
        if [address for address, _ in slots] != [first + 4 * i for i in range(len(slots))]:
            raise ImageError("the words of the import address table are not side by side")
        start = self._next_rva()
        lookup = start + 2 * 20
        texts = lookup + 4 * (len(slots) + 1)
        hints = b""
        entries = []
        for _, name in slots:
            entries.append(texts + len(hints))
            hint = struct.pack("<H", 0) + name.encode() + b"\0"
            hints += hint + bytes(len(hint) % 2)
        library = texts + len(hints)
        thunks = b"".join(struct.pack("<I", e) for e in entries) + bytes(4)
        table = struct.pack("<5I", lookup, 0, 0, library, first - self.base) + bytes(20)
        table += thunks + hints + SYSTEM_LIBRARY.encode() + b"\0"
        home = self._section_of(first - self.base)
        offset = first - self.base - home.rva
        home.data[offset:offset + len(thunks)] = thunks
        self._append(".idata", table)
        self.directories[IMPORT] = (start, 2 * 20)
        self.directories[IMPORT_ADDRESSES] = (first - self.base, len(thunks))

    def add_version(self, description):
        text = ".".join(map(str, self.version))
        info = version_info(self.version, {
            "FileDescription": description,
            "FileVersion": text,
            "InternalName": self.dll_name.rsplit(".", 1)[0],
            "OriginalFilename": self.dll_name,
            "ProductName": "vela_splitter_mp4",
            "ProductVersion": text})
        start = self._next_rva()
        self._append(".rsrc", resource_section(info, start))
        self.directories[RESOURCE] = (start, self.sections[-1].size)

    def add_relocations(self, words):
        """Base relocations: a block for each page that holds such words."""
        blocks = b""
        pages = {}
        for word in words:
            rva = word - self.base
            self._section_of(rva)
            pages.setdefault(rva & ~0xFFF, []).append(HIGH_LOW << 12 | rva & 0xFFF)
        for page, entries in sorted(pages.items()):
            if len(entries) % 2:
                entries.append(PADDING_RELOCATION)
            blocks += struct.pack("<II", page, 8 + 2 * len(entries))
            blocks += struct.pack(f"<{len(entries)}H", *entries)
        start = self._next_rva()
        self._append(".reloc", blocks, READ | INITIALISED | DISCARDABLE)
        self.directories[RELOCATION] = (start, len(blocks))

    def file(self, characteristics):
        """The bytes of the DLL."""
        headers_end = 0x40 + 4 + 20 + 224 + 40 * len(self.sections)
        headers_size = aligned(headers_end, FILE_ALIGNMENT)
        place = headers_size
        table = b""
        for s in self.sections:
            raw = aligned(len(s.data), FILE_ALIGNMENT)
            table += struct.pack("<8sIIIIIIHHI", s.name.encode(), s.size, s.rva, raw, place, 0, 0,
                                 0, 0, s.rights)
            place += raw
        header = struct.pack("<2s58xI", b"MZ", 0x40) + b"PE\0\0"
        header += struct.pack("<HHIIIHH", MACHINE_ARM, len(self.sections), 0, 0, 0, 224,
                              characteristics)
        header += self._optional_header(headers_size) + table
        image = header + bytes(headers_size - len(header))
        for s in self.sections:
            image += s.data + bytes(-len(s.data) % FILE_ALIGNMENT)
        return _with_checksum(image)

    def _optional_header(self, headers_size):
        def total(right):
            return sum(aligned(len(s.data), FILE_ALIGNMENT) for s in self.sections
                       if s.rights & right)
        code = next(s for s in self.sections if s.rights & CODE)
        data = next(s for s in self.sections if not s.rights & CODE)
        header = struct.pack("<HBBIIIIII", 0x10B, 0, 0, total(CODE), total(INITIALISED), 0,
                             self.image.entry - self.base, code.rva, data.rva)
        header += struct.pack("<III", self.base, SECTION_ALIGNMENT, FILE_ALIGNMENT)
        header += struct.pack("<HHHHHHI", *SYSTEM_VERSION, self.version[0], self.version[1],
                              *SYSTEM_VERSION, 0)
        header += struct.pack("<IIIHH", self._next_rva(), headers_size, 0, SUBSYSTEM_WINDOWS_CE, 0)
        header += struct.pack("<IIIIII", 0x10000, 0x1000, 0x100000, 0x1000, 0, 16)
        for index in range(16):
            header += struct.pack("<II", *self.directories.get(index, (0, 0)))
        return header


CHECKSUM_OFFSET = 0x40 + 4 + 20 + 64


def _with_checksum(image):
    """Sum of all 16-bit words with the carries added back, plus the length of the file."""
    total = sum(struct.unpack(f"<{len(image) // 2}H", image))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return (image[:CHECKSUM_OFFSET] + struct.pack("<I", total + len(image)) +
            image[CHECKSUM_OFFSET + 4:])


def differing_words(image, other, distance):
    """Addresses of the words that differ between two links of the same objects; each must differ by
    the distance of the bases."""
    words = []
    ours = [s for s in image.sections if s.allocated()]
    theirs = [s for s in other.sections if s.allocated()]
    shape = [(s.name, s.address + distance, len(s.data)) for s in ours]
    if shape != [(s.name, s.address, len(s.data)) for s in theirs]:
        raise ImageError("the two links do not have the same sections")
    for mine, moved in zip(ours, theirs):
        whole = len(mine.data) // 4 * 4
        if mine.data[whole:] != moved.data[whole:]:
            raise ImageError(f"{mine.name}: the bytes past the last word differ")
        pairs = zip(struct.iter_unpack("<I", mine.data[:whole]),
                    struct.iter_unpack("<I", moved.data[:whole]))
        for i, ((a,), (b,)) in enumerate(pairs):
            if a == b:
                continue
            if (b - a) & 0xFFFFFFFF != distance & 0xFFFFFFFF:
                raise ImageError(f"the word at 0x{mine.address + 4 * i:08x} differs by another "
                                 "distance than that of the bases")
            words.append(mine.address + 4 * i)
    return words


def check_second_base(image, base, other, other_base):
    differing = differing_words(image, other, other_base - base)
    relocated = image.address_words()
    if differing != relocated:
        wrong = sorted(set(differing) ^ set(relocated))
        raise ImageError(f"{len(wrong)} words are relocated and don't move, or the reverse; "
                         f"the first one at 0x{wrong[0]:08x}")


def convert(image, base, dll_name, version, exports, description, is_program=False):
    builder = DllBuilder(image, base, dll_name, version)
    if exports:
        builder.add_exports(exports)
    builder.add_imports()
    builder.add_version(description)
    builder.add_relocations(image.address_words())
    return builder.file(CHARACTERISTICS | (0 if is_program else CHARACTERISTIC_DLL))


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("image", help="linked ELF image")
    parser.add_argument("dll", help="file to write")
    parser.add_argument("--name", required=True, help="file name of the DLL")
    parser.add_argument("--version", required=True, help="major.minor.patch")
    parser.add_argument("--export", action="append", default=[], help="exported function")
    parser.add_argument("--description", default="MP4 and M4A splitter",
                        help="what the version resource says that the file is")
    parser.add_argument("--program", action="store_true", help="a program, not a DLL")
    parser.add_argument("--second-base", metavar="IMAGE", help="the same objects at another base")
    options = parser.parse_args()
    try:
        with open(options.image, "rb") as file:
            image = ElfImage(file.read())
        base = image.symbols["image_base"].value
        if options.second_base:
            with open(options.second_base, "rb") as file:
                other = ElfImage(file.read())
            check_second_base(image, base, other, other.symbols["image_base"].value)
        version = tuple(int(part) for part in options.version.split("."))
        dll = convert(image, base, options.name, version, options.export, options.description,
                      options.program)
    except ImageError as error:
        sys.exit(f"{options.image}: {error}")
    with open(options.dll, "wb") as file:
        file.write(dll)


if __name__ == "__main__":
    main()
