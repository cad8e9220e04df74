#!/usr/bin/env python3
"""Writes the golden packet tables: what ffprobe says about the packets of the tests' media.

    tests/host/make_golden_packets.py [--corpus FOLDER]

Without a corpus only the tables of the files in tests/data are written. How ffprobe is asked:

    ffprobe -v error -ignore_editlist 1 -fflags +nofillin+noparse -select_streams N
            -show_data_hash CRC32 -show_entries packet=pts,dts,duration,size,pos,flags,data_hash FILE

-ignore_editlist 1    edit lists would shift times, and drop or mark packets
+nofillin +noparse    times are those of the tables, and nothing is cut into other packets
The first audio track of AAC or MP3 and the first video track of MPEG-4 Visual or H.264 are taken;
pictures attached as covers are not tracks.

A table holds one line a packet: size, file offset, presentation time and decoding time in ticks of
the stream's timescale, K for a sync sample, CRC-32 of the payload. Decoding times count from the
first packet: ffprobe moves them where composition offsets are negative. Two things of a stream are
read from the file itself: how long the last packet lasts, which ffprobe cuts to the track's end,
and whether there is a table of sync samples.
A stream of more than 20,000 packets is kept as one line for every 100 packets instead: number of
packets, bytes, offset, presentation time and decoding time of the first one, and the CRC-32 over
the lines that a full table would hold.
"""
import argparse
import json
import pathlib
import struct
import subprocess
import zlib

HERE = pathlib.Path(__file__).resolve().parent
DATA = HERE.parent / "data"
ASK = ["ffprobe", "-v", "error", "-ignore_editlist", "1", "-fflags", "+nofillin+noparse"]
FULL_TABLE_LIMIT = 20000
DIGEST_RUN = 100
SUPPORTED = {
    "audio": {("aac", "mp4a"), ("mp3", "mp4a")},
    "video": {("mpeg4", "mp4v"), ("h264", "avc1")},
}


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
    entries = "packet=pts,dts,duration,size,pos,flags,data_hash"
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


def rows_of(packets):
    for packet in packets:
        sync = "K" if packet["flags"].startswith("K") else "-"
        checksum = packet["data_hash"].removeprefix("CRC32:")
        yield "\t".join([packet["size"], packet["pos"], str(packet["pts"]),
                         str(packet["dts"] - packets[0]["dts"]), sync, checksum])


def digests(rows, packets):
    for first in range(0, len(rows), DIGEST_RUN):
        run = packets[first:first + DIGEST_RUN]
        text = "".join(line + "\n" for line in rows[first:first + DIGEST_RUN])
        yield "\t".join([str(len(run)), str(sum(int(p["size"]) for p in run)), run[0]["pos"],
                         str(run[0]["pts"]), str(run[0]["dts"] - packets[0]["dts"]),
                         "%08x" % zlib.crc32(text.encode())])


def table(path):
    lines = [f"# Packets of {path.name} as ffprobe sees them; made by "
             "tests/host/make_golden_packets.py."]
    total = 0
    for kind, stream in sorted(first_streams(path).items()):
        packets = packets_of(path, stream["index"])
        if not packets:
            continue
        total += len(packets)
        rows = list(rows_of(packets))
        timescale = stream["time_base"].split("/")[1]
        sync_table = sample_table(path, stream["index"], b"stss") is not None
        whole = len(rows) <= FULL_TABLE_LIMIT
        lines.append("\t".join([
            "stream", kind, "timescale", timescale, "packets", str(len(rows)), "last",
            str(last_duration(path, stream["index"], len(packets))), "sync",
            "table" if sync_table else "every", "rows", "packets" if whole else "runs"]))
        lines += rows if whole else digests(rows, packets)
    return "\n".join(lines) + "\n" if total else None


def write_tables(files, folder):
    folder.mkdir(parents=True, exist_ok=True)
    for path in files:
        text = table(path)
        if text:
            (folder / (path.name + ".tsv")).write_text(text)
            print(folder.name, path.name, len(text))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--corpus", type=pathlib.Path)
    options = parser.parse_args()
    media = {".mp4", ".m4a"}
    write_tables(sorted(p for p in DATA.iterdir() if p.suffix in media), DATA / "golden/packets/own")
    if options.corpus:
        outcomes = (DATA / "golden/files.tsv").read_text().splitlines()
        clean = [line.split("\t")[0] for line in outcomes if line.split("\t")[1:2] == ["clean"]]
        write_tables([options.corpus / name for name in clean], DATA / "golden/packets/corpus")


if __name__ == "__main__":
    main()
