# SPDX-License-Identifier: Apache-2.0
"""A serving oftab-switch for tests with real peers."""
import re
import shutil
import subprocess
import sys
import tempfile

SKIPPED = 77


def require(*programs):
    """Ends the test as skipped unless all of these programs are installed."""
    for program in programs:
        if shutil.which(program) is None:
            print(f"skipped: {program} is not installed")
            sys.exit(SKIPPED)


class Switch:
    """Serves until the end of its block; `endpoint` is where it listens, if it does."""

    def __init__(self, *arguments):
        self.directory = tempfile.TemporaryDirectory(prefix="oftab.")
        self.socket = self.directory.name + "/console"
        self.arguments = [sys.argv[1], "serve", "--socket", self.socket, *arguments]

    def __enter__(self):
        self.process = subprocess.Popen(self.arguments, stderr=subprocess.PIPE, text=True)
        first_line = self.process.stderr.readline()
        listening = re.search(r" p(tcp|ssl):(\d+):127\.0\.0\.1: listening", first_line)
        self.endpoint = f"{listening[1]}:127.0.0.1:{listening[2]}" if listening else None
        return self

    def prompt(self, command):
        """What an operator's command prints, complaints included."""
        done = subprocess.run([sys.argv[1], "attach", self.socket, "-c", command], capture_output=True, text=True)
        return done.stdout + done.stderr

    def __exit__(self, *_):
        self.process.terminate()
        self.log = self.process.communicate()[1]
        assert self.process.returncode == 0, f"the switch ended with {self.process.returncode}:\n{self.log}"
        self.directory.cleanup()
