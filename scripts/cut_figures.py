#!/usr/bin/env python3
"""What the cuts of velahost are worth, judged by ffmpeg: prints the tables of docs/cuts.md.

Usage: cut_figures.py VELAHOST [--check] [--exact] FILE...

Every chapter of each file is cut and decoded. Of sound the decoded chapters are held against the
decoded whole, sample by sample; pictures are counted. --check also fails when something is not as
docs/cuts.md promises; --exact also when a sample differs, as samples do where a decoder makes up
noise of its own.
"""
import argparse
import collections
import json
import pathlib
import subprocess
import sys
import tempfile

TICKS = 16777216  # host units in a second
FRAMES_OF_PRE_ROLL = 10  # packets, at most


def run(*command):
    return subprocess.run([str(part) for part in command], capture_output=True, check=False)


def decoded(path, rate, *before):
    """Samples of the first sound stream: 32-bit floats of one channel, as bytes."""
    result = run("ffmpeg", "-v", "error", *before, "-i", path, "-map", "0:a:0", "-af", "pan=mono|c0=c0",
                 "-ar", rate, "-f", "f32le", "-")
    return result.stdout


def frames(samples):
    return len(samples) // 4


def part(samples, start, end):
    return samples[4 * start:4 * end]


def pictures(path):
    """Pictures that a decoder shows without an error, and the first of their times in seconds."""
    result = run("ffprobe", "-v", "error", "-select_streams", "V:0", "-show_entries",
                 "frame=pict_type,key_frame", "-of", "json", path)
    found = json.loads(result.stdout or b"{}").get("frames", [])
    return len(found), bool(found) and found[0]["key_frame"] == 1, result.stderr.decode().strip()


class Figures:
    def __init__(self, host, path):
        self.path, self.wrong, self.boundaries = path, [], []
        info = run(host, "info", path, "--json")
        self.info = json.loads(info.stdout)
        if "error" in self.info:
            self.refused = self.info["error"]["message"]
            return
        self.refused = None
        self.rate = (self.info["audio"] or {}).get("sample_rate", 0)
        with tempfile.TemporaryDirectory() as folder:
            self.folder = pathlib.Path(folder)
            self.measure(host)

    def cut(self, host, form):
        folder = self.folder / form
        result = run(host, "extract", self.path, "--chapters", folder, "--format", form, "--json")
        answer = json.loads(result.stdout)
        return answer.get("files"), answer.get("error", {}).get("message", "")

    def measure(self, host):
        cuts, self.refused = self.cut(host, "mp4")
        if cuts is None:
            return
        self.cuts = cuts
        self.film = self.info["video"] is not None
        if self.film:
            self.measure_film()
        elif self.rate:
            self.measure_sound(host)

    def measure_film(self):
        self.pictures = 0
        for cut in self.cuts:
            if not cut["video"]:
                continue
            shown, key, errors = pictures(cut["output"])
            self.pictures += shown
            name = pathlib.Path(cut["output"]).name
            if not key:
                self.wrong.append(f"{name} does not begin with a key frame")
            if errors:
                self.wrong.append(f"{name}: {errors}")
            # A picture that a stream announces and drops, or a skipped one, is none of ours.
            if shown != cut["video"]["packets"]:
                self.wrong.append(f"{name}: {shown} pictures of {cut['video']['packets']} packets")

    def measure_sound(self, host):
        whole = decoded(self.path, self.rate, "-ignore_editlist", "1")
        if not whole:
            self.refused = "ffmpeg can't decode it"
            return
        # A packet without sound, such as one that holds the encoder's name, decodes to nothing at all.
        # ffmpeg's whole is then shorter by it, at its head.
        silent = max(0, self.all_frames(host) - frames(whole))
        self.silent = silent
        whole = bytes(4 * silent) + whole
        self.equal = self.different = self.padding = 0
        self.unlike = []
        end = None
        for chapter, cut in zip(self.info["chapters"], self.cuts):
            start = (int(chapter["start_ts"]) * self.rate + TICKS // 2) // TICKS
            count = cut["audio"]["frames"]
            if end is not None and end != start:
                self.boundaries.append((cut["item"], start - end))
            end = start + count
            got = decoded(cut["output"], self.rate)
            self.padding += frames(got) - count
            wanted = part(whole, start, end)
            if frames(got) < count or len(wanted) < 4 * count:
                self.wrong.append(f"chapter {cut['item']}: {frames(got)} frames decoded of {count}")
            if part(got, 0, count) == wanted:
                self.equal += 1
            elif frames(got) < count or len(wanted) < 4 * count:
                self.different += 1
            else:
                self.different += 1
                self.unlike.append((cut["item"], *self.likeness(got, whole, start, count)))
            kept = frames(got) - count
            if kept not in (0, cut["audio"]["frames_after"]) and not silent:
                self.wrong.append(f"chapter {cut['item']}: {kept} frames after the end")
        self.first = (int(self.info["chapters"][0]["start_ts"]) * self.rate + TICKS // 2) // TICKS
        self.last = end
        self.measure_bare(host, whole)

    def all_frames(self, host):
        """What all packets of the file decode to."""
        form = {"AAC": "adts", "MP3": "mp3"}[self.info["audio"]["codec_name"]]
        result = run(host, "extract", self.path, "--format", form, "--output", self.folder / "all", "--json")
        audio = json.loads(result.stdout).get("files", [{"audio": None}])[0]["audio"]
        return sum(audio[name] for name in ("frames", "frames_before", "frames_after")) if audio else 0

    @staticmethod
    def likeness(got, whole, start, count):
        """Where samples differ, as with noise that a decoder makes up: the greatest difference, and
        whether the place with the least difference is the right one."""
        one, other = memoryview(part(got, 0, count)).cast("f"), memoryview(whole).cast("f")
        step = max(1, count // 20000)
        best = None
        for shift in range(-3, 4):
            if start + shift < 0 or start + shift + count > len(other):
                continue
            apart = [abs(one[i] - other[start + shift + i]) for i in range(0, count, step)]
            score = sum(apart)
            if best is None or score < best[0]:
                best = (score, shift, max(apart))
        return best[1], best[2]

    def measure_bare(self, host, whole):
        form = {"AAC": "adts", "MP3": "mp3"}[self.info["audio"]["codec_name"]]
        cuts, self.bare_refused = self.cut(host, form)
        self.bare_before = self.bare_after = 0
        for chapter, cut in zip(self.info["chapters"], cuts or []):
            audio = cut["audio"]
            got = decoded(cut["output"], self.rate)
            extra = frames(got) - audio["frames"]
            self.bare_before = max(self.bare_before, audio["frames_before"])
            self.bare_after = max(self.bare_after, audio["frames_after"])
            if extra + self.silent not in (audio["frames_before"] + audio["frames_after"],
                                           audio["frames_before"] + audio["frames_after"] + self.silent):
                self.wrong.append(f"{form} {cut['item']}: {extra} frames too many, "
                                  f"{audio['frames_before']} and {audio['frames_after']} told")

    def is_wrong(self, exact):
        """Noise that a decoder makes up is faint and in its place; anything else is a wrong cut."""
        misplaced = any(shift != 0 or apart > 0.01 for _, shift, apart in getattr(self, "unlike", []))
        inexact = self.refused or getattr(self, "different", 0)
        return bool(self.wrong or misplaced or (exact and inexact))

    def row(self):
        name = self.path.name
        if self.refused:
            return f"| `{name}` | refused: {self.refused} |"
        if self.film:
            return (f"| `{name}` | film | {len(self.cuts)} | {self.pictures} pictures | "
                    + ("all begin with a key frame" if not self.wrong else "; ".join(self.wrong)) + " |")
        if not self.rate:
            return f"| `{name}` | nothing to cut |"
        places = ", ".join(f"{'left out' if gap > 0 else 'repeated'} {abs(gap)} before chapter {item}"
                           for item, gap in self.boundaries) or "none"
        return (f"| `{name}` | {self.info['audio']['codec_name']} | {len(self.cuts)} | "
                f"{self.last - self.first} | {self.equal} equal, {self.different} not | {places} | "
                f"{self.padding} | {self.bare_before}, {self.bare_after} |"
                + "".join(f" chapter {i}: least difference at shift {s}, greatest {d:.6f};"
                          for i, s, d in self.unlike[:3])
                + ("" if not self.wrong else " WRONG: " + "; ".join(self.wrong)))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("host")
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--exact", action="store_true")
    parser.add_argument("files", nargs="+", type=pathlib.Path)
    options = parser.parse_args()
    failed = 0
    for path in options.files:
        figures = Figures(options.host, path)
        print(figures.row(), flush=True)
        failed += figures.is_wrong(options.exact)
    return 1 if (options.check or options.exact) and failed else 0


if __name__ == "__main__":
    sys.exit(main())
