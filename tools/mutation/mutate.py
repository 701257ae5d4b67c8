# SPDX-License-Identifier: Apache-2.0
"""Changes the library in one place at a time and tells which changes no test notices.

The build with coverage tells which tests reach a line; a change of the line runs those alone, in the other build, on a
library of its own, until one fails. Outcomes are logged as they come, in `mutant/outcomes.txt` of the coverage build;
those of an earlier run are kept beside it, under the time of its end.

Ends with status 1 when a change survives that explained.txt does not name; with 130, the outcomes so far counted, when
it is interrupted. A line of explained.txt: the file, the line of source, the change, and why no test can tell. One that
names no change of today's source is told before all else."""
import argparse
import collections
import concurrent.futures
import json
import os
import pathlib
import queue
import random
import shlex
import shutil
import subprocess
import sys
import time

import changes
import reach

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent))
from soak import positive

EXPLAINED = pathlib.Path(__file__).parent / "explained.txt"
OUTCOMES = ("killed", "same code", "does not compile", "explained", "SURVIVES")


class Laboratory:
    def __init__(self, coverage, tests):
        commands = json.loads((coverage / "compile_commands.json").read_text())
        self.commands = {os.path.relpath(c["file"]): c for c in commands
                         if os.path.relpath(c["file"]).startswith(str(changes.LIBRARY))}
        self.program = tests / "bin/oftab_test"
        self.place = coverage / "mutant"
        self.place.mkdir(exist_ok=True)
        self.reached = reach.reached_lines(coverage, self.place / "reached.json")
        self.kills = collections.Counter()
        self.closing = False
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
        """What becomes of a change, and the test that noticed it. Nobody reads it any more once the laboratory closes."""
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
            if self.closing:
                break
            if self.fails(test, directory):
                self.kills[str(mutant.path), test] += 1
                self.kills[str(mutant.path), mutant.line, test] += 1
                return "killed", test
        return "SURVIVES", ""


def examine(laboratory, chosen, log):
    """Yields each change with its outcome, as many at a time as there are cores. What waits goes when it is closed."""
    places = queue.SimpleQueue()
    for number in range(os.cpu_count()):
        places.put(laboratory.place / str(number))

    def examine_one(mutant):
        directory = places.get()
        try:
            return mutant, *laboratory.outcome(mutant, directory)
        finally:
            places.put(directory)

    pool = concurrent.futures.ThreadPoolExecutor(os.cpu_count())
    try:
        for done in concurrent.futures.as_completed([pool.submit(examine_one, mutant) for mutant in chosen]):
            mutant, outcome, killer = done.result()
            print(outcome, mutant.name, killer, sep="\t", file=log, flush=True)
            yield mutant, outcome
    finally:
        laboratory.closing = True
        pool.shutdown(cancel_futures=True)


def read_explanations():
    lines = EXPLAINED.read_text().splitlines()
    return {tuple(line.split(" | ")[:3]) for line in lines if not line.startswith("#")}


def explained_by(mutant):
    """What a line of explained.txt that explains the change begins with."""
    return str(mutant.path), mutant.source, mutant.what


def require_places(explanations, mutants):
    stale = explanations - {explained_by(mutant) for mutant in mutants}
    for each in sorted(stale):
        print(f"{EXPLAINED}: no change of the source: {' | '.join(each)}", file=sys.stderr)
    if stale:
        raise SystemExit(1)


def keep_earlier(log):
    """Outcomes that took long are not overwritten."""
    if log.exists() and log.stat().st_size > 0:
        ended = time.strftime("%Y%m%d-%H%M%S", time.localtime(log.stat().st_mtime))
        kept = log.rename(log.with_name(f"outcomes-{ended}.txt"))
        print(f"the outcomes of the earlier run are in {os.path.relpath(kept)}")


def require_builds(coverage, tests):
    for build, needed in ((coverage, "compile_commands.json"), (coverage, "bin/oftab_test"), (tests, "bin/oftab_test")):
        if not (build / needed).exists():
            raise SystemExit(f"{build} is not built: {build / needed} is missing; 'make build-coverage build-release' "
                             "builds build/coverage and build/release")


def settled_by(log, chosen, explanations):
    """What an earlier run found out of the changes; of survivors, those that are explained."""
    logged = {name: outcome for outcome, name, _ in (line.split("\t") for line in log.read_text().splitlines())}
    outcomes = {mutant: judged(mutant, logged[mutant.name], explanations) for mutant in chosen if mutant.name in logged}
    return {mutant: outcome for mutant, outcome in outcomes.items() if outcome != "SURVIVES"}


def judged(mutant, outcome, explanations):
    return "explained" if outcome == "SURVIVES" and explained_by(mutant) in explanations else outcome


def survey(found, known, total, explanations):
    """Counts outcomes and shows survivors as they come. Gives the status to end with."""
    counts, started, done = collections.Counter(known), time.monotonic(), 0

    def progress():
        return f"{done} of {total}: {', '.join(f'{counts[each]} {each}' for each in OUTCOMES)}"

    try:
        for done, (mutant, outcome) in enumerate(found, 1):
            outcome = judged(mutant, outcome, explanations)
            counts[outcome] += 1
            if outcome == "SURVIVES":
                print(f"SURVIVES {mutant.name}", flush=True)
            if done % 20 == 0 or done == total:
                left = (total - done) * (time.monotonic() - started) / done
                print(f"{progress()}; {left / 60:.0f} min left", flush=True)
    except KeyboardInterrupt:
        print(f"\n{progress()}; interrupted", flush=True)
        found.close()
        return 130
    return 1 if counts["SURVIVES"] else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("coverage", type=pathlib.Path, help="the build directory with coverage")
    parser.add_argument("tests", type=pathlib.Path, help="the build directory whose tests are run")
    parser.add_argument("--sample", type=positive, help="try so many of the changes, or all there are")
    parser.add_argument("--seed", default=1, help="of the sample")
    parser.add_argument("--resume", action="store_true", help="leave out what the log says was settled")
    options = parser.parse_args()
    chosen, explanations = list(changes.mutants()), read_explanations()
    require_places(explanations, chosen)
    require_builds(options.coverage, options.tests)
    laboratory = Laboratory(options.coverage.resolve(), options.tests.resolve())
    if options.sample:
        random.seed(options.seed)
        chosen = random.sample(chosen, min(options.sample, len(chosen)))
    log = laboratory.place / "outcomes.txt"
    settled = settled_by(log, chosen, explanations) if options.resume and log.exists() else {}
    left = [mutant for mutant in chosen if mutant not in settled]
    if not options.resume:
        keep_earlier(log)
    with log.open("a") as file:
        return survey(examine(laboratory, left, file), settled.values(), len(left), explanations)


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:  # while it prepared
        print("\ninterrupted before the first change", file=sys.stderr)
        sys.exit(130)
