#!/usr/bin/env python3
"""Runs the command lines of a page in one shell: each succeeds and prints what the page shows.
The functions that it names exist.

Usage: page_examples.py PAGE FOLDER_OF_PROGRAMS SOURCE_FOLDER

A command line is a line of a literal block that begins with "$ ". What is printed is compared but
for white space; "..." is anything. A listing that begins with a comment and a file's name
becomes this file. The shell starts in an empty folder with the samples, and a run directory in it;
for a page that builds something, with an installed tree.
`ip` and `bridge` print the sample day/1 there, so that a page may use them on any machine.
"""
import contextlib
import glob
import os
import re
import signal
import subprocess
import sys
import tempfile

KERNEL = """#!/bin/sh
case "$(basename "$0") $*" in
"ip -j mroute"*) cat samples/day/1/routes.json ;;
"ip -j link"*) cat samples/day/1/links.json ;;
"bridge -j -d mdb"*) cat samples/day/1/mdb.json ;;
"bridge -j -d link"*) cat samples/day/1/ports.json ;;
"bridge -j vlan"*) cat samples/day/1/vlans.json ;;
*) echo "$0: unexpected arguments $*" >&2; exit 1 ;;
esac
"""


def fail(what):
    sys.exit(f"{page}: {what}")


def literal_blocks(path):
    with open(path, encoding="ascii") as file:
        text = file.read()
    for block in re.findall(r"^\.Bd -literal.*?\n(.*?)^\.Ed$", text, re.DOTALL | re.MULTILINE):
        yield block.replace(r"\&", "").replace(r"\e", "\\").replace(r"\-", "-")


def read_page(path):
    """The listings by file name, and the commands, each with what it should print."""
    listings = {}
    commands = []
    for block in literal_blocks(path):
        listing = re.match(r"(?:/\*|#) ([\w-]+\.(?:c|sh))\b", block)
        if listing:
            listings[listing[1]] = block
        elif block.startswith("$ "):
            for part in re.split(r"^\$ ", block, flags=re.MULTILINE)[1:]:
                lines = part.splitlines()
                commands.append((lines[0], "\n".join(lines[1:])))
    return listings, commands


def check_functions(path):
    """Every function that the page names is declared in a header."""
    headers = ""
    for header in glob.glob(source + "/include/*.h") + glob.glob(source + "/sim/*/*.h"):
        with open(header, encoding="ascii") as file:
            headers += file.read()
    with open(path, encoding="ascii") as file:
        for name in re.findall(r"^\.Fn (\w+)", file.read(), re.MULTILINE):
            if not re.search(rf"\b{name}\(", headers):
                fail(f"no header declares {name}")


def matches(shown, printed):
    words = [re.escape(" ".join(piece.split())) for piece in shown.split("...")]
    return re.fullmatch(r"\s*" + r"[\s\S]*".join(words).replace(r"\ ", r"\s+") + r"\s*", printed)


def run(commands, folder):
    """What each command prints, and its exit code."""
    lines = [f"{command}\nprintf '\\n@@%s\\n' $?\n" for command, _ in commands]
    environment = {
        **os.environ,
        "HOME": folder,
        "VELLSIM_RUN_DIR": folder + "/run",
        "PATH": ":".join([folder + "/bin", programs, os.environ["PATH"]]),
    }
    if any("pkg-config" in command for command, _ in commands):
        prefix = folder + "/prefix"
        install = ["cmake", "--install", programs, "--prefix", prefix]
        subprocess.run(install, check=True, stdout=subprocess.DEVNULL)
        environment["PATH"] = ":".join([prefix + "/bin", os.environ["PATH"]])
        (package,) = glob.glob(prefix + "/lib/**/vell.pc", recursive=True)
        environment["PKG_CONFIG_PATH"] = os.path.dirname(package)
    with open(folder + "/printed", "w+", encoding="utf-8", errors="replace") as printed:
        shell = subprocess.Popen(
            ["bash", "-c", "".join(lines)],
            cwd=folder,
            env=environment,
            stdin=subprocess.DEVNULL,
            stdout=printed,
            stderr=printed,
            start_new_session=True,
        )
        try:
            shell.wait(timeout=100)
        finally:
            # What a failed page leaves: programs in the background, and switches.
            with contextlib.suppress(ProcessLookupError):
                os.killpg(shell.pid, signal.SIGKILL)
            for socket in glob.glob(folder + "/*/vell.sock"):
                stop = ["vellsim", "stop", "--run-dir", os.path.dirname(socket)]
                subprocess.run(stop, env=environment, stderr=subprocess.DEVNULL, check=False)
        printed.seek(0)
        return re.findall(r"([\s\S]*?)\n@@(\d+)\n", printed.read())


def gdb_works():
    """Some containers let no process trace another."""
    tried = subprocess.run(["gdb", "-q", "-batch", "-ex", "run", "/bin/true"],
                           capture_output=True, text=True, check=False)
    return "exited normally" in tried.stdout


def check(folder):
    os.mkdir(folder + "/bin")
    os.symlink(source + "/samples", folder + "/samples")
    for name in ("ip", "bridge"):
        with open(f"{folder}/bin/{name}", "w", encoding="ascii") as file:
            file.write(KERNEL)
        os.chmod(file.name, 0o755)
    check_functions(page)
    listings, commands = read_page(page)
    for name, text in listings.items():
        with open(f"{folder}/{name}", "w", encoding="ascii") as file:
            file.write(text)
    if not commands:
        fail("it has no command line")
    if any(command.startswith("gdb ") for command, _ in commands) and not gdb_works():
        print(f"{page}: left out, since nothing can be traced here: gdb", file=sys.stderr)
        commands = [one for one in commands if not one[0].startswith("gdb ")]
    results = run(commands, folder)
    for (command, shown), (printed, code) in zip(commands, results):
        if code != "0":
            fail(f"`{command}` ends with {code}:\n{printed}")
        if not matches(shown, printed):
            fail(f"`{command}` prints\n{printed}\nand not\n{shown}")
    if len(results) != len(commands):
        fail(f"the shell ended in `{commands[len(results)][0]}`")


page, programs, source = (os.path.abspath(argument) for argument in sys.argv[1:])
with tempfile.TemporaryDirectory(prefix="vell-page-") as scratch:
    check(scratch)
