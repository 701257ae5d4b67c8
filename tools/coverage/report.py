# SPDX-License-Identifier: Apache-2.0
"""Which lines and branches of the library the tests reached.  report.py BUILD-DIRECTORY

Ends with status 1 when a branch was not reached that exceptions.txt does not name, or was although it does. A line of
exceptions.txt: the file, the line of source (behind as many lines before it as tell it from others), and why no test
reaches all of its branches, with " | " between them."""
import collections
import json
import os
import pathlib
import subprocess
import sys

LIBRARY = pathlib.Path("lib/oftab")
EXCEPTIONS = pathlib.Path(__file__).parent / "exceptions.txt"


class Coverage:
    """Of one source file: how often each line, and each of its branches, was run."""

    def __init__(self):
        self.lines = collections.Counter()
        self.branches = collections.defaultdict(collections.Counter)

    def add(self, line):
        number = line["line_number"]
        self.lines[number] += line["count"]
        for at, branch in enumerate(line["branches"]):
            self.branches[number][at] += branch["count"]

    def incomplete(self):
        return sorted({number for number, count in self.lines.items() if count == 0}
                      | {number for number, branches in self.branches.items() if 0 in branches.values()})

    def figures(self):
        branches = [count for line in self.branches.values() for count in line.values()]
        return (len(self.lines), sum(count > 0 for count in self.lines.values()),
                len(branches), sum(count > 0 for count in branches))


def counts_of(build):
    return sorted((build / LIBRARY).rglob("*.gcda"))


def read(build):
    files = collections.defaultdict(Coverage)
    run = subprocess.run(["gcov", "--json-format", "--stdout", "--branch-probabilities", *counts_of(build)],
                         capture_output=True, check=True)
    for counted in run.stdout.splitlines():
        for file in json.loads(counted)["files"]:
            # From the repository's root, or from where it was compiled.
            name = next(name for name in (file["file"], os.path.normpath(build / file["file"])) if os.path.exists(name))
            if pathlib.Path(name).is_relative_to(LIBRARY):
                for line in file["lines"]:
                    files[name].add(line)
    return dict(sorted(files.items()))


def percent(part, whole):
    return f"{part:5}/{whole:<5}{100 * part / whole if whole else 100:6.1f} %"


def print_row(name, lines, run, branches, taken):
    print(f"{name:52}{percent(run, lines)}   {percent(taken, branches)}")


def print_table(files):
    print(f"{'':52}{'lines':>18}   {'branches':>18}")
    for name, coverage in files.items():
        print_row(name, *coverage.figures())
    print_row("all", *map(sum, zip(*(coverage.figures() for coverage in files.values()))))


def known_exceptions():
    lines = EXCEPTIONS.read_text().splitlines()
    rows = [line.split(" | ") for line in lines if line and not line.startswith("#")]
    return {(name, text) for name, text, _ in rows}


def passage(source, number):
    """The line of this number, behind as many before it as make it the only one of its file."""
    text, first = source[number - 1], number
    while sum(source[at:at + number - first + 1] == source[first - 1:number] for at in range(len(source))) > 1:
        first -= 1
        text = f"{source[first - 1]} {text}"
    return text


def main():
    if len(sys.argv) != 2 or not counts_of(pathlib.Path(sys.argv[1])):
        raise SystemExit("usage: report.py BUILD-DIRECTORY, where tests counted what they ran; 'make coverage' builds "
                         "and runs them in build/coverage")
    files = read(pathlib.Path(sys.argv[1]))
    print_table(files)
    exceptions = known_exceptions()
    found, status = set(), 0
    for name, coverage in files.items():
        source = [line.strip() for line in pathlib.Path(name).read_text().splitlines()]
        for number in coverage.incomplete():
            where = (name, passage(source, number))
            found.add(where)
            if where not in exceptions:
                status = 1
                print(f"{name}:{number}: not all reached: {where[1]}")
    for name, text in sorted(exceptions - found):
        status = 1
        print(f"{name}: reached, and yet among the exceptions: {text}")
    print(f"{len(found & exceptions)} lines are known exceptions")
    return status


if __name__ == "__main__":
    sys.exit(main())
