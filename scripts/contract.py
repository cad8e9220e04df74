#!/usr/bin/env python3
"""The binary contract as a list: every slot, identifier, value, record offset and flag of the header.

Usage:
  contract.py print [HEADER]     the contract of frontend/vela_splitter.h, or of another header
  contract.py check              fails unless docs/contract.txt is what the header says, and its
                                 version has not been given to another contract before
  contract.py update             rewrites docs/contract.txt; refuses when the contract has changed
                                 under a version that is listed in tests/contract/versions.tsv
  contract.py check-version VERSION HEADER
                                 fails unless a header gives the contract listed for a version
  contract.py assertions         a C++ program that holds docs/contract.txt against the compiler

The header is read strictly: a declaration of a form that is not known here is an error, so nothing
of it can be left out of the list.
"""
import hashlib
import os
import pathlib
import re
import sys

ROOT = pathlib.Path(os.environ.get("VELA_CONTRACT_ROOT", pathlib.Path(__file__).resolve().parent.parent))
HEADER = ROOT / "frontend/vela_splitter.h"
CONTRACT = ROOT / "docs/contract.txt"
VERSIONS = ROOT / "tests/contract/versions.tsv"

# The types of records, and their sizes in bytes. Pointers have no place in a record.
SIZES = {"uint8_t": 1, "char": 1, "uint32_t": 4, "int32_t": 4, "uint64_t": 8}


class Refused(Exception):
    """The header, or what is written about it, is not as it must be."""


def without_comments(text):
    text = re.sub(r"//[^\n]*", "", text)
    return re.sub(r"/\*.*?\*/", "", text, flags=re.S)


def flat(text):
    """One line, with one blank where there was any space."""
    text = re.sub(r"\s+", " ", text).strip()
    return re.sub(r" ?([,()]) ?", lambda m: ", " if m[1] == "," else m[1], text)


class Header:
    def __init__(self, text):
        self.macros, self.constants, self.identifiers = {}, [], []
        self.enums, self.records, self.interfaces = [], [], {}
        self.rest = without_comments(text)
        self.take(r'#define (VELA_\w+) "?([^"\n]*)"?\n', lambda m: self.macros.update({m[1]: m[2]}))
        self.take(r"^#[^\n]*\n", lambda m: None)
        self.take(r"static_assert\(.*?\);", lambda m: None)
        self.take(r"inline constexpr Guid (\w+)\s*=\s*makeGuid\(([^)]*)\);", self.identifier)
        self.take(r"inline constexpr (uint32_t|uint64_t|char) (\w+)(\[\])? = ([^;]*);", self.constant)
        self.take(r"^constexpr \w+ \w+\([^)]*\) \{.*?(?:\n\}|\}$)", lambda m: None)
        self.take(r"using VelaBase::TIOResult;", lambda m: None)
        self.take(r"using (\w+) = ([^;]*);", self.alias)
        self.take(r"enum (?:class )?(\w+) : (\w+) \{(.*?)\};", self.enum)
        self.take(r"^struct (\w+) \{(.*?)^\};", self.record)
        self.take(r"^class (\w+)(?: :((?:\s*public \w+,?)+))? \{(.*?)^\};", self.interface)
        self.take(r"^class \w+;", lambda m: None)
        self.take(r"^(namespace \w+ \{|\})", lambda m: None)
        if self.rest.strip():
            raise Refused("not understood in the header:\n" + self.rest.strip())

    def take(self, pattern, keep):
        expression = re.compile(pattern, re.S | re.M)
        for match in expression.finditer(self.rest):
            keep(match)
        self.rest = expression.sub("", self.rest)

    def identifier(self, match):
        one, two, three, four = (int(part, 16) for part in match[2].split(","))
        last = f"{four:016X}"
        self.identifiers.append((match[1], f"{{{one:08X}-{two:04X}-{three:04X}-{last[:4]}-{last[4:]}}}"))

    def constant(self, match):
        value = match[4]
        if match[1] == "char":
            value = value.strip('"')
        elif value == "~uint64_t{0}":
            value = f"0x{(1 << 64) - 1:x}"
        else:
            value = f"0x{int(value, 0):x}"
        self.constants.append((match[2], match[1], value))

    def alias(self, match):
        if match[1] != "VelaEntryFunction":
            raise Refused(f"not understood in the header: {match[0]}")
        self.entry = flat(match[2])

    def enum(self, match):
        values = [tuple(part.split("=")) for part in match[3].split(",") if part.strip()]
        self.enums.append((match[1], match[2], [(n.strip(), int(v, 0)) for n, v in values]))

    def record(self, match):
        fields, offset, widest = [], 0, 1
        for kind, name, count in re.findall(r"(\w+) (\w+)(?:\[(\d+)\])?;", match[2]):
            size = SIZES[kind]
            offset += -offset % size
            fields.append((offset, name, kind + (f"[{count}]" if count else "")))
            offset += size * int(count or 1)
            widest = max(widest, size)
        self.records.append((match[1], offset + -offset % widest, fields))

    def interface(self, match):
        bases = re.findall(r"public (\w+)", match[2] or "")
        slots = list(self.interfaces[bases[0]][1]) if len(bases) == 1 else []
        body = match[3]
        for result, name, arguments in re.findall(r"virtual ((?:const )?\w+[ *]+)(\w+)\(([^)]*)\) = 0;", body):
            slots.append((name, flat(arguments), result.strip()))
        left = re.sub(r"virtual [^;]*= 0;|~\w+\(\) = default;|(public|protected):", "", body)
        if left.strip():
            raise Refused(f"not understood in {match[1]}: {left.strip()}")
        self.interfaces[match[1]] = (bases, slots)

    def version(self):
        return self.macros.get("VELA_SPLITTER_MP4_VERSION", "unknown")


def listing(header):
    """The contract without its version, one declaration a line."""
    lines = [f"export VelaEntry: {header.entry}", ""]
    for name, kind, value in header.constants:
        lines.append(f"constant {name}: {kind} {value}")
    lines.append("")
    for name, guid in header.identifiers:
        lines.append(f"identifier {name}: {guid}")
    for name, kind, values in header.enums:
        lines += ["", f"enumeration {name}: {kind}"]
        lines += [f"  {value:#x} {label}" for label, value in values]
    for name, size, fields in header.records:
        lines += ["", f"record {name}: {size} bytes"]
        lines += [f"  {offset} {label}: {kind}" for offset, label, kind in fields]
    for name, (bases, slots) in header.interfaces.items():
        lines.append("")
        if len(bases) > 1:
            lines.append(f"faces {name}: one table pointer after the other")
            lines += [f"  {number} {base}" for number, base in enumerate(bases)]
            continue
        lines.append(f"interface {name}")
        lines += [f"  slot {n} {op}({arguments}): {result}" for n, (op, arguments, result) in enumerate(slots)]
    return "\n".join(lines) + "\n"


def document(header):
    return ("The binary contract of vela_splitter_mp4: every slot, identifier, value, record offset and flag.\n"
            "scripts/contract.py makes this list from frontend/vela_splitter.h; binary-contract.md explains it.\n"
            "\n"
            f"version {header.version()}\n"
            "\n" + listing(header))


def digest(header):
    return hashlib.sha256(listing(header).encode()).hexdigest()


def versions():
    rows = [line.split("\t") for line in VERSIONS.read_text().splitlines() if line and line[0] != "#"]
    return dict(rows)


def check():
    header = Header(HEADER.read_text())
    known = versions().get(header.version())
    if known != digest(header):
        raise Refused(
            f"the contract of version {header.version()} is another one: "
            + ("a contract that changes needs a new version" if known else "it has no row in versions.tsv yet"))
    if CONTRACT.read_text() != document(header):
        raise Refused("docs/contract.txt is not what the header says; run scripts/contract.py update")


def check_version(version, file):
    if versions().get(version) != digest(Header(pathlib.Path(file).read_text())):
        raise Refused(f"{file} is not the contract of version {version}")


def update():
    header = Header(HEADER.read_text())
    known = versions()
    if known.get(header.version(), digest(header)) != digest(header):
        raise Refused(f"the contract has changed, and version {header.version()} is taken: "
                      "give the project a new version first")
    if header.version() not in known:
        with VERSIONS.open("a") as file:
            file.write(f"{header.version()}\t{digest(header)}\n")
    CONTRACT.write_text(document(header))


def assertions():
    """Reads docs/contract.txt, not the header, so that a slip of the reading above shows."""
    lines = CONTRACT.read_text().splitlines()
    out = ['#include "frontend/vela_splitter.h"', "#include <cstddef>", "#include <cstdio>", "#include <cstring>",
           "#include <type_traits>", "using namespace vela;",
           "constexpr bool same(Guid a, Guid b) {",
           "  for (int i = 0; i < 16; ++i) if (a.bytes[i] != b.bytes[i]) return false;",
           "  return true;",
           "}",
           "// A pointer to a virtual member holds the offset of its slot plus 1.",
           "template <class Member> long slot(Member member) {",
           "  long word = 0;",
           "  std::memcpy(&word, &member, sizeof word);",
           "  return (word - 1) / static_cast<long>(sizeof(void*));",
           "}",
           "int wrong = 0;",
           "void expect(bool right, const char* what) {",
           '  if (!right) std::printf("the compiler disagrees: %s\\n", what), ++wrong;',
           "}"]
    body, place, count = [], None, 0
    for line in lines:
        words = line.replace(":", " ").split()
        if match := re.match(r"constant (\w+): (\w+) (.*)", line):
            name, kind, value = match.groups()
            out.append(f"static_assert(std::is_same_v<decltype({name}), const {kind}> && {name} == {value}u);"
                       if kind != "char" else f'static_assert(sizeof {name} == sizeof "{value}");')
        elif match := re.match(r"identifier (\w+): \{(\w+)-(\w+)-(\w+)-(\w+)-(\w+)\}", line):
            name, one, two, three, four, five = match.groups()
            out.append(f"static_assert(same({name}, makeGuid(0x{one}, 0x{two}, 0x{three}, 0x{four}{five})));")
        elif line.startswith(("enumeration ", "interface ", "faces ")):
            place = words[:2]
            if words[0] == "enumeration":
                out.append(f"static_assert(std::is_same_v<std::underlying_type_t<{words[1]}>, {words[2]}>);")
        elif line.startswith("record "):
            place = words[:2]
            out.append(f"static_assert(sizeof({words[1]}) == {words[2]});")
        elif line.startswith("  ") and place[0] == "enumeration":
            out.append(f"static_assert(static_cast<uint32_t>({place[1]}::{words[1]}) == {words[0]});")
        elif line.startswith("  ") and place[0] == "record":
            kind, _, length = words[2].partition("[")
            out.append(f"static_assert(offsetof({place[1]}, {words[1]}) == {words[0]} && "
                       f"std::is_same_v<decltype({place[1]}::{words[1]}), {kind}{'[' + length if length else ''}>);")
        elif line.startswith("  ") and place[0] == "faces":
            body.append(f"  expect(reinterpret_cast<char*>(static_cast<{words[1]}*>(reinterpret_cast<{place[1]}*>(64))) "
                        f'== reinterpret_cast<char*>(64 + {words[0]} * sizeof(void*)), "{place[1]} {words[1]}");')
        elif match := re.match(r"  slot (\d+) (\w+)\((.*)\): (.*)", line):
            number, name, arguments, result = match.groups()
            kinds = re.sub(r"(\w+)(?=,|$)", "", arguments)
            body.append(f"  expect(slot(static_cast<{result} ({place[1]}::*)({kinds})>(&{place[1]}::{name})) "
                        f'== {number}, "{place[1]} {line.strip()}");')
            count += 1
        if line.startswith("  "):
            continue
    if count < 100:
        raise Refused("docs/contract.txt lists hardly any slots")
    out += ["int main() {", *body, f'  std::printf("{count} slots\\n");', "  return wrong != 0;", "}"]
    print("\n".join(out))


def main(arguments):
    match arguments:
        case ["print", *header]:
            print(document(Header(pathlib.Path(header[0]).read_text() if header else HEADER.read_text())), end="")
        case ["check"]:
            check()
        case ["check-version", version, header]:
            check_version(version, header)
        case ["update"]:
            update()
        case ["assertions"]:
            assertions()
        case _:
            print(__doc__, file=sys.stderr)
            return 64
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main(sys.argv[1:]))
    except Refused as refusal:
        sys.exit(f"contract.py: {refusal}")
