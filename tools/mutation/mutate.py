# SPDX-License-Identifier: Apache-2.0
"""Changes the library in one place at a time and tells which changes no test notices.

The build with coverage tells which tests reach a line; a change of the line runs those alone, in the other build, on a
library of its own, until one fails. Outcomes are logged as they come, in `mutant/outcomes.txt` of the coverage build.
Ends with status 1 when a change survives that explained.txt does not name. A line of explained.txt: the file, the line
of source, the change, and why no test can tell."""
import argparse
import collections
import concurrent.futures
import json
import os
import pathlib
import queue
import random
import re
import shlex
import shutil
import subprocess
import sys
import time

import reach

LIBRARY = pathlib.Path("lib/oftab")
EXPLAINED = pathlib.Path(__file__).parent / "explained.txt"
OUTCOMES = ("killed", "same code", "does not compile", "explained", "SURVIVES")

# What is left alone: comments, texts, preprocessor lines, assertions, which the compiler checks.
QUIET = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:[^"\\\n]|\\.)*"|^#[^\n]*|\bstatic_assert\([^;]*;', re.MULTILINE | re.DOTALL)
CHANGES = [(re.compile(pattern), change) for pattern, change in (
    (r" (==|!=|<=|>=|<|>|&&|\|\||\+|-) ", lambda m: {
        "==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&", "+": "-", "-": "+",
    }[m]),
    (r"\b(0x[0-9A-Fa-f]+|\d+)(?=[UuLl]*\b)", lambda m: str(int(m, 0) + 1)),
    (r"\b(OFTAB_ERR_\w+)\b", lambda m: "OFTAB_ERR_FAIL" if m != "OFTAB_ERR_FAIL" else "OFTAB_ERR_INVALID"),
    (r"\b(OFTAB_OK)\b", lambda m: "OFTAB_ERR_FAIL"),
    (r"\b(true|false)\b", lambda m: {"true": "false", "false": "true"}[m]),
    (r"\b(TRACE_(?:ERROR|WARNING))\b", lambda m: "TRACE_DETAIL"),
    (r"\b(TRACE_(?:ERROR|WARNING|DETAIL)_IN)\b", lambda m: {"TRACE_DETAIL_IN": "TRACE_ERROR_IN"}.get(m, "TRACE_DETAIL_IN")),
)]


class Mutant:
    def __init__(self, path, text, start, end, change):
        self.path = path
        self.text = text[:start] + change + text[end:]
        self.line = text.count("\n", 0, start) + 1
        self.source = text.splitlines()[self.line - 1].strip()
        self.what = f"{text[start:end]} -> {change}"
        column = start - text.rfind("\n", 0, start)
        self.name = f"{path}:{self.line}:{column}: {self.what}: {self.source}"


def mutants():
    for path in [*sorted(LIBRARY.rglob("*.cc")), *sorted(LIBRARY.rglob("*.h"))]:
        text = path.read_text()
        visible = QUIET.sub(lambda m: re.sub(r"[^\n]", " ", m[0]), text)
        for pattern, change in CHANGES:
            for match in pattern.finditer(visible):
                yield Mutant(path, text, match.start(1), match.end(1), change(match[1]))


class Laboratory:
    def __init__(self, coverage, tests):
        commands = json.loads((coverage / "compile_commands.json").read_text())
        self.commands = {os.path.relpath(c["file"]): c for c in commands
                         if os.path.relpath(c["file"]).startswith(str(LIBRARY))}
        self.program = tests / "bin/oftab_test"
        self.place = coverage / "mutant"
        self.place.mkdir(exist_ok=True)
        self.reached = reach.reached_lines(coverage, self.place / "reached.json")
        self.kills = collections.Counter()
        self.prepare()

    def prepare(self):
        """The sound library passes each test; how long a test takes, and what includes a file."""
        sound = self.place / "sound"
        shutil.rmtree(sound, ignore_errors=True)
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            self.objects = dict(zip(self.commands, pool.map(lambda source: self.compile(source, sound), self.commands)))
        self.link(self.objects, sound)
        self.includers = collections.defaultdict(list)
        for source, made in self.objects.items():
            for included in made.with_suffix(".d").read_text().replace("\\\n", " ").split()[1:]:
                self.includers[os.path.relpath(included)].append(source)
        self.costs = {}
        for test in reach.list_tests(self.program):
            started = time.monotonic()
            if self.fails(test, sound):
                raise SystemExit(f"{test} fails on the unchanged library")
            self.costs[test] = time.monotonic() - started

    def compile(self, source, directory):
        """The object of a source file, whose changed form, or changed headers, stand in `directory`; None if it fails."""
        command = self.commands[source]
        changed = directory / source
        made = (directory / "objects" / source).with_suffix(".o")
        made.parent.mkdir(parents=True, exist_ok=True)
        left_out = ("--coverage", "-Werror", "-g")
        words = [word for word in shlex.split(command["command"]) if word not in left_out and "ccache" not in word]
        words[words.index("-o") + 1] = str(made)
        words[words.index("-c") + 1] = str(changed if changed.exists() else os.path.abspath(source))
        words[1:1] = [f"-I{directory / 'lib'}", "-MMD"]
        words.append(f"-ffile-prefix-map={directory}/=")  # what records its place records the same one
        done = subprocess.run(words, cwd=command["directory"], capture_output=True)
        return made if done.returncode == 0 else None

    def link(self, objects, directory):
        subprocess.run(["cc", "-shared", "-o", directory / "liboftab.so.1", "-Wl,-soname,liboftab.so.1",
                        *objects.values()], check=True)

    def fails(self, test, directory):
        """A mutant may run, or allocate, without end, also in child processes."""
        cost = self.costs.get(test, 10)
        command = ["timeout", "--signal=KILL", str(30 + 40 * cost), "prlimit", f"--cpu={2 + int(10 * cost)}",
                   "--as=4000000000", "--core=0", self.program, f"--gtest_filter={test}", "--gtest_break_on_failure"]
        return subprocess.run(command, env=reach.ENVIRONMENT | {"LD_LIBRARY_PATH": str(directory)},
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode != 0

    def tests_for(self, mutant):
        """Those that reach the line, or all if none does; likely and cheap ones first."""
        file = str(mutant.path)
        lines = self.reached.get(file, {})
        of_file = set().union(*lines.values())

        def rank(test):
            kills = self.kills[file, test] + 10 * self.kills[file, mutant.line, test]
            return test not in of_file, self.costs[test] / (0.1 + kills)

        return sorted(lines.get(mutant.line) or self.costs, key=rank)

    def outcome(self, mutant, directory):
        """What becomes of a change, and the test that noticed it."""
        shutil.rmtree(directory, ignore_errors=True)
        (directory / mutant.path).parent.mkdir(parents=True)
        (directory / mutant.path).write_text(mutant.text)
        changed = {}
        for source in self.includers[str(mutant.path)]:
            changed[source] = self.compile(source, directory)
            if changed[source] is None:
                return "does not compile", ""
        if all(made.read_bytes() == self.objects[source].read_bytes() for source, made in changed.items()):
            return "same code", ""
        self.link(self.objects | changed, directory)
        for test in self.tests_for(mutant):
            if self.fails(test, directory):
                self.kills[str(mutant.path), test] += 1
                self.kills[str(mutant.path), mutant.line, test] += 1
                return "killed", test
        return "SURVIVES", ""


def examine(laboratory, chosen, log):
    """Yields each change with its outcome, as many at a time as there are cores."""
    places = queue.SimpleQueue()
    for number in range(os.cpu_count()):
        places.put(laboratory.place / str(number))

    def examine_one(mutant):
        directory = places.get()
        try:
            return mutant, *laboratory.outcome(mutant, directory)
        finally:
            places.put(directory)

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for done in concurrent.futures.as_completed([pool.submit(examine_one, mutant) for mutant in chosen]):
            mutant, outcome, killer = done.result()
            print(outcome, mutant.name, killer, sep="\t", file=log, flush=True)
            yield mutant, outcome


def survey(found, known, total, explained):
    """Counts outcomes and shows survivors as they come."""
    counts, started = collections.Counter(known), time.monotonic()
    for done, (mutant, outcome) in enumerate(found, 1):
        if outcome == "SURVIVES" and (str(mutant.path), mutant.source, mutant.what) in explained:
            outcome = "explained"
        counts[outcome] += 1
        if outcome == "SURVIVES":
            print(f"SURVIVES {mutant.name}", flush=True)
        if done % 20 == 0 or done == total:
            left = (total - done) * (time.monotonic() - started) / done
            figures = ", ".join(f"{counts[each]} {each}" for each in OUTCOMES)
            print(f"{done} of {total}: {figures}; {left / 60:.0f} min left", flush=True)
    return counts["SURVIVES"]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("coverage", type=pathlib.Path, help="the build directory with coverage")
    parser.add_argument("tests", type=pathlib.Path, help="the build directory whose tests are run")
    parser.add_argument("--sample", type=int, help="try so many of the changes")
    parser.add_argument("--seed", default=1, help="of the sample")
    parser.add_argument("--resume", action="store_true", help="leave out what the log says was settled")
    options = parser.parse_args()
    laboratory = Laboratory(options.coverage.resolve(), options.tests.resolve())
    chosen = list(mutants())
    if options.sample:
        random.seed(options.seed)
        chosen = random.sample(chosen, options.sample)
    path = laboratory.place / "outcomes.txt"
    logged = path.read_text().splitlines() if options.resume and path.exists() else []
    settled = {name: outcome for outcome, name, _ in (line.split("\t") for line in logged) if outcome != "SURVIVES"}
    known = collections.Counter(settled[mutant.name] for mutant in chosen if mutant.name in settled)
    chosen = [mutant for mutant in chosen if mutant.name not in settled]
    explained = {tuple(line.split(" | ")[:3]) for line in EXPLAINED.read_text().splitlines() if not line.startswith("#")}
    with path.open("a" if options.resume else "w") as log:
        return 1 if survey(examine(laboratory, chosen, log), known, len(chosen), explained) else 0


if __name__ == "__main__":
    sys.exit(main())
