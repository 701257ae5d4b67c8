#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The walls: a file includes what docs/architecture.md lists for its room, and nothing is listed that no file includes.
Usage: check_walls.py SOURCE_DIR"""
import pathlib
import re
import sys

source = pathlib.Path(sys.argv[1]).resolve()
text = (source / "docs/architecture.md").read_text()
walls = {room: re.findall(r"`(.+?)`", list) for room, list in re.findall(r"^\| `(.+?/)` \| (.*) \|$", text, re.M)}
unused = {(room, item) for room, items in walls.items() for item in items}
problems = []


def room_of(path):
    return max((room for room in walls if path.startswith(room)), key=len, default="its place")


def includes():
    """Each file of ours with each header of ours that it includes, however that is written."""
    for top in ("lib", "platform", "host", "agent", "app", "examples"):
        for file in (each for each in (source / top).rglob("*") if each.suffix in (".h", ".c", ".cc")):
            for name in re.findall(r'^\s*#\s*include\s*[<"](.+?)[>"]', file.read_text(), re.M):
                for header in (file.parent / name, source / "lib" / name, source / name):
                    if header.is_file():
                        yield str(file.relative_to(source)), str(header.resolve().relative_to(source))
                        break


for file, header in includes():
    room = room_of(file)
    item = header if header in walls.get(room, []) else room_of(header)
    unused.discard((room, item))
    if item not in walls.get(room, []):
        problems.append(f"{file} includes {header}, which is not listed for {room}.")
problems += [f"Nothing in {room} includes {item}: take it out of the list." for room, item in sorted(unused)]
sys.exit("\n".join(["docs/architecture.md, \"Rooms\":", *sorted(problems)]) if problems else 0)
