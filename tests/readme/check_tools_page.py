#!/usr/bin/env python3
"""Runs the commands that docs/tools.md quotes and looks for the quoted lines in what they print.
Usage: check_tools_page.py VELAINSPECT VELAHOST PLUGIN ROOT

A line … stands for any number of lines, and … within a line for any text. Commands of tools that are not
installed are left out, and named; without ffmpeg, which makes two of the files, nothing can be run, and the
script ends with 77, which ctest shows as skipped. The words of other tools belong to the versions that the
page names: with another version their lines are not compared.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

SKIPPED = 77
OURS = ("velainspect", "velahost")
VERSIONS = {  # a command that tells the version, and what it says where the page was written
    "ffprobe": (["ffprobe", "-version"], "ffprobe version 5.1."),
    "mediainfo": (["mediainfo", "--version"], "v23.04"),
    "AtomicParsley": (["dpkg-query", "-W", "atomicparsley"], "20210715"),
}


def console_commands(page):
    """Pairs of a command and the lines quoted below it."""
    for block in re.findall(r"^```console\n(.*?)^```", page, re.MULTILINE | re.DOTALL):
        for piece in re.split(r"^\$ ", block, flags=re.MULTILINE)[1:]:
            command, *quoted = piece.rstrip("\n").split("\n")
            yield command, quoted


def pattern(quoted):
    parts = []
    for line in quoted:
        if line == "…":
            parts.append(r"(?:[^\n]*\n)*?")
        else:
            parts.append("[^\n]*".join(re.escape(part) for part in line.split("…")) + r"[ \t]*\n")
    return re.compile("".join(parts))


def is_page_version(tool):
    command, expected = VERSIONS[tool]
    if not shutil.which(tool):
        return False
    said = subprocess.run(command, capture_output=True, text=True, check=False)
    return expected in said.stdout + said.stderr


def main():
    inspector, host, plugin = (pathlib.Path(name).absolute() for name in sys.argv[1:4])
    root = pathlib.Path(sys.argv[4])
    if not shutil.which("ffmpeg"):
        print("skipped: ffmpeg is not installed")
        return SKIPPED
    page = (root / "docs/tools.md").read_text(encoding="utf-8")
    complaints = []
    compared = 0
    left_out = set()
    with tempfile.TemporaryDirectory() as scratch:
        folder = pathlib.Path(scratch)
        programs = folder / "bin"
        programs.mkdir()
        (programs / "velainspect").symlink_to(inspector)
        (programs / "velahost").symlink_to(host)
        environment = {**os.environ, "PATH": f"{programs}:{os.environ['PATH']}", "LC_ALL": "C.UTF-8",
                       "VELA_PLUGIN": str(plugin)}
        files = folder / "files"
        files.mkdir()
        for name in (root / "tests/data").glob("*.m??"):
            if name.suffix in (".mp4", ".m4a"):
                shutil.copy(name, files)
        making = re.search(r"^```sh\n.*?\n(.*?)^```", page, re.MULTILINE | re.DOTALL).group(1)
        subprocess.run(making, shell=True, cwd=files, env=environment, check=True)
        for command, quoted in console_commands(page):
            tool = command.split()[0]
            if tool not in OURS and not (tool == "ffmpeg" or is_page_version(tool)):
                left_out.add(tool)
                continue
            done = subprocess.run(command, shell=True, cwd=files, env=environment, check=False,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
            output = done.stdout.decode("utf-8", "replace").replace("\ufeff", "")
            if output and not output.endswith("\n"):
                output += "\n"
            compared += 1
            if not pattern(quoted).fullmatch(output):
                complaints.append(f"$ {command}\n{output}--- is not what the page quotes\n" + "\n".join(quoted))
    for complaint in complaints:
        print(complaint)
    for tool in sorted(left_out):
        print(f"left out: {tool} is not installed, or not in the version that the page names")
    print(f"{compared} commands compared, {len(complaints)} differ")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
