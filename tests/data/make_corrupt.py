#!/usr/bin/env python3
"""Writes the small damaged files in tests/data/corrupt from the sound ones beside them.

Each is the beginning of a sound file with one defect, after which it is named.
"""
import pathlib

HERE = pathlib.Path(__file__).resolve().parent


def changed(name, after, distance, new):
    """The bytes of a file with `new` at a distance after the first `after`."""
    data = bytearray((HERE / name).read_bytes())
    place = data.index(after) + len(after) + distance
    data[place : place + len(new)] = new
    return bytes(data)


FILES = {
    # The three reserved bits before the count of sequence parameter sets are 0.
    "avcc-reserved-bits.mp4": changed("sample.mp4", b"avcC", 5, b"\x01")[:5000],
    # A download that was cut in the media data.
    "cut-in-media-data.mp4": (HERE / "sample.mp4").read_bytes()[:5000],
    # Sound that the plug-in does not play.
    "unknown-sound.m4a": changed("mp3-only.mp4", b"stsd", 12, b"ac-3"),
    # A box that claims more than the box around it has.
    "child-too-big.mp4": changed("sample.mp4", b"\0\0\0\x18stts", -8, b"\0\1\0\x18")[:5000],
    # Sync samples that do not rise.
    "sync-samples-fall.mp4": changed("sample.mp4", b"stss", 12, b"\0\0\0\0")[:5000],
    # The chunks of the sound lie over those of the picture, and some samples past the file.
    "chunks-overlap.mp4": changed("asp-mp3.mp4", b"stco", 8, b"\0\0\0\x40\x7f\0\0\0"),
}

for name, data in FILES.items():
    (HERE / "corrupt" / name).write_bytes(data)
