# SPDX-License-Identifier: Apache-2.0
"""A switch's life over and over: random requests, port and membership changes, traffic, time and faults, each step
compared with a model and audited.  soak.py STEPS SEED COMMAND...

COMMAND runs histories of 100 steps from the seed OFTAB_SEED on, OFTAB_ROUNDS of them. As many run side by side as
there are cores. SEED is that of the first history, or "random". Ends with a summary, also when it is interrupted, and
with status 1 if a history failed."""
import concurrent.futures
import os
import random
import subprocess
import sys
import time

STEPS_OF_A_HISTORY = 100
HISTORIES_OF_A_RUN = 5
BAR = 40


def run(command, seed, rounds):
    environment = os.environ | {"OFTAB_SEED": str(seed), "OFTAB_ROUNDS": str(rounds)}
    return subprocess.run(command, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)


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


def soak(command, first, histories, progress):
    """The output of the runs that failed; less than all of them when it is interrupted."""
    failures = []
    pool = concurrent.futures.ThreadPoolExecutor(os.cpu_count())
    counts = {pool.submit(run, command, first + at, count): count for at in range(0, histories, HISTORIES_OF_A_RUN)
              for count in [min(HISTORIES_OF_A_RUN, histories - at)]}
    try:
        for each in concurrent.futures.as_completed(counts):
            progress.advance(counts[each] * STEPS_OF_A_HISTORY)
            if each.result().returncode != 0:
                failures.append(each.result().stdout)
    except KeyboardInterrupt:
        pool.shutdown(cancel_futures=True)
    return failures


def main():
    steps, seed, command = int(sys.argv[1]), sys.argv[2], sys.argv[3:]
    histories = max(1, steps // STEPS_OF_A_HISTORY)
    first = random.getrandbits(40) if seed == "random" else int(seed)
    print(f"{histories:,} histories of {STEPS_OF_A_HISTORY} steps, the first one's seed is {first}", flush=True)
    progress = Progress(histories * STEPS_OF_A_HISTORY)
    failures = soak(command, first, histories, progress)
    for failure in failures:
        print(f"\n{failure}")
    print(f"\n{progress.done:,} steps in {progress.seconds():.0f} s, {len(failures)} runs failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
