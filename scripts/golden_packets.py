#!/usr/bin/env python3
"""What ffprobe says about the packets of the tests' media.

    scripts/golden_packets.py list FILE audio|video    the canonical listing of one stream
    scripts/golden_packets.py table [--corpus FOLDER]  rewrites tests/data/golden/packets.tsv
    scripts/golden_packets.py check [--corpus FOLDER]  compares it with what ffprobe says now

Without a corpus the lines of its files stay as they are. How ffprobe is asked:

    ffprobe -v error -ignore_editlist 1 -fflags +nofillin+noparse -select_streams N
            -show_data_hash CRC32 -show_entries packet=pts,dts,size,pos,flags,data_hash FILE

-ignore_editlist 1    edit lists would shift times, and drop or mark packets
+nofillin +noparse    times are those of the tables, and nothing is cut into other packets
The first audio track of AAC or MP3 and the first video track of MPEG-4 Visual or H.264 are taken;
pictures attached as covers are not tracks.

A listing has one line per packet: size, file offset, presentation time and decoding time in ticks
of the stream's timescale, K for a sync sample, CRC-32 of the payload. Decoding times count from the
first packet: ffprobe moves them where composition offsets are negative. The table has one line per
stream, with the first and the last line of the listing and the SHA-256 of all of it. Two things
come from the file itself: how long the last packet lasts, which ffprobe cuts to the track's end,
and whether there is a table of sync samples.
"""
import argparse
import hashlib
import json
import pathlib
import struct
import subprocess
import sys

DATA = pathlib.Path(__file__).resolve().parent.parent / "tests/data"
TABLE = DATA / "golden/packets.tsv"
OUTCOMES = DATA / "golden/files.tsv"
ASK = ["ffprobe", "-v", "error", "-ignore_editlist", "1", "-fflags", "+nofillin+noparse"]
SUPPORTED = {
    "audio": {("aac", "mp4a"), ("mp3", "mp4a")},
    "video": {("mpeg4", "mp4v"), ("h264", "avc1")},
}
HEAD = """\
# One line per stream: what ffprobe says about its packets. Made by scripts/golden_packets.py, which
# also tells how a listing is made; nothing here is the program's own output.
# folder\tfile\tstream\ttrack\ttimescale\tpackets\tbytes\tlast\tsync\tfirst\tfinal\tsha256
# track: zero-based. last: ticks that the last packet lasts. sync: table, or every sample.
# first, final: size, offset, presentation and decoding time, K, CRC-32. sha256: of the listing.
"""


def probe(path, *arguments):
    result = subprocess.run(ASK + list(arguments) + ["-of", "json", str(path)],
                            capture_output=True, text=True, check=False)
    return json.loads(result.stdout) if result.returncode == 0 else {}


def first_streams(path):
    found = {}
    entries = "stream=index,codec_type,codec_name,codec_tag_string,time_base"
    for stream in probe(path, "-show_entries", entries + ":stream_disposition=attached_pic").get(
            "streams", []):
        kind = stream.get("codec_type")
        codec = (stream.get("codec_name"), stream.get("codec_tag_string"))
        if (codec in SUPPORTED.get(kind, ()) and kind not in found
                and not stream["disposition"]["attached_pic"]):
            found[kind] = stream
    return found


def packets_of(path, index):
    entries = "packet=pts,dts,size,pos,flags,data_hash"
    return probe(path, "-select_streams", str(index), "-show_data_hash", "CRC32", "-show_entries",
                 entries).get("packets", [])


def children(data, start, end):
    while start + 8 <= end:
        size, kind = struct.unpack(">I4s", data[start:start + 8])
        header = 8
        if size == 1:
            size, header = struct.unpack(">Q", data[start + 8:start + 16])[0], 16
        if size < header:
            return
        yield kind, start + header, min(start + size, end)
        start += size


def boxes(data, start, end, path):
    for kind, first, last in children(data, start, end):
        if kind == path[0] and path[1:]:
            yield from boxes(data, first, last, path[1:])
        elif kind == path[0]:
            yield first, last


def sample_table(path, track, kind):
    """The payload of one box of a track's sample table, or None."""
    data = path.read_bytes()
    first, last = list(boxes(data, 0, len(data), [b"moov", b"trak"]))[track]
    found = list(boxes(data, first, last, [b"mdia", b"minf", b"stbl", kind]))
    return data[slice(*found[0])] if found else None


def last_duration(path, track, count):
    table = sample_table(path, track, b"stts")
    for entry in range(struct.unpack(">I", table[4:8])[0]):
        samples, delta = struct.unpack(">II", table[8 + 8 * entry:16 + 8 * entry])
        if count <= samples:
            return delta
        count -= samples
    raise ValueError(f"{path.name}: fewer durations than packets")


def listing(packets):
    for packet in packets:
        sync = "K" if packet["flags"].startswith("K") else "-"
        checksum = packet["data_hash"].removeprefix("CRC32:")
        yield "\t".join([packet["size"], packet["pos"], str(packet["pts"]),
                         str(packet["dts"] - packets[0]["dts"]), sync, checksum])


def text_of(rows):
    return "".join(row + "\n" for row in rows)


def lines_of(folder, path):
    for kind, stream in sorted(first_streams(path).items()):
        rows = list(listing(packets_of(path, stream["index"])))
        if not rows:
            continue
        track = stream["index"]
        yield "\t".join([
            folder, path.name, kind, str(track), stream["time_base"].split("/")[1], str(len(rows)),
            str(sum(int(row.split("\t")[0]) for row in rows)),
            str(last_duration(path, track, len(rows))),
            "table" if sample_table(path, track, b"stss") is not None else "every",
            rows[0].replace("\t", " "), rows[-1].replace("\t", " "),
            hashlib.sha256(text_of(rows).encode()).hexdigest()])


def table(corpus):
    lines = []
    for path in sorted(p for p in DATA.iterdir() if p.suffix in {".mp4", ".m4a"}):
        lines += lines_of("own", path)
    if corpus:
        rows = [line.split("\t") for line in OUTCOMES.read_text().splitlines()]
        for name in (row[0] for row in rows if row[1:2] == ["clean"]):
            lines += lines_of("corpus", corpus / name)
    elif TABLE.exists():
        lines += [line for line in TABLE.read_text().splitlines() if line.startswith("corpus\t")]
    return HEAD + text_of(lines)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    commands = parser.add_subparsers(dest="command", required=True)
    one = commands.add_parser("list")
    one.add_argument("file", type=pathlib.Path)
    one.add_argument("stream", choices=sorted(SUPPORTED))
    for name in ("table", "check"):
        commands.add_parser(name).add_argument("--corpus", type=pathlib.Path)
    options = parser.parse_args()
    if options.command == "list":
        streams = first_streams(options.file)
        if options.stream not in streams:
            sys.exit(f"{options.file}: no {options.stream} of a supported kind")
        packets = packets_of(options.file, streams[options.stream]["index"])
        sys.stdout.write(text_of(listing(packets)))
    elif options.command == "table":
        TABLE.write_text(table(options.corpus))
    elif table(options.corpus) != TABLE.read_text():
        sys.exit(f"{TABLE} differs from what ffprobe says; look at the diff after `table`")


if __name__ == "__main__":
    main()
