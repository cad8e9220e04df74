#!/usr/bin/env python3
"""Compares a log of velaprobe with what velahost says of the same file on a PC.

Usage: compare_log.py LOG PACKETS INFO. PACKETS is the output of `velahost packets --json FILE`, INFO
that of `velahost info --json FILE`. Exit code 1 when they differ.
"""
import json
import re
import sys

PACKET = re.compile(r"packet (audio|video) (\d+) size (\d+) crc32 ([0-9a-f]{8})"
                    r"(?: frames (\d+) start (\d+))?(?: time (\d+))?$")


def packets_of_log(lines):
    for line in lines:
        found = PACKET.match(line)
        if not found:
            continue
        stream, index, size, crc, frames, start, time = found.groups()
        yield {"stream": stream, "index": int(index), "size": int(size), "crc32": crc,
               **({"frames": int(frames), "start_offset": int(start)} if frames else {}),
               **({"time_ts": signed(int(time))} if time else {})}


def signed(value):
    """A time is a signed 64-bit value: a key frame may come before the item's start."""
    return value - (1 << 64) if value >> 63 else value


def packets_of_host(lines):
    for line in lines:
        packet = json.loads(line)
        if packet.get("type") != "packet":
            continue
        wanted = ["stream", "index", "size", "crc32"]
        if packet["stream"] == "audio":
            wanted += ["frames", "start_offset"]
        told = {name: packet[name] for name in wanted}
        if packet["stream"] == "video":
            told["time_ts"] = int(packet["time_ts"])
        yield told


def differences(log, packets, info):
    lines = log.splitlines()
    ours, theirs = list(packets_of_log(lines)), list(packets_of_host(packets.splitlines()))
    if len(ours) != len(theirs):
        yield f"{len(ours)} packets in the log, {len(theirs)} on the PC"
    for mine, expected in zip(ours, theirs):
        if mine != expected:
            yield f"{mine} in the log, {expected} on the PC"
            break
    facts = json.loads(info)
    duration = next((line.split()[1] for line in lines if line.startswith("duration ")), None)
    if duration != facts["duration_ts"]:
        yield f"duration {duration} in the log, {facts['duration_ts']} on the PC"
    chapters = sum(line.startswith("chapter ") for line in lines)
    if chapters != len(facts["chapters"]):
        yield f"{chapters} chapters in the log, {len(facts['chapters'])} on the PC"


def main():
    texts = []
    for name in sys.argv[1:4]:
        with open(name, encoding="utf-8") as file:
            texts.append(file.read())
    if len(texts) != 3:
        sys.exit(__doc__)
    found = list(differences(*texts))
    for difference in found:
        print(difference)
    if not found:
        print(f"the same: {len(list(packets_of_log(texts[0].splitlines())))} packets")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
