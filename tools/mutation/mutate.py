# SPDX-License-Identifier: Apache-2.0
"""Changes the library in one place at a time and tells which changes no test notices.  mutate.py BUILD [SAMPLE [SEED]]

BUILD holds the test program; without SAMPLE every change is tried. A change is compiled into a library of its own, on
which the tests run, cheap ones first, until one fails. Ends with status 1 when a change survives that explained.txt
does not name. A line of explained.txt: the file, the line of source, the change, and why no test can tell."""
import concurrent.futures
import json
import os
import pathlib
import random
import re
import shlex
import shutil
import subprocess
import sys

LIBRARY = pathlib.Path("lib/oftab")
EXPLAINED = pathlib.Path(__file__).parent / "explained.txt"
TIMEOUT = 120

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


def mutants():
    for path in sorted([*LIBRARY.rglob("*.cc"), *LIBRARY.rglob("*.h")]):
        text = path.read_text()
        visible = QUIET.sub(lambda m: re.sub(r"[^\n]", " ", m[0]), text)
        for pattern, change in CHANGES:
            for match in pattern.finditer(visible):
                yield path, match.start(1), match.end(1), change(match[1])


class Laboratory:
    def __init__(self, build):
        self.build = pathlib.Path(build).resolve()
        commands = json.loads((self.build / "compile_commands.json").read_text())
        self.commands = {os.path.relpath(c["file"]): c for c in commands
                         if os.path.relpath(c["file"]).startswith(str(LIBRARY))}
        self.program = self.build / "bin/oftab_test"
        self.place = self.build / "mutant"
        self.tests = self.list_tests()
        self.objects = self.compile_all(self.commands, self.place / "sound")

    def list_tests(self):
        listed = subprocess.run([self.program, "--gtest_list_tests"], capture_output=True, text=True, check=True).stdout
        suite, tests = "", []
        for line in listed.splitlines():
            if not line.startswith(" "):
                suite = line.split()[0]
            else:
                tests.append(suite + line.split()[0])
        costs = dict(re.findall(r"^(\S+) \d+ ([\d.]+)$",
                                (self.build / "Testing/Temporary/CTestCostData.txt").read_text(), re.MULTILINE))
        return sorted(tests, key=lambda name: float(costs.get(name, 0)))

    def compile(self, source, directory):
        """The object of a source file, whose changed form, or changed headers, stand in `directory`; None if it fails."""
        command = self.commands[source]
        changed = directory / source
        made = (directory / "objects" / source).with_suffix(".o")
        made.parent.mkdir(parents=True, exist_ok=True)
        left_out = ("--coverage", "-Werror")
        words = [word for word in shlex.split(command["command"]) if word not in left_out and "ccache" not in word]
        words[words.index("-o") + 1] = str(made)
        words[words.index("-c") + 1] = str(changed if changed.exists() else command["file"])
        words.insert(1, f"-I{directory / 'lib'}")
        done = subprocess.run(words, cwd=command["directory"], capture_output=True)
        return made if done.returncode == 0 else None

    def compile_all(self, sources, directory):
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            return dict(zip(sources, pool.map(lambda source: self.compile(source, directory), sources)))

    def library(self, path, text):
        """Links a library with this text in a file; False if it does not compile."""
        shutil.rmtree(self.place / "now", ignore_errors=True)
        (self.place / "now" / path).parent.mkdir(parents=True)
        (self.place / "now" / path).write_text(text)
        sources = [str(path)] if path.suffix == ".cc" else list(self.commands)
        changed = self.compile_all(sources, self.place / "now")
        if None in changed.values():
            return False
        subprocess.run(["cc", "-shared", "-fPIC", "-o", self.place / "now/liboftab.so.1", "-Wl,-soname,liboftab.so.1",
                        *(self.objects | changed).values()], check=True)
        return True

    def fails(self, test):
        environment = os.environ | {"LD_LIBRARY_PATH": str(self.place / "now"), "OFTAB_ROUNDS": "10", "OFTAB_SEED": "1"}
        try:
            return subprocess.run([self.program, f"--gtest_filter={test}"], env=environment, timeout=TIMEOUT,
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode != 0
        except subprocess.TimeoutExpired:
            return True

    def killer(self):
        """The name of a test that notices; None when there is none. It is tried first the next time."""
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            for start in range(0, len(self.tests), 8):
                tests = self.tests[start : start + 8]
                found = [test for test, fails in zip(tests, pool.map(self.fails, tests)) if fails]
                if found:
                    self.tests.remove(found[0])
                    self.tests.insert(0, found[0])
                    return found[0]
        return None


def main():
    laboratory = Laboratory(sys.argv[1])
    chosen = list(mutants())
    print(f"{len(chosen)} changes", flush=True)
    if len(sys.argv) > 2:
        random.seed(sys.argv[3] if len(sys.argv) > 3 else 1)
        chosen = random.sample(chosen, int(sys.argv[2]))
    explained = {tuple(line.split(" | ")[:3]) for line in EXPLAINED.read_text().splitlines() if not line.startswith("#")}
    outcomes = {"killed": 0, "does not compile": 0, "explained": 0, "SURVIVES": 0}
    for path, start, end, change in chosen:
        text = path.read_text()
        line = text.count("\n", 0, start)
        source = text.splitlines()[line].strip()
        what = f"{text[start:end]} -> {change}"
        if not laboratory.library(path, text[:start] + change + text[end:]):
            outcome, killer = "does not compile", ""
        else:
            killer = laboratory.killer()
            is_explained = (str(path), source, what) in explained
            outcome = "killed" if killer else "explained" if is_explained else "SURVIVES"
        outcomes[outcome] += 1
        print(f"{outcome:16} {path}:{line + 1}: {what}: {source}  {killer or ''}", flush=True)
    print(", ".join(f"{count} {outcome}" for outcome, count in outcomes.items()))
    return 1 if outcomes["SURVIVES"] else 0


if __name__ == "__main__":
    sys.exit(main())
