#!/usr/bin/env python3
"""Changes the library in one place at a time, and fails when no test notices.

    tests/mutation/mutate.py [--sample N] [--seed S] [--jobs J] [file...]

A change that does not compile is not counted. One that passes every test must be listed in the file
"unnoticed" beside this program, with the reason why nobody can notice it; and what is listed there
must exist and pass. Works on copies below build/mutation, with the programs of build/release.
"""
import argparse
import json
import os
import queue
import random
import re
import resource
import shlex
import shutil
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor, as_completed
from pathlib import Path

from mutants import mutants_of, named_fields

ROOT = Path(__file__).resolve().parents[2]
BUILD = ROOT / "build/release"
SCRATCH = ROOT / "build/mutation"
LIST_NAME = "tests/mutation/unnoticed"
LIST = ROOT / LIST_NAME
HEADER = "include/vell.h"
ABI_CLIENTS = ("ltl_client_fixed", "ltl_client_independent")  # of the shared object
PROGRESS = 30  # seconds between two lines that say how far the run is
SLOW = {"flood_request_test", "oif_delta_test"}  # take seconds, and test nothing but src/ltl


def listed():
    """The mutants of the list: its indented lines. The lines before them say why."""
    return [line.strip() for line in LIST.read_text().splitlines() if line.startswith(" ")]


def all_mutants():
    paths = [*(str(path.relative_to(ROOT)) for kind in ("*.cpp", "*.h")
               for path in sorted((ROOT / "src").rglob(kind))), HEADER]
    sources = {path: (ROOT / path).read_text() for path in paths}
    public_fields = list(named_fields(sources[HEADER]))
    return sources, [mutant for path, source in sources.items()
                     for mutant in mutants_of(path, source, [*named_fields(source), *public_fields])]


def run(command, directory, cpu_seconds=None):
    """Whether a command succeeds. A limit of CPU time, so that a busy machine changes nothing."""
    def limit():
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        if cpu_seconds:
            resource.setrlimit(resource.RLIMIT_CPU, (cpu_seconds, cpu_seconds))
            resource.setrlimit(resource.RLIMIT_AS, (1 << 30, 1 << 30))
    return subprocess.run(command, cwd=directory, stdin=subprocess.DEVNULL, preexec_fn=limit,
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0


class Programs:
    """The commands that compile the library, link the test programs and run what CTest runs."""

    def __init__(self):
        commands = [entry["command"]
                    for entry in json.loads((BUILD / "compile_commands.json").read_text())]
        self.compile_library = self.flags_of(commands, "vell_static.dir/client/log.cpp")
        self.compile_layout_test = self.flags_of(commands, "record_layout_test.cpp")
        self.names = sorted({match[1] for command in commands if (match := re.search(
            r" -o tests/unit/CMakeFiles/(\w+_test)\.dir/", command))})
        subprocess.run(["cmake", "--build", BUILD, "--target", *self.names, "record_layout_test",
                        *ABI_CLIENTS], check=True, stdout=subprocess.DEVNULL)
        self.links = {name: self.link_of(name) for name in (*self.names, "record_layout_test")}
        self.links["libvell.so.1"] = self.link_of("libvell.so")
        tests = json.loads(subprocess.run(
            ["ctest", "--test-dir", BUILD, "--show-only=json-v1", "-R", "^compile"], check=True,
            capture_output=True, text=True).stdout)["tests"]
        self.compile_cases = [(test["command"], next(
            (p["value"][0] for p in test["properties"] if p["name"] == "PASS_REGULAR_EXPRESSION"),
            None)) for test in tests]
        self.seconds = {}  # the CPU time of each program
        self.uses = {}  # the sources that each program takes from an archive of the library

    @staticmethod
    def flags_of(commands, output):
        """How CMake compiles it, but fast and without warnings; not from what nor into what."""
        words = shlex.split(next(command for command in commands if output in command))
        words = words[next(i for i, word in enumerate(words) if "ccache" not in word):]
        flags = [word for word in words[:words.index("-o")]
                 if not re.match(r"-W(?!p,)|-O|-g|-DNDEBUG", word)]
        return [*flags, "-O0", "-Werror=return-type", "-fstack-protector-all", "-c"]

    @staticmethod
    def link_of(name):
        commands = subprocess.run(["ninja", "-C", BUILD, "-t", "commands", name], check=True,
                                  capture_output=True, text=True).stdout
        link = [line for line in commands.splitlines() if f" -o {name}" in line][-1]
        words = shlex.split(link.split(" && ")[1])
        at = words.index("-o")
        fast = ["-fuse-ld=gold"] if shutil.which("ld.gold") else []
        return [*words[:at], *words[at + 2:], "-Wl,-S", *fast]

    def order(self, path):
        """The programs that a file is part of: its own tests first, then fast ones."""
        own = Path(path).stem + "_test"
        users = [name for name in self.names if path.endswith(".h") or path in self.uses[name]]
        if path != HEADER and not path.startswith("src/ltl/"):
            users = [name for name in users if name not in SLOW]
        return sorted(users, key=lambda name: (name != own, self.seconds[name]))


class Worker:
    """A copy of the library, to change and to build the test programs with."""

    def __init__(self, number, programs, sources):
        self.directory = SCRATCH / str(number)
        self.programs = programs
        shutil.rmtree(self.directory, ignore_errors=True)
        for path, source in sources.items():
            (self.directory / path).parent.mkdir(parents=True, exist_ok=True)
            (self.directory / path).write_text(source)
        self.sources = [path for path in sources if path.endswith(".cpp")]
        (self.directory / "all.cpp").write_text(
            "".join(f'#include "{path.removeprefix("src/")}"\n' for path in self.sources))
        for path in self.sources:
            if not self.compile(programs.compile_library, path, self.object_of(path)):
                sys.exit(f"mutate: {path} does not compile")

    def here(self, command):
        """A command on the work tree, on this copy instead."""
        return [re.sub(f"{re.escape(str(ROOT))}/(src|include)\\b", rf"{self.directory}/\1", word)
                for word in command]

    def compile(self, command, source, into):
        return run([*self.here(command), "-o", into, source], self.directory)

    def object_of(self, path):
        return path.replace("/", "_") + ".o"

    def built(self, path):
        """The objects of the library with this file changed, or None."""
        if path.endswith(".h"):
            changed, objects = "all.cpp", []
        else:
            changed, objects = path, [self.object_of(p) for p in self.sources if p != path]
        if not self.compile(self.programs.compile_library, changed, "changed.o"):
            return None
        return [self.directory / name for name in ("changed.o", *objects)]

    def link(self, name, objects, replaced="vell_objects.dir"):
        words = []
        for word in self.programs.links[name]:
            words += objects if replaced in word else [word]
        return run([*words, "-o", self.directory / name], BUILD)

    def used_sources(self, name):
        """What a program takes of the library when it is an archive: only that can matter to it."""
        archive = self.directory / "library.a"
        objects = [self.directory / self.object_of(path) for path in self.sources]
        subprocess.run(["ar", "crs", archive, *objects], check=True)
        words = [word for word in self.programs.links[name] if "vell_objects.dir" not in word]
        members = subprocess.run(
            [*words, "-Wl,--trace,--start-group", archive, "libfake_platform.a", "-Wl,--end-group",
             "-o", self.directory / name], check=True, cwd=BUILD, capture_output=True, text=True)
        return [path for path in self.sources if self.object_of(path) in members.stdout]

    def passes(self, name):
        limit = 3 + int(4 * self.programs.seconds.get(name, 60))
        return run([self.directory / name, "--gtest_fail_fast"], self.directory, limit)

    def compile_cases_pass(self):
        for command, diagnostic in self.programs.compile_cases:
            result = subprocess.run(self.here(command), capture_output=True, text=True)
            if not (re.search(diagnostic, result.stderr, re.S) if diagnostic
                    else result.returncode == 0):
                return False
        return True

    def abi_clients_pass(self, objects):
        return self.link("libvell.so.1", objects) and all(
            run(["env", f"LD_LIBRARY_PATH={self.directory}", BUILD / client], self.directory, 3)
            for client in ABI_CLIENTS)

    def layout_test_passes(self):
        return (self.compile(self.programs.compile_layout_test,
                             ROOT / "tests/abi/record_layout_test.cpp", "changed.o")
                and self.link("record_layout_test", [self.directory / "changed.o"],
                              "record_layout_test.cpp.o")
                and self.passes("record_layout_test"))

    def try_out(self, mutant, source):
        """What comes of a mutant: "broken" when it does not build, "noticed" or "unnoticed"."""
        file = self.directory / mutant.path
        file.write_text(mutant.applied_to(source))
        try:
            objects = self.built(mutant.path)
            if objects is None:
                return "broken"
            for name in self.programs.order(mutant.path):
                if not self.link(name, objects):
                    return "broken"
                if not self.passes(name):
                    return "noticed"
            if not self.abi_clients_pass(objects):
                return "noticed"
            if mutant.path == HEADER and not self.layout_test_passes():
                return "noticed"
            if mutant.path.endswith(".h") and not self.compile_cases_pass():
                return "noticed"
            return "unnoticed"
        finally:
            file.write_text(source)

    def measure(self):
        """Runs every program with the library as it is: what it takes, and how long."""
        objects = self.built(HEADER)
        for name in self.programs.names:
            self.programs.uses[name] = self.used_sources(name)
            if not self.link(name, objects):
                sys.exit(f"mutate: {name} does not link")
            before = resource.getrusage(resource.RUSAGE_CHILDREN)
            if not self.passes(name):
                sys.exit(f"mutate: {name} fails without any change; run the tests first")
            after = resource.getrusage(resource.RUSAGE_CHILDREN)
            self.programs.seconds[name] = (after.ru_utime - before.ru_utime
                                           + after.ru_stime - before.ru_stime)
        if not (self.abi_clients_pass(objects) and self.layout_test_passes()
                and self.compile_cases_pass()):
            sys.exit("mutate: a test of the interface fails without any change")


def run_all(mutants, sources, jobs):
    """Each mutant with what came of it, as they are finished."""
    programs = Programs()
    workers = queue.Queue()
    for number in range(jobs):
        worker = Worker(number, programs, sources)
        if number == 0:
            worker.measure()
        workers.put(worker)

    def try_out(mutant):
        worker = workers.get()
        try:
            return mutant, worker.try_out(mutant, sources[mutant.path])
        finally:
            workers.put(worker)

    start = last = time.monotonic()
    with ThreadPoolExecutor(jobs) as pool:
        futures = [pool.submit(try_out, mutant) for mutant in mutants]
        for done, future in enumerate(as_completed(futures), 1):
            yield future.result()
            now = time.monotonic()
            if now - last >= PROGRESS:
                last = now
                left = (now - start) / done * (len(mutants) - done)
                print(f"{done} of {len(mutants)}, about {left / 60:.0f} min left", flush=True)


def problem_of(mutant, result, known):
    """What is wrong when a mutant comes out so, and what to do; or None."""
    place = f"{mutant.path}:{mutant.line}: {mutant.change}"
    if result == "unnoticed" and mutant.key not in known:
        return (f"{place}: no test notices: write one; or, if nobody can notice, list this line "
                f"with the reason in {LIST_NAME}: {mutant.key}")
    if result != "unnoticed" and mutant.key in known:
        return f"{place}: listed as unnoticed, but it is {result}: remove its line in {LIST_NAME}"
    return None


def main():
    parser = argparse.ArgumentParser(prog="./dev mutate", description=__doc__.splitlines()[0])
    parser.add_argument("file", nargs="*", help="only these files; default: all of the library")
    parser.add_argument("--sample", type=int, metavar="N", help="only N mutants, at random")
    parser.add_argument("--seed", type=int, default=1, help="another sample")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="how many at a time")
    options = parser.parse_args()
    os.nice(19)

    sources, mutants = all_mutants()
    known = set(listed())
    problems = [f"{LIST_NAME}: {key}: the library has no such place: correct or remove the line"
                for key in sorted(known - {mutant.key for mutant in mutants})]
    print(*problems, sep="\n", end="\n" if problems else "")
    if options.file:
        chosen = {str(Path(file).resolve().relative_to(ROOT)) for file in options.file}
        if unknown := chosen - set(sources):
            parser.error(f"not a file of the library: {', '.join(sorted(unknown))}")
        mutants = [mutant for mutant in mutants if mutant.path in chosen]
    if options.sample and options.sample < len(mutants):
        mutants = random.Random(options.seed).sample(mutants, options.sample)

    counts = dict.fromkeys(("broken", "noticed", "unnoticed"), 0)
    for mutant, result in run_all(mutants, sources, options.jobs):
        counts[result] += 1
        if problem := problem_of(mutant, result, known):
            problems.append(problem)
            print(problem, flush=True)
    print(f"{len(mutants)} mutants: {counts['broken']} do not compile, {counts['noticed']} noticed, "
          f"{counts['unnoticed']} unnoticed; {len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
