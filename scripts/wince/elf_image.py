"""Reads what the converter needs of a linked 32-bit little-endian ARM ELF image.

The image must be linked with --emit-relocs: the relocations tell which words hold addresses.
"""
import struct
from dataclasses import dataclass

MACHINE_ARM = 40
SECTION_PROGBITS, SECTION_NOBITS, SECTION_SYMTAB, SECTION_REL = 1, 8, 2, 9
SECTION_RELA = 4
FLAG_WRITE, FLAG_ALLOC, FLAG_EXEC = 1, 2, 4
UNDEFINED, ABSOLUTE = 0, 0xFFF1

# Relocation kinds of the ARM ELF format.
ABSOLUTE_KINDS = {2: "R_ARM_ABS32", 38: "R_ARM_TARGET1"}
# Distances between places of the image, and notes to the linker: they hold at every base.
RELATIVE_KINDS = {0: "R_ARM_NONE", 1: "R_ARM_PC24", 3: "R_ARM_REL32", 28: "R_ARM_CALL",
                  29: "R_ARM_JUMP24", 40: "R_ARM_V4BX", 41: "R_ARM_TARGET2", 42: "R_ARM_PREL31"}


class ImageError(Exception):
    """The image can't be turned into a DLL; the text says why."""


@dataclass
class Section:
    name: str
    kind: int
    flags: int
    address: int
    data: bytes  # as long as the section; zeros for .bss
    link: int
    info: int

    @property
    def end(self):
        return self.address + len(self.data)

    def allocated(self):
        return bool(self.flags & FLAG_ALLOC)


@dataclass
class Symbol:
    name: str
    value: int
    section: int


class ElfImage:
    """sections, symbols (by name), entry (address), and the addresses that hold addresses."""

    def __init__(self, data):
        if data[:7] != b"\x7fELF\x01\x01\x01":
            raise ImageError("not a 32-bit little-endian ELF file")
        (_, machine, _, self.entry, _, section_table, _, _, _, _, entry_size, count,
         names) = struct.unpack_from("<HHIIIIIHHHHHH", data, 16)
        if machine != MACHINE_ARM:
            raise ImageError("not an ARM image")
        headers = [struct.unpack_from("<10I", data, section_table + i * entry_size)
                   for i in range(count)]
        name_table = _bytes_of(data, headers[names])
        self.sections = [Section(_text_at(name_table, h[0]), h[1], h[2], h[3],
                                 _bytes_of(data, h), h[6], h[7]) for h in headers]
        self._read_symbols()

    def _read_symbols(self):
        self.symbol_list = []
        for section in self.sections:
            if section.kind != SECTION_SYMTAB:
                continue
            names = self.sections[section.link].data
            for name, value, _, _, _, index in struct.iter_unpack("<IIIBBH", section.data):
                self.symbol_list.append(Symbol(_text_at(names, name), value, index))
        self.symbols = {s.name: s for s in self.symbol_list if s.name}

    def address_of(self, name):
        symbol = self.symbols.get(name)
        if symbol is None or symbol.section == UNDEFINED:
            raise ImageError(f"the image has no symbol {name}")
        return symbol.value

    def address_words(self):
        """Sorted addresses of the words that must move with the image."""
        words = set()
        for section in self.sections:
            if section.kind == SECTION_RELA:
                raise ImageError(f"{section.name}: relocations with addends are not expected")
            if section.kind != SECTION_REL or not self.sections[section.info].allocated():
                continue
            for place, info in struct.iter_unpack("<II", section.data):
                if self._moves(info & 0xFF, self.symbol_list[info >> 8], place):
                    words.add(place)
        return sorted(words)

    def _moves(self, kind, symbol, place):
        if kind in RELATIVE_KINDS:
            return False
        if kind not in ABSOLUTE_KINDS:
            raise ImageError(f"relocation of unknown kind {kind} at 0x{place:08x}")
        if symbol.section == ABSOLUTE:
            raise ImageError(f"{symbol.name}, used at 0x{place:08x}, is a number, not an address")
        return symbol.section != UNDEFINED  # an undefined weak reference stays null at every base


def _bytes_of(data, header):
    kind, offset, size = header[1], header[4], header[5]
    return bytes(size) if kind == SECTION_NOBITS else data[offset:offset + size]


def _text_at(table, offset):
    return table[offset:table.index(b"\0", offset)].decode("ascii")
