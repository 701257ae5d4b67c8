# SPDX-License-Identifier: Apache-2.0
"""clang-tidy over every source file.  tidy.py BUILD

BUILD has the compile commands. Most of clang-tidy's time goes into the headers that a file includes: files outside the
library are looked at in batches, each one translation unit of files that define no name twice. The library includes
little, and is looked at file by file. Ends with status 1 when there are findings."""
import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import time

MOST_IN_A_BATCH = 12
# What stands at the left margin in an anonymous namespace, or in any other: types, constants, functions.
DEFINED = re.compile(r"^(?:(?:enum(?: class)?|struct|class) (\w+)(?! *;)|using (\w+)(?= =)"
                     r"|int (main)\("
                     r"|(?!using|namespace)\w[\w:<>,*& ]*?[ *&](\w+)(?= =|\[|\{|;)"
                     r"|(\w[\w:<>,*& ]*[ *&]\w+\(.*))", re.MULTILINE)


def defined_in(source):
    return {"".join(names) for names in DEFINED.findall(pathlib.Path(source).read_text())}


def batches_of(sources):
    batches = []
    for source in sources:
        names = defined_in(source)
        for files, taken in batches:
            if len(files) < MOST_IN_A_BATCH and not names & taken:
                break
        else:
            files, taken = [], set()
            batches.append((files, taken))
        files.append(source)
        taken |= names
    return [files for files, _ in batches]


def flags_of(commands):
    """Where headers are and what is defined, of all commands together."""
    flags = {}
    for command in commands:
        words = shlex.split(command["command"])
        for word, following in zip(words, words[1:] + [""]):
            if word == "-isystem":
                flags[word, following] = True
            elif word[:2] in ("-I", "-D") or word.startswith("-std="):
                flags[(word,)] = True
    return [word for flag in flags for word in flag]


def findings(place, files, flags):
    """What clang-tidy says of these files; they are halved when they do not go together after all."""
    if len(files) == 1:
        source = files[0]
    else:
        source = place / f"with_{pathlib.Path(files[0]).stem}_{len(files)}.cc"
        source.write_text("".join(f'#include "{file}"\n' for file in files))
    said = subprocess.run(["clang-tidy", "-quiet", source, "--", *flags], capture_output=True, text=True).stdout
    if "[clang-diagnostic-error]" in said and len(files) > 1:
        half = len(files) // 2
        return findings(place, files[:half], flags) + findings(place, files[half:], flags)
    return said


def main():
    started = time.monotonic()
    commands = json.loads((pathlib.Path(sys.argv[1]) / "compile_commands.json").read_text())
    commands = [command for command in commands if command["file"].endswith(".cc")]
    sources = sorted(command["file"] for command in commands)
    flags = flags_of(commands)
    alone = [source for source in sources if "/lib/oftab/" in source]
    batches = [[source] for source in alone] + batches_of([source for source in sources if source not in alone])
    place = pathlib.Path(sys.argv[1]) / "tidy"
    place.mkdir(exist_ok=True)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        said = list(pool.map(lambda files: findings(place, files, flags), batches))
    print("".join(said), end="")
    print(f"{len(sources)} files in {len(batches)} translation units, {time.monotonic() - started:.0f} s")
    return 1 if any(said) else 0


if __name__ == "__main__":
    sys.exit(main())
