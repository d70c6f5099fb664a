#!/usr/bin/env python3
"""Holds the page of a program to what the program prints for --help, in both directions.

Usage: tool_pages.py PAGE PROGRAM [PAGE_OF_FAULT_MODES]

Each command of the program has an entry in SYNOPSIS, with exactly the options and arguments of its
help. Each option is described once, under the command's own heading or under one that several
commands share, with the same argument and the same default. Limits and environment agree, too. The
other page has a list of all fault modes.
"""
import re
import subprocess
import sys

SHARED = {"Common options", "FAULT MODES"}
GLOBAL = {"--help", "--version"}
# What a page is made of, and no word of its text.
MACROS = {"Ar", "Cm", "Dq", "Ev", "Fl", "It", "Nm", "Op", "Pa", "Ql", "Xr"}
WORD_ARGUMENTS = {"mode", "sink", "table,...", "role"}
failures = []


def expect(is_so, what):
    if not is_so:
        failures.append(what)


def expect_same(page, program, what):
    expect(page == program, f"{what}: the page has {page}, --help has {program}")


def expect_names(page, program, what):
    for name in sorted(set(page) - set(program)):
        expect(False, f"{what}: {name} is in the page and not in --help")
    for name in sorted(set(program) - set(page)):
        expect(False, f"{what}: {name} is in --help and not in the page")


# What --help says ---------------------------------------------------------------------------------


class Option:
    def __init__(self, argument, required, text):
        self.argument = argument.lower()
        self.required = required
        self.text = text

    def defaults(self):
        return re.findall(r"(?:default:? |default is )(\d+|all of it)", self.text, re.IGNORECASE)

    def words(self):
        """The words that the option takes, if its text has a list of them: twice, never or once."""
        plain = re.sub(r" *\([^)]*\)", "", self.text)
        found = re.search(r"[a-z:A-Z]+(?:, [a-z]+)+(?: or [a-z]+)?", plain)
        is_list = found and self.argument in WORD_ARGUMENTS
        return set(re.findall(r"[a-z]{3,}", found[0])) if is_list else set()


class Command:
    """One command as its help has it: options and arguments by name, and commands in it."""

    def __init__(self, program, words):
        command = [program, *words, "--help"]
        help_text = subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout
        self.words = words
        self.options = {}
        self.positionals = {}
        self.help = help_text
        names = []
        group = ""
        entry = None
        for line in help_text.splitlines():
            heading = re.fullmatch(r"(\S[^:]*):", line)
            found = re.fullmatch(r"  (?:-h,)?([a-zA-Z-][\w-]*)((?: \S+)*?)(?: {2,}(\S.*))?", line)
            if heading or not line.strip():
                group = heading[1] if heading else group if "Fault" in group else ""
                entry = None
            elif group == "Subcommands" and found:
                names.append(found[1])
            elif group in ("Options", "Positionals", "Fault modes, for testing clients") and found:
                entry = self.add(*found.groups())
            elif entry and line.startswith(" " * 10):
                entry.text += " " + line.strip()
        usage = re.search(r"^Usage: (.*)$", help_text, re.MULTILINE)[1]
        before = r"^\S+( [a-z0-9-]+)*( \[OPTIONS\])?( SUBCOMMAND)?"
        self.usage = re.sub(before, "", usage).strip().lower()
        self.commands = [Command(program, [*words, name]) for name in names]

    def add(self, name, rest, text):
        required = "REQUIRED" in rest
        argument = re.sub(r" (REQUIRED|Excludes: \S+)", "", rest).strip()
        entry = Option(argument, required, text or "")
        (self.options if name.startswith("--") else self.positionals)[name] = entry
        return entry

    def leaves(self):
        return [leaf for one in self.commands for leaf in one.leaves()] or [self]


# What the page says -------------------------------------------------------------------------------


def text_of(lines):
    """The words of some lines of mdoc source, without its macros, on one line."""
    words = []
    for line in lines:
        if not line.startswith("."):
            words.append(line.replace(r"\&", ""))
            continue
        names = line[1:].split()
        glue = False
        for i, word in enumerate(names):
            if word == "Ns":
                glue = True
            elif word in MACROS or (i == 0 and word not in MACROS):
                continue
            else:
                word = "-" + word if i > 0 and names[i - 1] == "Fl" else word
                join = glue or (words and re.fullmatch(r"[,.;:)]", word))
                words[-1:] = [words[-1] + word] if join and words else [*words[-1:], word]
                glue = False
    return " ".join(" ".join(words).split())


def sections_of(lines, macro):
    """The lines after each heading of this kind, by its text."""
    found = {}
    name = ""
    for line in lines:
        if line.startswith(macro + " "):
            name = line[len(macro) + 1 :].strip()
        found.setdefault(name, []).append(line)
    return {name: lines[1:] for name, lines in found.items() if name}


def items_of(lines):
    """The items of the outermost lists: their heads and the lines after them."""
    items = []
    depth = 0
    for line in lines:
        depth += line.startswith(".Bl") - line.startswith(".El")
        if line.startswith(".It") and depth == 1:
            items.append((line[4:], []))
        elif items and depth >= 1:
            items[-1][1].append(line)
    return items


def option_in(text):
    """The name and argument in "Fl -run-dir Ar dir"; None where that is no option."""
    found = re.fullmatch(r"(?:Fl h , )?Fl -(\S+)((?: (?:Ar )?\S+)*)", text)
    return found and ("--" + found[1], found[2].replace(" Ar ", " ").strip())


class Entry:
    """One command in SYNOPSIS."""

    def __init__(self, lines, fault_modes):
        self.words = []
        self.options = {}
        self.positionals = []
        for line in lines:
            optional = line.startswith(".Op ")
            for part in re.sub(r"^\.(Op )?", "", line).split(" | "):
                option = option_in(part)
                if part.startswith("Cm "):
                    self.words = part.split()[1:]
                elif part == "Ar fault-mode ...":
                    self.options.update({name: (argument, True) for name, argument in fault_modes})
                elif option:
                    self.options[option[0]] = (option[1], optional)
                elif part.startswith("Ar "):
                    name = part[3:].replace(" ...", "...")
                    self.positionals.append(f"[{name}]" if optional else name)


def read_options(lines):
    return {option_in(head): text_of(body) for head, body in items_of(lines) if option_in(head)}


class Page:
    def __init__(self, path):
        with open(path, encoding="ascii") as file:
            self.sections = sections_of(file.read().splitlines(), ".Sh")
        self.described = {
            name: read_options(lines)
            for name, lines in {
                **sections_of(self.sections["DESCRIPTION"], ".Ss"),
                "FAULT MODES": self.sections.get("FAULT MODES", []),
            }.items()
        }
        synopses = "\n".join(self.sections["SYNOPSIS"]).split(".Nm\n")[1:]
        made = [Entry(one.splitlines(), list(self.described["FAULT MODES"])) for one in synopses]
        self.entries = {" ".join(one.words): one for one in made if one.words}


# What must agree ----------------------------------------------------------------------------------


def check_command(page, command):
    name = " ".join(command.words)
    entry = page.entries[name]
    options = {key: one for key, one in command.options.items() if key not in GLOBAL}
    expect_names(entry.options, options, f"SYNOPSIS, {name}")
    expect_same(" ".join(entry.positionals), command.usage, f"SYNOPSIS, {name}, arguments")
    for option in entry.options.keys() & options.keys():
        program = options[option]
        argument, optional = entry.options[option]
        expect_same(argument.replace(" ...", "..."), program.argument, f"SYNOPSIS, {name} {option}")
        expect_same(not optional, program.required, f"SYNOPSIS, {name} {option}, required")
        places = [
            (heading, text)
            for heading in {name, *SHARED}
            for (key, of_page), text in page.described.get(heading, {}).items()
            if key == option and of_page == argument
        ]
        expect(len(places) == 1, f"{name} {option} {argument}: described {len(places)} times")
        for heading, text in places:
            described = Option(argument, program.required, text)
            expect_same(described.defaults(), program.defaults(), f"{heading}, {option}, default")
            for word in program.words():
                has_word = re.search(rf"\b{word}\b", text)
                expect(has_word, f"{heading}, {option}: the word {word} is missing")
    for option, argument in page.described.get(name, {}):
        expect(option in options, f"{name}: {option} is described, but not an option of it")


def check(page, program):
    top = Command(program, [])
    leaves = {" ".join(leaf.words): leaf for leaf in top.leaves()}
    expect(len(leaves) > 1, "--help lists no commands")
    expect_names(page.entries, leaves, "SYNOPSIS")
    expect_names(set(page.described) - SHARED, leaves, "the headings of DESCRIPTION")
    for name in page.entries.keys() & leaves.keys():
        check_command(page, leaves[name])
    used = {("--version", "")}
    for leaf in leaves.values():
        used.update((option, one.argument) for option, one in leaf.options.items())
    for heading in SHARED:
        for option, argument in page.described.get(heading, {}):
            is_used = (option, argument) in used
            expect(is_used, f"{heading}: {option} {argument} is not an option of any command")
    if "run" in leaves:
        check_run(page, leaves["run"].help)
    if "SNAPSHOTS" in page.sections:
        of_page = [head.replace("Pa ", "") for head, _ in items_of(page.sections["SNAPSHOTS"])]
        text = leaves["send"].positionals["SNAPSHOT"].text
        expect_names(of_page, re.findall(r"\w+\.json", text), "SNAPSHOTS")


def check_run(page, text):
    """The limits and the environment that the help of `vellsim run` lists."""
    lines = text.splitlines()
    limits = lines[lines.index("Limits:") + 1 :]
    limits = " ".join(limits[: limits.index("")]).replace("`", "")
    items = items_of(page.sections["LIMITS"])
    of_page = " ".join(f"{head} {text_of(body)}" for head, body in items)
    expect_same(of_page, " ".join(limits.split()), "LIMITS")
    environment = re.findall(r"^  ([A-Z_]+)  |\$([A-Z_]+)", text, re.MULTILINE)
    environment = {listed or mentioned for listed, mentioned in environment}
    of_page = [head.replace("Ev ", "") for head, _ in items_of(page.sections["ENVIRONMENT"])]
    expect_names(of_page, environment, "ENVIRONMENT")


def check_fault_modes(page, path):
    with open(path, encoding="ascii") as file:
        text = sections_of(file.read().splitlines(), ".Ss")["Making the switch misbehave"]
    of_page = re.findall(r"Fl (-[\w-]+)", " ".join(head for head, _ in items_of(text)))
    modes = [option[1:] for option, _ in page.described["FAULT MODES"]]
    expect_names(of_page, modes, f"{path}, fault modes")


check(Page(sys.argv[1]), sys.argv[2])
for other in sys.argv[3:]:
    check_fault_modes(Page(sys.argv[1]), other)
for failure in failures:
    print(f"{sys.argv[1]}: {failure}", file=sys.stderr)
sys.exit(1 if failures else 0)
