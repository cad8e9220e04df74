#!/usr/bin/env python3
"""Runs clang-tidy 14 over the plug-in's sources, on all processors. Usage: tidy.py BUILD_FOLDER

Any warning fails. A source that was found clean is not looked at again until it, a header of the
plug-in, the checks or its command change; what is known is kept in BUILD_FOLDER/tidy.
"""
import concurrent.futures
import hashlib
import json
import os
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
FOLDERS = ("frontend", "hal", "atomkit", "platform")
TIDY = "clang-tidy-14"


def sources(build):
    """Path and compiler command of every source of the plug-in, each once."""
    commands = json.loads((build / "compile_commands.json").read_text())
    found = {}
    for entry in commands:
        path = pathlib.Path(entry["directory"], entry["file"]).resolve()
        if any(path.is_relative_to(ROOT / folder) for folder in FOLDERS):
            found.setdefault(path, entry["command"])
    return found


def shared_state():
    """A digest of what every source depends on."""
    digest = hashlib.sha256()
    headers = sorted(path for folder in FOLDERS for path in (ROOT / folder).rglob("*.h"))
    for path in [ROOT / ".clang-tidy", *headers]:
        digest.update(path.as_posix().encode() + path.read_bytes())
    return digest.hexdigest()


def write_commands(build, known):
    """The commands of the build, less the options that clang doesn't know."""
    text = (build / "compile_commands.json").read_text()
    (known / "compile_commands.json").write_text(text.replace("-mstringop-strategy=libcall ", ""))


def check(path, known, mark):
    """What clang-tidy says about one source; nothing when it is known to be clean."""
    if mark.exists():
        return ""
    result = subprocess.run([TIDY, "-p", str(known), "--quiet", "--warnings-as-errors=*", str(path)],
                            capture_output=True, text=True, check=False)
    if result.returncode == 0 and not result.stdout.strip():
        mark.touch()
        return ""
    return result.stdout or result.stderr


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    known = build / "tidy"
    known.mkdir(exist_ok=True)
    write_commands(build, known)
    shared = shared_state()
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        jobs = {}
        for path, command in sorted(sources(build).items()):
            key = hashlib.sha256((shared + command).encode() + path.read_bytes()).hexdigest()
            jobs[pool.submit(check, path, known, known / key)] = path
        for job in concurrent.futures.as_completed(jobs):
            if job.result():
                failed += 1
                print(f"{jobs[job].relative_to(ROOT)}:\n{job.result()}")
    print(f"{len(jobs)} sources, {failed} with warnings")
    return 1 if failed or not jobs else 0


if __name__ == "__main__":
    sys.exit(main())
