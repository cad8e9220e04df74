#!/usr/bin/env python3
"""Writes tests/data/golden/tags.tsv: tags and chapters as this system gives them, beside what other
tools say, with the reason wherever they differ.

    scripts/golden_tags.py --host build/dev/host/velahost --corpus FOLDER

    ffprobe -v quiet -show_format -show_chapters -of json FILE
    mediainfo --Output=JSON FILE

Names are brought to those of this system (composer: writer, date: year, encoder: tool, "3/12": track
and totaltracks); " / " of mediainfo is a line end, and the dates that every file has are left out.
A difference without a reason is printed and written as UNEXPLAINED, which the test refuses. A file
of which nobody tells a tag or a chapter has one row of the kind "none".
"""
import argparse
import json
import pathlib
import subprocess

HERE = pathlib.Path(__file__).resolve().parent
DATA = HERE.parent / "tests/data"
NONE = "(none)"
FFPROBE_NAMES = {"composer": "writer", "date": "year", "encoder": "tool", "DATE": "year"}
FFPROBE_PAIRS = {"track": "totaltracks", "disc": "totaldiscs"}
FFPROBE_IGNORED = {"major_brand", "minor_version", "compatible_brands", "creation_time"}
MEDIAINFO_NAMES = {
    "Title": "title", "Performer": "artist", "Album": "album", "Composer": "writer",
    "Recorded_Date": "year", "Comment": "comment", "Genre": "genre", "Encoded_Application": "tool",
    "Track_Position": "track", "Track_Position_Total": "totaltracks", "Part_Position": "disc",
    "Part_Position_Total": "totaldiscs", "BPM": "tempo", "Compilation": "compilation"}
GAINS = {"replaygain_track_gain": "track_gain", "replaygain_album_gain": "album_gain",
         "replaygain_track_peak": "track_peak", "replaygain_album_peak": "album_peak"}
KNOWN = set(MEDIAINFO_NAMES.values()) | set(GAINS)
TITLE_RULE = "the file's own title stands before the chapter's name"
FILE_REASONS = {
    "aac-meta-without-version-two-covr-faac.m4a":
        "the metadata box lacks version and flags, which are always read: it is given up",
    "bad-ilst-zero-size-child-header-only.mp4": "one broken item costs all tags of the box",
}

ITEM_REASONS = {
    ("audiobook.m4a", "Artist"): "names that differ in case only are one tag: see artist",
    ("audiobook.m4a", "artist"): "names that differ in case only are one tag with several values",
    ("audiobook.m4a", "year"): "a free item named date is a further value of year",
    ("audiobook.m4a", "MOOD"): "of several values in one item the last one stays",
    ("text.m4a", "overlong"): "nothing is left of a text that begins with no UTF-8",
    ("text.m4a", "Ma"): "a name, too, ends where it stops being UTF-8",
    ("text.m4a", "Ma\ufffd"): "a name, too, ends where it stops being UTF-8: see Ma",
    ("qt-brand-v1-audio-header-truncated.mp4", "tool"):
        "a text that stands in the user data itself, outside of an item list, is not read",
    ("qt-brand-v1-audio-header-truncated.mp4", "com.android.version"):
        "an item that has a number instead of a type is no box",
}


def normal(text):
    return str(text).replace("\r\n", "\n").rstrip("\n")


def number(text):
    return "%.2f" % float(text.split()[0])


def run_json(*command):
    text = subprocess.run(command, capture_output=True, check=False).stdout
    try:
        return json.loads(text.decode("utf-8", "replace"))
    except json.JSONDecodeError:
        return {}


def our_tags(report):
    """The tags of the first item: its own and those that all items share."""
    item = report["items"][0]
    tags = {name: [normal(value) for value in values]
            for name, values in (report["tags"] | item["tags"]).items()}
    gains = report["replay_gain"] | item["replay_gain"]
    for name, field in GAINS.items():
        if field in gains:
            tags[name] = ["%.2f" % gains[field]]
    return tags


def ffprobe_tags(probe):
    tags = {}
    for key, value in probe.get("format", {}).get("tags", {}).items():
        if key in FFPROBE_IGNORED:
            continue
        if key in FFPROBE_PAIRS:
            part, _, total = value.partition("/")
            tags[key] = part
            if total:
                tags[FFPROBE_PAIRS[key]] = total
            continue
        name = key.lower() if key.lower() in GAINS else FFPROBE_NAMES.get(key, key)
        tags[name] = number(value) if name in GAINS else normal(value)
    return tags


def mediainfo_tags(info):
    track = info.get("media", {}).get("track", [{}])[0]
    tags = {name: normal(str(track[key]).replace(" / ", "\n"))
            for key, name in MEDIAINFO_NAMES.items() if key in track}
    for key, value in track.get("extra", {}).items():
        if key.lower() in GAINS:
            tags[key.lower()] = number(value)
    return tags


def tag_reason(file, name, ours, ffprobe, mediainfo, chapter_title):
    said = {value for value in (ffprobe, mediainfo) if value is not None}
    joined = "\n".join(ours) if ours else None
    if said == {joined}:
        return "-"
    if file in FILE_REASONS and ours is None:
        return FILE_REASONS[file]
    if name == "title" and joined == chapter_title and not said:
        return "a chapter without a title of its own takes its name from the chapter list"
    if (file, name) in ITEM_REASONS:
        return ITEM_REASONS[file, name]
    if name == "track" and ours == ["1"] and not said:
        return "chapters are numbered where the file names no track"
    if ours is None and "" in said:
        return "an empty value adds no tag"
    if name == "compilation":
        return ("the flag's byte is the value" if ours else
                "a value that begins with a zero byte counts as empty")
    if name == "tempo":
        return "beats a minute are written with five digits"
    if name in ("disc", "totaldiscs") and ours is None:
        return "numbers are read from items of eight bytes or more; this one has six"
    if name == "tool" and mediainfo and "\n" in mediainfo and ffprobe == joined:
        return "mediainfo adds the encoder's person, an item without a tag name here"
    if ours is None and name.startswith("com.android"):
        return "only metadata inside the user data of the movie is read"
    if ours is None and name not in KNOWN:
        return "the item has no tag name here"
    if ours and joined and ffprobe and "\ufffd" in ffprobe and ffprobe.startswith(joined):
        return "text ends where it stops being UTF-8"
    if ours and joined and ffprobe and "\ufffd" in ffprobe + joined:
        return "bytes that are no UTF-8 are told differently"
    if ours and ffprobe and joined.replace("\uffff", "") in "".join(
            c for c in ffprobe if ord(c) < 0x10000):
        return "a character beyond the 16-bit range becomes U+FFFF"
    return "UNEXPLAINED"


def chapter_reason(ours, theirs, file_title):
    if ours == theirs:
        return "-"
    if ours is None:
        return "the chapter list holds 255 entries; ffprobe reads the chapter track instead"
    if theirs is None:
        return "a file without marks has one chapter"
    our_start, _, our_title = ours.partition(" ")
    start, _, title = theirs.partition(" ")
    if our_start == start and our_title == file_title:
        return TITLE_RULE
    if our_start == start and our_title.replace("\uffff", "") in "".join(
            c for c in title if ord(c) < 0x10000):
        return "a character beyond the 16-bit range becomes U+FFFF"
    return "UNEXPLAINED"


def cell(value):
    if value is None:
        return NONE
    text = value.replace("\\", "\\\\").replace("\n", "\\n").replace("\t", "\\t").replace("\r", "\\r")
    return "".join(c if ord(c) >= 0x20 else "\\x%02x" % ord(c) for c in text)


def rows_of(host, path, group):
    """The rows of one file; none for a file that can't be described."""
    report = run_json(host, "info", "--json", path)
    if report.get("type") != "info" or "error" in report["items"][0]:
        return []
    probe = run_json("ffprobe", "-v", "quiet", "-show_format", "-show_chapters", "-of", "json", path)
    ours = our_tags(report)
    theirs = ffprobe_tags(probe)
    others = mediainfo_tags(run_json("mediainfo", "--Output=JSON", path))
    chapters = report["chapters"]
    rows = []
    for name in sorted(set(ours) | set(theirs) | set(others)):
        values = [ours.get(name), theirs.get(name), others.get(name)]
        reason = tag_reason(path.name, name, *values, chapters[0]["title"] if chapters else None)
        joined = "\n".join(values[0]) if values[0] else None
        rows.append([group, path.name, "tag", cell(name), cell(joined), cell(values[1]),
                     cell(values[2]), reason])
    told = ["%.3f %s" % (c["start"], c["title"]) for c in chapters]
    probed = ["%.3f %s" % (float(c["start_time"]), c.get("tags", {}).get("title", ""))
              for c in probe.get("chapters", [])]
    marks = max(len(told), len(probed)) if len(told) > 1 or probed else 0
    for i in range(marks):
        mine = told[i] if i < len(told) else None
        other = probed[i] if i < len(probed) else None
        reason = chapter_reason(mine, other, theirs.get("title"))
        rows.append([group, path.name, "chapter", str(i + 1), cell(mine), cell(other), NONE, reason])
    return rows or [[group, path.name, "none", NONE, NONE, NONE, NONE, "-"]]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--host", required=True)
    parser.add_argument("--corpus", type=pathlib.Path, required=True)
    options = parser.parse_args()
    lines = ["# Tags of the first item and chapters, as this system tells them and as other tools do.",
             "# Made by scripts/golden_tags.py; (none): not told; -: no difference to explain.",
             "# folder\tfile\tkind\tname\tours\tffprobe\tmediainfo\treason of a difference"]
    own = [p for p in sorted(DATA.iterdir()) if p.suffix in {".mp4", ".m4a"}]
    corpus = [p for p in sorted(options.corpus.iterdir()) if p.suffix != ".tsv"]
    for group, files in (("own", own), ("corpus", corpus)):
        for path in files:
            for row in rows_of(options.host, path, group):
                lines.append("\t".join(row))
                if row[-1] == "UNEXPLAINED":
                    print(lines[-1])
    (DATA / "golden/tags.tsv").write_text("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
