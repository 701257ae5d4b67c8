# SPDX-License-Identifier: Apache-2.0
"""A switch's life over and over: random requests, port and membership changes, traffic, time and faults, each step
compared with a model and audited.

COMMAND lives OFTAB_ROUNDS histories of 100 steps, the first one's seed being OFTAB_SEED, and prints how many agreed. As
many run side by side as there are cores. Ends with a summary, also when it is interrupted (status 130); status 1 if a
history failed."""
import argparse
import concurrent.futures
import os
import random
import re
import subprocess
import sys
import time

STEPS_OF_A_HISTORY = 100
HISTORIES_OF_A_RUN = 5
BAR = 40


class Run:
    """Some histories, lived by COMMAND."""

    def __init__(self, command, seed, rounds):
        environment = os.environ | {"OFTAB_SEED": str(seed), "OFTAB_ROUNDS": str(rounds)}
        ended = subprocess.run(command, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        agreed = re.search(r"^(\d+) histories agreed$", ended.stdout, re.MULTILINE)
        self.failed = ended.returncode != 0 or agreed is None or int(agreed[1]) != rounds
        self.output = ended.stdout
        self.steps = rounds * STEPS_OF_A_HISTORY
        self.agreed = 0 if self.failed else self.steps


class Progress:
    """A bar on a terminal, elsewhere a line for each percent."""

    def __init__(self, steps):
        self.steps, self.done, self.started, self.percent = steps, 0, time.monotonic(), 0

    def seconds(self):
        return time.monotonic() - self.started

    def advance(self, steps):
        self.done += steps
        share = self.done / self.steps
        left = (self.steps - self.done) * self.seconds() / self.done
        line = (f"[{'#' * int(BAR * share):{BAR}}] {self.done:,} of {self.steps:,} steps, "
                f"{self.done / self.seconds():,.0f}/s, {left:.0f} s left")
        if sys.stdout.isatty():
            print(f"\r{line} ", end="", flush=True)
        elif int(100 * share) > self.percent:
            self.percent = int(100 * share)
            print(line, flush=True)


def soak(command, first, histories, progress, ended):
    """Adds the runs that have ended. Returns whether all have, rather than being interrupted."""
    pool = concurrent.futures.ThreadPoolExecutor(os.cpu_count())
    runs = [pool.submit(Run, command, first + at, min(HISTORIES_OF_A_RUN, histories - at))
            for at in range(0, histories, HISTORIES_OF_A_RUN)]
    try:
        for each in concurrent.futures.as_completed(runs):
            ended.append(each.result())
            progress.advance(ended[-1].steps)
    except KeyboardInterrupt:
        pool.shutdown(cancel_futures=True)
        return False
    return True


def positive(text):
    if not text.isdecimal() or int(text) == 0:
        raise argparse.ArgumentTypeError(f"a number from 1 is due, not '{text}'")
    return int(text)


def arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("steps", type=positive, help=f"rounded up to histories of {STEPS_OF_A_HISTORY}")
    parser.add_argument("seed", type=lambda text: random.getrandbits(40) if text == "random" else positive(text),
                        help="that of the first history, or 'random'")
    parser.add_argument("command", nargs=argparse.REMAINDER)
    return parser.parse_args()


def main():
    chosen = arguments()
    histories = -(-chosen.steps // STEPS_OF_A_HISTORY)
    print(f"{histories:,} histories of {STEPS_OF_A_HISTORY} steps, the first one's seed is {chosen.seed}", flush=True)
    progress = Progress(histories * STEPS_OF_A_HISTORY)
    ended = []
    finished = soak(chosen.command, chosen.seed, histories, progress, ended)
    failures = [run.output for run in ended if run.failed]
    for failure in failures:
        print(f"\n{failure}")
    agreed = sum(run.agreed for run in ended)
    print(f"\n{agreed:,} steps agreed in {progress.seconds():.0f} s, {len(failures)} runs failed"
          f"{'' if finished else ', interrupted'}")
    return 1 if failures else 0 if finished else 130


if __name__ == "__main__":
    sys.exit(main())
