#!/usr/bin/env python3
"""Fails unless every line, branch and condition of src/ was reached, and names what was not.

Reads what `llvm-cov export` wrote. Each instantiation of a template is counted by itself: the
table of `llvm-cov report` shows the best one of each template, which would hide a branch that only
one kind of log message takes. What the compiler decides is not a branch: llvm-cov gives it no
counts on either side, although what is around it was run.
"""

import collections
import json
import pathlib
import sys

CODE = 0


def missing_in(function):
    """Yields (file, line, what is missing) of one function or instantiation."""
    files = function["filenames"]
    for line, column, _, _, count, file, _, kind in function["regions"]:
        if kind == CODE and count == 0:
            yield files[file], line, f"column {column} is never run"
    for line, column, _, _, true, false, file, _, _ in function["branches"]:
        if (true == 0) != (false == 0):
            yield files[file], line, f"column {column} is never {'true' if true == 0 else 'false'}"
    for line, column, *_, conditions in function["mcdc_records"]:
        for number, independent in enumerate(conditions, 1):
            if not independent:
                what = f"column {column}: condition {number} never decides by itself"
                yield files[0], line, what


def main():
    root = pathlib.Path.cwd()
    functions = json.load(sys.stdin)["data"][0]["functions"]
    missing = collections.Counter()
    seen = set()
    for function in functions:
        seen.update(function["filenames"])
        missing.update(set(missing_in(function)))

    for source in sorted((root / "src").rglob("*.cpp")):
        if str(source) not in seen:
            missing[str(source), 1, "the file is not counted at all"] += 1
    for (file, line, what), times in sorted(missing.items()):
        where = f" ({times} instantiations)" if times > 1 else ""
        print(f"{pathlib.Path(file).relative_to(root)}:{line}: {what}{where}")
    if missing:
        sys.exit(f"coverage: {len(missing)} places of src/ are not reached by the unit tests")
    print(f"All lines, branches and conditions of {len(functions)} functions and instantiations.")


main()
