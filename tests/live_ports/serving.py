# SPDX-License-Identifier: Apache-2.0
"""oftab-switches whose ports lead to hosts."""
import re
import signal
import subprocess
import sys
import tempfile

from network import run, until

PROGRAM = sys.argv[1]


class Switch:
    """Serves until the end of its block, its ports leading to hosts or interfaces."""

    def __init__(self, ports, *options):
        words = [word for number, far in ports.items() for word in ("--port", f"{number}={getattr(far, 'far', far)}")]
        self.directory = tempfile.TemporaryDirectory(prefix="oftab.")
        self.console = self.directory.name + "/console"
        self.words = [PROGRAM, "serve", "--socket", self.console, "--listen", "ptcp:0:127.0.0.1", *words, *options]

    def __enter__(self):
        self.log = open(self.directory.name + "/log", "w+")
        self.process = subprocess.Popen(self.words, stderr=self.log)
        until(lambda: "listening" in self.read_log() or self.process.poll() is not None, "the switch listens")
        self.openflow_port = int(re.search(r"ptcp:(\d+):127\.0\.0\.1: listening", self.read_log())[1])
        return self

    def __exit__(self, *_):
        self.process.terminate()
        assert self.process.wait() in (0, -signal.SIGKILL), self.read_log()
        self.log.close()
        self.directory.cleanup()

    def read_log(self):
        with open(self.log.name) as log:
            return log.read()

    def run(self, commands, status=0):
        return run(PROGRAM, "attach", self.console, "-c", commands, status=status)

    def kill(self):
        self.process.kill()
        self.process.wait()

    def counts(self, number):
        """Of a port, by name: rx_pkts, tx_drop ..."""
        return self.all_counts()[number]

    def all_counts(self):
        """By port."""
        return {int(number): {f"{side}_{name}": int(value) for side, text in (("rx", received), ("tx", sent))
                              for name, value in re.findall(r"(\w+)=(\d+)", text)}
                for number, received, sent in re.findall(r"port Eth1/(\d+): rx (.*); tx (.*)", self.run("dump-ports"))}
