#!/usr/bin/env python3
"""Reads the JUnit files that ctest writes.

    test_report.py counts FILE      prints "PASSED FAILED SKIPPED"
    test_report.py failures FILE    prints the names of the tests that failed
    test_report.py corpus FILE ...  fails when a test over the corpus was skipped, or none was run
"""
import sys
import xml.etree.ElementTree as ElementTree

# What a test says that is skipped for want of a corpus (tests/programs/media.h).
NO_CORPUS = "VELA_CORPUS is not set"


def cases(file):
    return ElementTree.parse(file).getroot().iter("testcase")


def counts(file):
    found = {"run": 0, "fail": 0}
    skipped = 0
    for case in cases(file):
        status = case.get("status")
        if status in found:
            found[status] += 1
        else:
            skipped += 1  # "notrun" and "disabled"
    return found["run"], found["fail"], skipped


def failures(file):
    return [case.get("name") for case in cases(file) if case.get("status") == "fail"]


def corpus_problems(files):
    for file in files:
        ran = 0
        for case in cases(file):
            if NO_CORPUS in (case.findtext("system-out") or ""):
                yield f"{file}: {case.get('name')} was skipped without the corpus"
            elif "corpus_" in case.get("name") and case.get("status") == "run":
                ran += 1
        if ran == 0:
            yield f"{file}: no test over the corpus was run"


def main():
    command, *files = sys.argv[1:]
    if command == "counts":
        print(*counts(files[0]))
    elif command == "failures":
        print(*failures(files[0]), sep="\n")
    elif command == "corpus":
        found = list(corpus_problems(files))
        print(*found, sep="\n")
        return 1 if found or not files else 0
    return 0


if __name__ == "__main__":
    sys.exit(main())
