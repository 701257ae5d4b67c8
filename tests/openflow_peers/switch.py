# SPDX-License-Identifier: Apache-2.0
"""A serving oftab-switch for tests with real peers, and programs beside it."""
import contextlib
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

PROGRAM = os.path.abspath(sys.argv[1])
SKIPPED = 77
PATIENCE = 30  # seconds until something that has to happen is given up


def require(*programs):
    """Ends the test as skipped unless all of these programs are installed."""
    missing = [program for program in programs if shutil.which(program) is None]
    if missing:
        print("skipped: not installed:", *missing)
        sys.exit(SKIPPED)


def run(*words, status=0):
    """What a program prints on both of its outputs."""
    done = subprocess.run(words, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=200)
    assert done.returncode == status, f"{' '.join(words)}: {done.returncode}\n{done.stdout}"
    return done.stdout


@contextlib.contextmanager
def free_port():
    """A port of 127.0.0.1 where a program can listen, and which nobody else is given."""
    with socket.socket() as held:
        held.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        held.bind(("127.0.0.1", 0))
        yield str(held.getsockname()[1])


@contextlib.contextmanager
def reading(*words, stderr=subprocess.DEVNULL):
    """What a program prints, which runs as long as the block does."""
    environment = {**os.environ, "PYTHONDONTWRITEBYTECODE": "1", "OVS_RUNDIR": "/tmp", "OVS_LOGDIR": "/tmp"}
    process = subprocess.Popen(words, stdout=subprocess.PIPE, stderr=stderr, text=True, env=environment)
    try:
        yield process.stdout
    finally:
        process.terminate()
        process.communicate()


def read_until(lines, text):
    """Up to and with the line that has a text."""
    seen = ""
    while text not in seen:
        line = lines.readline()
        assert line, f"it ended before {text}:\n{seen}"
        seen += line
    return seen


def until(condition, what):
    """Waits for a condition to hold; its value."""
    deadline = time.monotonic() + PATIENCE
    while not (value := condition()):
        assert time.monotonic() < deadline, f"it never came that {what}"
        time.sleep(0.01)
    return value


def expect(what, seen, wanted):
    assert seen == wanted, f"{what}:\n{seen}\nwanted:\n{wanted}"


class Switch:
    """Serves until the end of its block; `endpoint` is where it listens, if it does, and `log` what it said."""

    def __init__(self, *options):
        self.directory = tempfile.TemporaryDirectory(prefix="oftab.")
        self.console = self.directory.name + "/console"
        self.words = [PROGRAM, "serve", "--socket", self.console, *options]

    def __enter__(self):
        with open(self.directory.name + "/log", "w") as log:
            self.process = subprocess.Popen(self.words, stderr=log)
        begun = "listening" if "--listen" in self.words else "\n"
        until(lambda: begun in self.read_log() or self.process.poll() is not None, "the switch serves")
        listening = re.search(r" p(tcp|ssl):(\d+):127\.0\.0\.1: listening", self.read_log())
        self.endpoint = f"{listening[1]}:127.0.0.1:{listening[2]}" if listening else None
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()
        self.log = self.read_log()
        assert self.process.returncode in (0, -signal.SIGKILL), f"it ended with {self.process.returncode}:\n{self.log}"
        self.directory.cleanup()

    def read_log(self):
        with open(self.directory.name + "/log") as log:
            return log.read()

    def run(self, commands, status=0):
        """What an operator's commands print, complaints included."""
        return run(PROGRAM, "attach", self.console, "-c", commands, status=status)

    def kill(self):
        self.process.kill()
        self.process.wait()
