#!/usr/bin/env python3
"""Holds all JSON output of velahost against docs/velahost.schema.json and the examples of docs/json.md.

Usage: check_json.py VELAHOST ROOT

Every command runs over the files of tests/data and, where VELA_CORPUS names its folder, over the
corpus, failures included. A list of packets is checked line by line for what its lines promise about
each other; the schema checks the first hundred and every hundredth line, which tells all shapes.
"""
import json
import os
import pathlib
import shlex
import shutil
import subprocess
import sys
import tempfile

import jsonschema

VELAHOST = pathlib.Path(sys.argv[1]).resolve()
ROOT = pathlib.Path(sys.argv[2]).resolve()
DATA = ROOT / "tests/data"
TICKS = 16777216
wrong = []


def strict(node):
    """The schema with no room for members that it does not name."""
    if isinstance(node, list):
        return [strict(part) for part in node]
    if not isinstance(node, dict):
        return node
    out = {key: strict(value) for key, value in node.items()}
    if isinstance(node.get("properties"), dict) and "type" in node and "object" in node["type"]:
        out.setdefault("additionalProperties", False)
    return out


SCHEMA = json.loads((ROOT / "docs/velahost.schema.json").read_text())
jsonschema.Draft202012Validator.check_schema(SCHEMA)
VALIDATOR = jsonschema.Draft202012Validator(strict(SCHEMA))


def run(arguments, folder=DATA):
    result = subprocess.run([VELAHOST, *arguments], cwd=folder, capture_output=True, check=False)
    return result.returncode, result.stdout.decode(), result.stderr.decode()


def complain(arguments, what):
    wrong.append(f"velahost {shlex.join(arguments)}: {what}")


def check_times(node):
    """Every pair of seconds and host units says the same."""
    if isinstance(node, list):
        for part in node:
            check_times(part)
    if not isinstance(node, dict):
        return
    for name, value in node.items():
        check_times(value)
        if name.endswith("_ts") and value is not None:
            seconds = node[name[:-3]]
            if abs(int(value) / TICKS - seconds) > max(1e-6, abs(seconds) * 1e-12):
                raise AssertionError(f"{name} {value} is not {seconds} s")


def check_packets(lines):
    """A heading, packets numbered and joined in time, a summary of them; or an error at the end."""
    if lines[-1]["type"] == "error":
        if [line["type"] for line in lines[:-1]] != (["packets"] + ["packet"] * (len(lines) - 2))[:len(lines) - 1]:
            raise AssertionError("lines of the wrong types before the error")
        return
    if lines[0]["type"] != "packets" or lines[-1]["type"] != "summary":
        raise AssertionError("no heading or no summary")
    end = int(lines[0]["from_ts"])
    totals = {"audio": [0, 0, 0], "video": [0, 0, 0]}
    for line in lines[1:-1]:
        total = totals[line["stream"]]
        if line["index"] != total[0]:
            raise AssertionError(f"{line['stream']} packet {line['index']} is number {total[0]}")
        total[0] += 1
        total[1] += line["size"]
        if line["stream"] == "audio":
            total[2] += line["frames"]
            if int(line["time_ts"]) != end:
                raise AssertionError(f"audio packet {line['index']} does not begin where the last one ended")
            end += int(line["duration_ts"])
    for stream, total in totals.items():
        said = lines[-1][stream]
        if (said is None) != (lines[0][stream] is None):
            raise AssertionError(f"heading and summary differ on whether there is {stream}")
        if said and [said["packets"], said["bytes"], said.get("frames", 0)] != total:
            raise AssertionError(f"the summary of {stream} is wrong")


def check(*arguments):
    arguments = [str(argument) for argument in arguments] + ["--json"]
    status, out, err = run(arguments)
    try:
        is_list = "packets" in arguments
        documents = [json.loads(line) for line in out.splitlines()] if is_list else [json.loads(out)]
        for i, document in enumerate(documents):
            if i < 100 or i % 100 == 0 or i == len(documents) - 1:
                VALIDATOR.validate(document)
            check_times(document)
        if is_list and "--summary" not in arguments:
            check_packets(documents)
        elif len(documents) != 1:
            raise AssertionError("more than one document")
        error = documents[-1].get("error")
        if (error["code"] if error else 0) != status:
            raise AssertionError(f"the error {error} does not go with status {status}")
        if error and error["message"] not in err:
            raise AssertionError("the error's sentence is not on standard error")
    except (AssertionError, KeyError, ValueError, IndexError) as problem:
        complain(arguments, problem)
    except jsonschema.ValidationError as problem:
        complain(arguments, jsonschema.exceptions.best_match([problem]).message)


def check_extract(path):
    with tempfile.TemporaryDirectory() as folder:
        outputs = {"audio": f"{folder}/audio", "video": f"{folder}/video"}
        for streams in (["audio"], ["video"], ["audio", "video"]):
            check("extract", path, "--force", *(word for s in streams for word in (f"--{s}", outputs[s])))
        for form in ("mp4", "adts", "mp3"):
            check("extract", path, "--force", "--output", f"{folder}/playable", "--item", "1", "--format", form)


def check_media(folder):
    for path in sorted(folder.iterdir()):
        if not path.is_file() or path.suffix in {".txt", ".tsv", ".md", ".sh"}:
            continue
        check("info", path)
        check("packets", path)
        check("packets", path, "--summary")
        check("packets", path, "--item", "1", "--from", "0:00.5", "--stream", "audio")
        for to in ("0", "0:01.5", "1000:00:00"):
            check("seek", path, "--to", to)
        check("seek", path, "--item", "1", "--to", "0")
        check_extract(path)


def check_failures():
    check()
    check("play", "sample.mp4")
    check("info")
    check("info", "sample.mp4", "--cover", "x")
    check("info", "nothing-here.mp4")
    check("info", "golden")
    check("info", "README.md")
    check("info", "sample.mp4", "--plugin", "/no/such/library.so")
    check("packets", "sample.mp4", "--item", "99")
    check("packets", "sample.mp4", "--from", "1:99")
    check("packets", "sample.mp4", "--stream", "subtitles")
    check("packets", "h264-only.mp4", "--stream", "audio")
    check("seek", "sample.mp4")
    check("extract", "sample.mp4")
    check("extract", "sample.mp4", "--output", "-")
    check("extract", "sample.mp4", "--output", "/dev/null", "--force")
    check("extract", "sample.mp4", "--item", "9", "--output", "/dev/null")
    check("extract", "sample.mp4", "--audio", "no such folder/out")


def check_examples(folder):
    """Every example of docs/json.md prints what it shows. A line of "…" stands for any lines."""
    text = (ROOT / "docs/json.md").read_text()
    blocks = [block.split("```")[0] for block in text.split("```console\n")[1:]]
    if len(blocks) < 5:
        wrong.append("docs/json.md: examples are missing")
    for block in blocks:
        command, _, shown = block.partition("\n")
        words = shlex.split(command)
        if words[:2] != ["$", "velahost"]:
            wrong.append(f"docs/json.md: {command}: not a command line of velahost")
            continue
        rest = run(words[2:], folder)[1].splitlines()
        parts = (shown.strip("\n") + "\n").split("…\n")
        for number, part in enumerate(parts):
            lines = part.splitlines()
            places = range(len(rest)) if number else range(1)
            start = next((i for i in places if rest[i:i + len(lines)] == lines), 0 if not lines else None)
            if start is None:
                wrong.append(f"docs/json.md: {command} does not print\n{part}")
                break
            rest = rest[start + len(lines):]
        if parts[-1] and rest:
            wrong.append(f"docs/json.md: {command} prints more than is shown")


check_failures()
with tempfile.TemporaryDirectory() as scratch:  # examples may write files
    for media in DATA.glob("*.m[p4][4a]"):
        shutil.copy(media, scratch)
    check_examples(scratch)
check_media(DATA)
if os.environ.get("VELA_CORPUS"):
    check_media(ROOT / os.environ["VELA_CORPUS"])
for line in wrong:
    print(line)
sys.exit(1 if wrong else 0)
