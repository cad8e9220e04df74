#!/usr/bin/env python3
"""Plants bugs one by one and tells which target notices each, and after how long.

Usage: run_planted.py [NAME ...] [--seconds N] [--write FILE]
       run_planted.py --check      only tells whether every bug still fits the code

Works in a copy of the sources (build/planted), never in the tree itself. For every bug the target
that its file names is built and runs the seeds and the committed inputs, then looks for new ones
for the rest of the time. A bug that it misses gets the same time with the other targets together.
The time is the processor's, without building.
"""
import argparse
import os
import pathlib
import re
import resource
import shutil
import signal
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
COPY = ROOT / "build/planted"
INPUTS = {"file": "file", "host": "host", "tables": "tables", "metadata": "metadata",
          "movie": "file", "lists": "helpers", "streams": "helpers", "text": "helpers"}
# What says that a run ended because something was noticed.
NOTICED = re.compile(r"broken invariant: (.*)|ERROR: (.*)|runtime error: (.*)|(ALARM: .*)")


class Bug:
    def __init__(self, file):
        text = file.read_text()
        match = re.fullmatch(r"(.*)\nfile: (\S+)\ntarget: (\S+)\n<{7}\n(.*?)={7}\n(.*?)>{7}\n",
                             text, re.DOTALL)
        if not match:
            sys.exit(f"{file}: not in the form of a planted bug")
        self.name = file.stem
        self.what, self.file, self.target, old, new = match.groups()
        # Part of a line is written on a line of its own.
        self.old, self.new = old.rstrip("\n"), new.rstrip("\n")

    def misfit(self):
        """Why it can't be planted, or nothing."""
        file = ROOT / self.file
        if not file.is_file():
            return f"{self.name}: there is no {self.file}"
        times = file.read_text().count(self.old)
        return None if times == 1 else f"{self.name}: its text is {times} times in {self.file}"

    def plant(self):
        """Returns the text before, so that it can be put back."""
        file = COPY / self.file
        before = file.read_text()
        file.write_text(before.replace(self.old, self.new))
        return before


def run(command, **more):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors="replace", **more)


def processor_time():
    """Seconds of all programs that this one started and that have ended."""
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def build(targets):
    """Returns what went wrong, or nothing."""
    names = [f"fuzz_{target}" for target in targets]
    done = run(["cmake", "--build", "--preset", "fuzz", "--target", "make_seeds", *names], cwd=COPY)
    return done.stdout if done.returncode else None


def copy_sources():
    COPY.mkdir(parents=True, exist_ok=True)
    names = run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT).stdout.split("\n")
    for name in filter(None, names):
        source, target = ROOT / name, COPY / name
        if not source.is_file():
            continue
        if target.is_file() and target.read_bytes() == source.read_bytes():
            continue
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(source, target)
        shutil.copymode(source, target)
    done = run(["cmake", "--preset", "fuzz"], cwd=COPY)
    if done.returncode:
        sys.exit(done.stdout)


def search(target, seconds, folder):
    """Returns what a target noticed within the time, or nothing."""
    seeds = COPY / "build/fuzz/seeds" / INPUTS[target]
    inputs = [str(path) for path in (seeds, ROOT / "fuzz/corpus" / f"fuzz_{target}") if path.is_dir()]
    program = COPY / f"build/fuzz/fuzz/fuzz_{target}"
    new = folder / target
    new.mkdir(exist_ok=True)
    # The fuzzer knows only the clock's time, of which a busy machine may leave it little.
    options = [f"-artifact_prefix={folder}/", "-max_len=65536", "-timeout=120", "-seed=1",
               f"-dict={COPY}/fuzz/boxes.dict"]
    limit = max(1, int(seconds))
    done = run([program, *options, new, *inputs], cwd=folder,
               preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_CPU, (limit, limit + 5)))
    if done.returncode in (0, -signal.SIGXCPU):
        return None
    match = NOTICED.search(done.stdout)
    if not match:
        return "ended with code %d" % done.returncode
    # What a broken invariant ends with tells less than the invariant.
    return next(filter(None, match.groups())).strip()[:100]


def try_bug(bug, seconds):
    """Returns the target, the time and the sign, or nothing for a bug that was not noticed."""
    folder = COPY / "build/work"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    broken = build([bug.target])
    if broken:
        raise LookupError(f"{bug.name} does not build:\n{broken[-2000:]}")
    start = processor_time()
    sign = search(bug.target, seconds, folder)
    if sign:
        return bug.target, processor_time() - start, sign
    others = [target for target in INPUTS if target != bug.target]
    build(others)
    start = processor_time()
    for target in others:
        sign = search(target, seconds / len(others), folder)
        if sign:
            return target, seconds + processor_time() - start, sign
    return None


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("names", nargs="*", help="bugs to plant; all of them without one")
    parser.add_argument("--seconds", type=float, default=120, help="time for each bug")
    parser.add_argument("--write", type=pathlib.Path, help="file for the table")
    parser.add_argument("--check", action="store_true", help="plant nothing")
    arguments = parser.parse_args()
    bugs = [Bug(file) for file in sorted((ROOT / "fuzz/planted").glob("*.bug"))]
    bugs = [bug for bug in bugs if not arguments.names or bug.name in arguments.names]
    if misfits := [misfit for bug in bugs if (misfit := bug.misfit())]:
        sys.exit("\n".join(misfits))
    if arguments.check:
        print(f"{len(bugs)} bugs fit the code")
        return 0 if bugs else 1
    copy_sources()
    if failure := build(INPUTS):
        sys.exit(failure[-3000:])
    run([COPY / "build/fuzz/fuzz/make_seeds", COPY / "build/fuzz/seeds"])
    for target in INPUTS:
        folder = COPY / "build/work"
        folder.mkdir(exist_ok=True)
        if sign := search(target, 1, folder):
            sys.exit(f"fuzz_{target} notices something without a bug: {sign}")

    rows, noticed = [], 0
    for bug in bugs:
        before = bug.plant()
        try:
            found = try_bug(bug, arguments.seconds)
        finally:
            (COPY / bug.file).write_text(before)
        if found:
            noticed += found[1] <= arguments.seconds
            rows.append(f"{bug.name}\tfuzz_{found[0]}\t{found[1]:.1f}\t{found[2]}\t{bug.what}")
        else:
            rows.append(f"{bug.name}\t-\t-\t-\t{bug.what}")
        print(rows[-1], flush=True)
    print(f"{noticed} of {len(bugs)} noticed within {arguments.seconds:g} s")
    if arguments.write:
        head = "bug\ttarget\tseconds\tnoticed by\twhat was planted"
        arguments.write.write_text("\n".join([head, *rows]) + "\n")
    return 0 if noticed * 10 >= len(bugs) * 9 else 1


if __name__ == "__main__":
    os.nice(10)
    sys.exit(main())
