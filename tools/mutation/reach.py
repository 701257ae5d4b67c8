# SPDX-License-Identifier: Apache-2.0
"""Which test of the coverage build reaches which line of the library."""
import collections
import json
import os
import pathlib
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "coverage"))
import report

# Random histories: few, and the same each time.
ENVIRONMENT = os.environ | {"OFTAB_ROUNDS": "10", "OFTAB_SEED": "1"}


def list_tests(program):
    listed = subprocess.run([program, "--gtest_list_tests"], capture_output=True, text=True, check=True).stdout
    suite, tests = "", []
    for line in listed.splitlines():
        if line.startswith(" "):
            tests.append(suite + line.split()[0])
        elif line.endswith("."):
            suite = line
    return tests


def measure(build, tests):
    """{file: {line: the numbers of the tests that reach it}}: each test runs alone, from counts of zero on."""
    reached = collections.defaultdict(lambda: collections.defaultdict(list))
    for number, test in enumerate(tests):
        print(f"\r{number + 1} of {len(tests)} tests: which lines they reach ", end="", flush=True)
        for counts in report.counts_of(build):
            counts.unlink()
        subprocess.run([build / "bin/oftab_test", f"--gtest_filter={test}"], env=ENVIRONMENT, check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        for file, coverage in report.read(build).items():
            for line, count in coverage.lines.items():
                if count > 0:
                    reached[file][line].append(number)
    print()
    return reached


def reached_lines(build, cache):
    """{file: {line: names of tests}}, from the cache unless the build is newer."""
    tests = list_tests(build / "bin/oftab_test")
    built = max((build / name).stat().st_mtime for name in ("bin/oftab_test", "lib/liboftab.so.1"))
    if not cache.exists() or cache.stat().st_mtime < built:
        cache.write_text(json.dumps(measure(build, tests)))
    return {file: {int(line): [tests[number] for number in numbers] for line, numbers in lines.items()}
            for file, lines in json.loads(cache.read_text()).items()}
