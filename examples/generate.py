#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Generates the example: the flows of a campus switch, and captures of the traffic that enters it.

The same arguments generate the same files:
  campus.flows   flows in the standard OpenFlow command-line syntax, strongest first
  building.pcap  what enters on port 1, from a building
  internet.pcap  what enters on port 47, from the internet
"""

import argparse
from pathlib import Path
from random import Random

from campus import draw_flows
from frames import write_pcap
from traffic import FIRST_BUILDING, INTERNET, Traffic

HIGHEST_PRIORITY = 65000


def write_flows(path, classes):
    """Priorities are distinct and fall from line to line."""
    priority = HIGHEST_PRIORITY
    with path.open("w", encoding="ascii") as file:
        for name, flows in classes.items():
            print(f"# {name}", file=file)
            for flow in flows:
                print(flow.line(priority), file=file)
                priority -= 10


def write_capture(path, place, classes, count, seed):
    traffic = Traffic(place, classes, Random(f"{seed} {path.name}"))
    write_pcap(path, (traffic.frame() for _ in range(count)))


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--flows", type=int, default=1000, help="flows, 10 to 4095 (default: %(default)s)")
    parser.add_argument("--packets", type=int, default=5000, help="packets in both captures (default: %(default)s)")
    parser.add_argument("--seed", type=int, default=1, help="another seed, another campus (default: %(default)s)")
    parser.add_argument("output", type=Path, help="directory for the files")
    arguments = parser.parse_args()
    if not 10 <= arguments.flows <= 4095:
        parser.error("--flows: a number from 10 to 4095 is needed")
    if arguments.packets < 0:
        parser.error("--packets: must not be negative")
    return arguments


def main():
    arguments = parse_arguments()
    arguments.output.mkdir(parents=True, exist_ok=True)
    classes = draw_flows(arguments.flows, Random(arguments.seed))
    write_flows(arguments.output / "campus.flows", classes)
    internet = arguments.packets // 5
    building = arguments.packets - internet
    write_capture(arguments.output / "building.pcap", FIRST_BUILDING, classes, building, arguments.seed)
    write_capture(arguments.output / "internet.pcap", INTERNET, classes, internet, arguments.seed)


if __name__ == "__main__":
    main()
