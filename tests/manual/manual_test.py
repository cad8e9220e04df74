#!/usr/bin/env python3
"""Man page and completions as a shell uses them. Usage: manual_test.py PROGRAM MANUAL_FOLDER

What is expected is read from the program's --help, command by command.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

PROGRAM = pathlib.Path(sys.argv[1]).resolve()
FOLDER = pathlib.Path(sys.argv[2]).resolve()
HERE = pathlib.Path(__file__).resolve().parent
NAME = PROGRAM.stem


def run(*command, **more):
    return subprocess.run([str(part) for part in command], capture_output=True, text=True, check=False, **more)


def help_of(*arguments):
    return run(PROGRAM, *arguments, "--help").stdout


def commands():
    listed = help_of().partition("\nSubcommands:\n")[2].partition("\n\n")[0]
    return re.findall(r"^  (\w+) ", listed, re.M)


def options(text):
    return re.findall(r"^  (?:-\w,)?(--[\w-]+)", text, re.M)


class ManPage(unittest.TestCase):
    def setUp(self):
        page = tempfile.TemporaryDirectory()
        self.addCleanup(page.cleanup)
        section = pathlib.Path(page.name) / "man1"
        section.mkdir()
        shutil.copy(FOLDER / f"{NAME}.1.gz", section)
        # As `man NAME` finds it where it is installed.
        self.shown = run("man", "--warnings", "-E", "ascii", NAME,
                         env={**os.environ, "MANPATH": page.name, "MANWIDTH": "500", "LC_ALL": "C.UTF-8",
                              "MANROFFOPT": "-rHY=0", "MAN_KEEP_FORMATTING": ""})

    def test_is_shown_without_a_warning(self):
        self.assertEqual((self.shown.returncode, self.shown.stderr), (0, ""))
        self.assertRegex(self.shown.stdout, f"NAME\n +{NAME} +- ")

    def test_has_every_command_and_option_and_word_of_the_help(self):
        found = commands()
        self.assertTrue(found)
        words = re.sub(r"\s+", " ", self.shown.stdout)
        for command in found:
            text = help_of(command)
            self.assertIn(f"{NAME} {command} ", words)
            for option in options(text):
                self.assertRegex(self.shown.stdout, f"(?m)^ +(-\\w, )?{option}\\b", command)
            for line in text.splitlines():
                if line and not line.startswith((" ", "Usage:", "Positionals:", "Options:", "Exit status:")):
                    if not line.endswith(":"):
                        self.assertIn(re.sub(r"\s+", " ", line.strip()), words)

    def test_lists_every_exit_status(self):
        section = self.shown.stdout.partition("EXIT STATUS\n")[2]
        statuses = re.findall(r"^  (\d+) ", help_of(), re.M)
        self.assertGreater(len(statuses), 3)
        for status in statuses:
            self.assertRegex(section, f"(?m)^ +{status} ")


class Bash(unittest.TestCase):
    def complete(self, *words):
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / "two words.mp4").touch()
            (pathlib.Path(folder) / "sub").mkdir()
            done = run("bash", "--norc", HERE / "complete.bash", FOLDER / f"{NAME}.bash", NAME, *words, cwd=folder)
        self.assertEqual(done.stderr, "")
        return done.stdout.splitlines()

    def test_offers_the_commands(self):
        self.assertEqual([w for w in self.complete("") if not w.startswith("-")], commands())

    def test_offers_every_option_of_a_command(self):
        for command in commands():
            self.assertLessEqual(set(options(help_of(command))), set(self.complete(command, "--")))

    def test_offers_files_by_their_whole_names(self):
        self.assertEqual(self.complete(commands()[0], "tw"), ["two words.mp4"])


class Zsh(unittest.TestCase):
    def complete(self, line):
        with tempfile.TemporaryDirectory() as folder:
            shutil.copy(FOLDER / f"_{NAME}", folder)
            done = run("zsh", "-f", HERE / "complete.zsh", folder, line, timeout=60, cwd=folder,
                       env={**os.environ, "HOME": folder, "TERM": "dumb", "LC_ALL": "C.UTF-8"})
        return done.stdout

    def test_is_valid(self):
        self.assertEqual(run("zsh", "-fn", FOLDER / f"_{NAME}").stderr, "")

    def test_offers_the_commands_with_their_sentences(self):
        shown = self.complete(NAME + " ")
        for command in commands():
            self.assertRegex(shown, f"(?m)^\\W*{command} +-- ")

    def test_offers_the_options_of_a_command(self):
        for command in commands():
            shown = self.complete(f"{NAME} {command} --")
            for option in options(help_of(command)):
                self.assertRegex(shown, f"{option}\\b", f"{command}: {shown}")


if __name__ == "__main__":
    for tool in ("man", "zsh"):
        if not shutil.which(tool):
            print(f"skipped: {tool} is not installed")
            sys.exit(0)
    unittest.main(argv=sys.argv[:1])
