#!/usr/bin/env python3
"""Makes the man page and the completions of a program from what its --help prints.

Usage: manual.py PROGRAM VERSION FOLDER

Writes NAME.1, NAME.1.gz, NAME.bash and _NAME (zsh). The help of the program and of each of its
commands is the one source, so a new command or option appears by itself. How completion goes on
after an option follows from its argument's name: FILE, PATH and OUT are files, FOLDER is a folder;
words that its description lists first ("audio, video or both") are offered.
"""
import gzip
import pathlib
import re
import subprocess
import sys

WORDS = re.compile(r"([a-z0-9]+(?:, [a-z0-9]+)* or [a-z0-9]+)\b")


class Entry:
    """An option, an argument or a command, with what is said of it."""

    def __init__(self, name, text):
        self.title, self.text = name, text
        names = name.split(" ")[0].split(",")
        self.names = [n for n in names if n.startswith("-")]
        rest = name.split(" ")[1:]
        self.value = rest[0] if rest else ""

    def long_name(self):
        return self.names[-1]

    def words(self):
        found = WORDS.match(self.text)
        return re.split(r", | or ", found[1]) if found and self.value else []


class Help:
    """The help of a program or of a command, taken apart."""

    def __init__(self, program, arguments):
        done = subprocess.run([program, *arguments, "--help"], capture_output=True, text=True, check=True)
        self.about, self.usage, self.lists, self.paragraphs = [], "", {}, []
        column = len(re.search(r"^  -h,--help +", done.stdout, re.M)[0])
        for block in re.split(r"\n\s*\n", done.stdout.rstrip("\n")):
            lines = block.splitlines()
            if any(line.startswith("Usage: ") for line in lines):
                at = next(i for i, line in enumerate(lines) if line.startswith("Usage: "))
                self.about += lines[:at]
                self.usage = lines[at].removeprefix("Usage: ")
            elif lines[0] in ("Positionals:", "Options:", "Subcommands:"):
                self.lists[lines[0]] = self.entries(lines[1:], column)
            elif self.usage:
                self.paragraphs.append(lines)
            else:
                self.about += lines

    @staticmethod
    def entries(lines, column):
        found = []
        for line in lines:
            if re.match(r"  \S", line):
                name, text = line[2:column].rstrip(), line[column:]
                if len(line) > column and line[column - 1] != " ":  # too long for its column
                    name, text = line[2:], ""
                found.append([name, text.strip()])
            elif line.strip():
                found[-1][1] = (found[-1][1] + " " + line.strip()).strip()
        return [Entry(*entry) for entry in found]

    def list(self, title):
        return self.lists.get(title + ":", [])


class Program:
    def __init__(self, path, version):
        self.name, self.version = pathlib.Path(path).stem, version
        self.help = Help(path, [])
        self.commands = {entry.title: Help(path, [entry.title]) for entry in self.help.list("Subcommands")}


# ---- man page

def roff(text):
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return "\\&" + text if text.startswith((".", "'")) else text


def roff_entries(entries):
    out = []
    for entry in entries:
        title = roff(entry.title.replace(" REQUIRED", "").replace(",", ", "))
        out += [".TP", f"\\fB{title}\\fR", roff(entry.text)]
    return out


def roff_paragraph(lines):
    """Running text is filled; lines that begin with blanks, and those after them, stay as they are."""
    if any(line.startswith(" ") for line in lines):
        return [".PP", ".nf", *(roff(line) for line in lines), ".fi"]
    if lines[0].endswith(":") and len(lines) > 1:  # a heading
        return [".PP", f"\\fB{roff(lines[0])}\\fR", ".br", *(roff(line) for line in lines[1:])]
    return [".PP", *(roff(line) for line in lines)]


def is_section(lines):
    return re.fullmatch(r"[A-Z][a-z ]+:", lines[0]) and len(lines) > 1


def man_page(program):
    about = " ".join(program.help.about)
    short = about.split(". ")[0].rstrip(".").removeprefix(program.name + " ")
    out = [f'.TH {program.name.upper()} 1 "" "vela_splitter_mp4 {program.version}" "User Commands"',
           ".SH NAME", f"{program.name} \\- {roff(short)}", ".SH SYNOPSIS"]
    usages = [program.help.usage] if not program.commands else []
    for usage in usages + [command.usage for command in program.commands.values()]:
        first, _, rest = usage.partition(" ")
        out += [f"\\fB{roff(first)}\\fR {roff(rest)}", ".br"]
    out += [".SH DESCRIPTION", roff(about), ".SH OPTIONS", *roff_entries(program.help.list("Options"))]
    shared = program.help.paragraphs
    if program.commands:
        out.append(".SH COMMANDS")
    for name, command in program.commands.items():
        out += [f".SS {roff(name)}", roff(" ".join(command.about))]
        options = [e for e in command.list("Options") if "--help" not in e.names]
        out += roff_entries(command.list("Positionals") + options)
        for lines in command.paragraphs:
            if lines not in shared:
                out += roff_paragraph(lines)
    for lines in shared:
        if is_section(lines):
            out += [f".SH {lines[0][:-1].upper()}"]
            lines = lines[1:]
            while lines and lines[0].startswith("  "):
                term, _, text = lines.pop(0).strip().partition("  ")
                while lines and lines[0].startswith("      "):
                    text += " " + lines.pop(0).strip()
                out += [".TP", f"\\fB{roff(term)}\\fR", roff(text.strip())]
            if lines:
                out += [".PP", *(roff(line) for line in lines)]
        else:
            out += roff_paragraph(lines)
    others = [name for name in ("velahost", "velainspect") if name != program.name]
    out += [".SH SEE ALSO", ", ".join(f"\\fB{name}\\fR(1)" for name in others)]
    return "\n".join(out) + "\n"


# ---- completions

def kind_of(value):
    if value in ("FILE", "PATH", "OUT"):
        return "files"
    return "folders" if value == "FOLDER" else ""


def takes_files(command):
    return any(kind_of(e.title.split(" ")[0].rstrip(".")) for e in command.list("Positionals"))


def bash(program):
    """For bash alone; the package bash-completion loads it by the program's name."""
    function = "_" + program.name
    valued, cases = {}, []
    top = program.help.list("Options")
    for command in [program.help, *program.commands.values()]:
        for entry in command.list("Options"):
            if entry.value:
                for option in entry.names:
                    valued[option] = entry
    for name, command in program.commands.items():
        options = {e.long_name(): None for e in command.list("Options") + top if e.long_name() != "--version"}
        cases.append(f'    {name}) options="{" ".join(options)}" ;;')
    answers = []
    for option, entry in valued.items():
        if entry.words():
            answer = f'COMPREPLY=($(compgen -W "{" ".join(entry.words())}" -- "$current"))'
        elif kind_of(entry.value):
            flag = "-d" if kind_of(entry.value) == "folders" else "-f"
            answer = f'COMPREPLY=($(compgen {flag} -- "$current"))'
        else:
            answer = "COMPREPLY=()"
        answers.append(f"    {option}) {answer}; return ;;")
    first = " ".join([*program.commands, *(e.long_name() for e in top)])
    files = "|".join(name for name, command in program.commands.items() if takes_files(command)) or "-"
    return "\n".join([
        f"# bash completion for {program.name}",
        f"{function}() {{",
        '  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} command="" options="" i',
        "  local IFS=$' \\t\\n'",
        "  for ((i = 1; i < COMP_CWORD; i++)); do",
        '    case "${COMP_WORDS[i]}" in',
        f"      {'|'.join(program.commands) or '-'}) command=${{COMP_WORDS[i]}}; break ;;",
        "    esac",
        "  done",
        '  case "$previous" in',
        *answers,
        "  esac",
        '  case "$command" in',
        *cases,
        f'    *) options="{first}" ;;',
        "  esac",
        "  local IFS=$'\\n'",
        f'  if [[ $current != -* && $command == @({files}) ]]; then',
        '    COMPREPLY=($(compgen -f -- "$current"))',
        "  else",
        "    COMPREPLY=($(compgen -W \"${options// /$'\\n'}\" -- \"$current\"))",
        "  fi",
        "}",
        f"complete -o filenames -F {function} {program.name}", ""])


def zsh_text(text):
    return re.sub(r"([\[\]:\\'])", lambda m: {"'": "'\\''"}.get(m[1], "\\" + m[1]), text)


def zsh_option(entry):
    spec = f"[{zsh_text(entry.text)}]"
    if entry.value:
        action = {"files": "_files", "folders": "_files -/"}.get(kind_of(entry.value), " ")
        if entry.words():
            action = f"({' '.join(entry.words())})"
        spec += f":{entry.value}:{action}"
    return [f"'{name}{spec}'" for name in entry.names if name.startswith("--")]


def zsh(program):
    function = "_" + program.name
    top = [spec for entry in program.help.list("Options") for spec in zsh_option(entry)]
    out = [f"#compdef {program.name}", f"{function}() {{", "  local context state line", "  local -a commands",
           "  commands=("]
    out += [f"    '{name}:{zsh_text(' '.join(command.about))}'" for name, command in program.commands.items()]
    out += ["  )", "  _arguments -C \\", *(f"    {spec} \\" for spec in top),
            "    '1:command:->command' '*::argument:->argument'",
            "  case $state in",
            f"    command) _describe command commands ;;", "    argument)", "      case $words[1] in"]
    for name, command in program.commands.items():
        specs = [s for e in command.list("Options") for s in zsh_option(e)] + [s for s in top if "--plugin" in s]
        if takes_files(command):
            specs.append("'*:file:_files'")
        out += [f"        {name})", "          _arguments \\", *(f"            {s} \\" for s in specs[:-1]),
                f"            {specs[-1]}", "          ;;"]
    out += ["      esac", "      ;;", "  esac", "}", f'{function} "$@"', ""]
    return "\n".join(out)


def main(path, version, folder):
    program = Program(path, version)
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    page = man_page(program)
    (folder / f"{program.name}.1").write_text(page)
    (folder / f"{program.name}.1.gz").write_bytes(gzip.compress(page.encode(), 9, mtime=0))
    (folder / f"{program.name}.bash").write_text(bash(program))
    (folder / f"_{program.name}").write_text(zsh(program))


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    main(*sys.argv[1:])
