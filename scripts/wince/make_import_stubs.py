#!/usr/bin/env python3
"""Writes the import stubs of the device image: ARM assembly with one stub for each name of a list.

A stub jumps through the name's word of the import address table. Stub and word have sections of
their own, so that the linker drops those that nothing calls. Usage: make_import_stubs.py LIST OUT.S
"""
import sys


def names_of(path):
    """The names in an import list; '#' begins a comment."""
    with open(path, encoding="ascii") as lines:
        words = (line.split("#")[0].strip() for line in lines)
        return [word for word in words if word]


def stub(name):
    return f"""
        .section .text.{name}, "ax", %progbits
        .global {name}
        .type {name}, %function
        .arm
{name}: ldr ip, 1f
        ldr pc, [ip]
1:      .word __imp_{name}
        .size {name}, . - {name}
        .section .import_address.{name}, "aw", %progbits
        .global __imp_{name}
__imp_{name}:
        .word 0
"""


def main():
    source, target = sys.argv[1:]
    with open(target, "w", encoding="ascii") as out:
        out.write("        .syntax unified\n        .arch armv4\n")
        for name in names_of(source):
            out.write(stub(name))


if __name__ == "__main__":
    main()
