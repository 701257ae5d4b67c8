# SPDX-License-Identifier: Apache-2.0
"""A switch's life over and over: random requests, port and membership changes, traffic, time and faults, each step
compared with a model and audited.  soak.py STEPS SEED COMMAND...

COMMAND runs histories of 100 steps from the seed OFTAB_SEED on, OFTAB_ROUNDS of them. As many run side by side as
there are cores. SEED is that of the first history, or "random". Ends with a summary, and with status 1 if a history
failed."""
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


def show(done, steps, started):
    share = min(done / steps, 1)
    rate = done / (time.monotonic() - started)
    left = (steps - done) / rate if rate else 0
    line = f"[{'#' * int(BAR * share):{BAR}}] {done:,} of {steps:,} steps, {rate:,.0f}/s, {max(left, 0):.0f} s left"
    if sys.stdout.isatty():
        print(f"\r{line} ", end="", flush=True)
    elif share == 1:
        print(line)


def main():
    steps, seed, command = int(sys.argv[1]), sys.argv[2], sys.argv[3:]
    histories = max(1, steps // STEPS_OF_A_HISTORY)
    first = random.getrandbits(40) if seed == "random" else int(seed)
    started, failures, done = time.monotonic(), [], 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        runs = [pool.submit(run, command, first + at, min(HISTORIES_OF_A_RUN, histories - at))
                for at in range(0, histories, HISTORIES_OF_A_RUN)]
        for each in concurrent.futures.as_completed(runs):
            done += HISTORIES_OF_A_RUN * STEPS_OF_A_HISTORY
            show(min(done, histories * STEPS_OF_A_HISTORY), histories * STEPS_OF_A_HISTORY, started)
            if each.result().returncode != 0:
                failures.append(each.result().stdout)
    for failure in failures:
        print(f"\n{failure}")
    print(f"\n{histories} histories of {STEPS_OF_A_HISTORY} steps from seed {first}: {len(failures)} runs failed, "
          f"{time.monotonic() - started:.0f} s")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
