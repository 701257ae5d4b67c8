# SPDX-License-Identifier: Apache-2.0
"""oftab-switch as a switch of Mininet:

    mn --custom examples/mininet.py --switch oftab --controller remote --topo tree,2 --test pingall

Port N is interface N of Mininet's switch. The program is $OFTAB_SWITCH, or else the one that is installed, or else the
one that `make` built here. Switches log to /tmp/NAME-oftab.log."""
import os
import shutil
import subprocess
import tempfile
import time

from mininet.node import Switch

PATIENCE = 10  # seconds until a switch takes commands


def program():
    built = [path for path in ("build/release/bin/oftab-switch",) if os.access(path, os.X_OK)]
    found = [os.environ.get("OFTAB_SWITCH"), shutil.which("oftab-switch"), *map(os.path.abspath, built)]
    return next((path for path in found if path), None)


class OftabSwitch(Switch):
    """A switch with 48 ports, in the root namespace unless it is told otherwise."""

    def __init__(self, name, **settings):
        super().__init__(name, **settings)
        self.console = os.path.join(tempfile.gettempdir(), f"{name}-{os.getpid()}-oftab.sock")
        self.log = os.path.join(tempfile.gettempdir(), f"{name}-oftab.log")
        self.process = None

    @classmethod
    def setup(cls):
        if program() is None:
            raise SystemExit("oftab-switch is neither installed nor built: make run, or set OFTAB_SWITCH")

    def start(self, controllers):
        # It ends with Mininet, however that ends; without a port to listen on, any one will do.
        words = ["setpriv", "--pdeathsig", "TERM", program(), "serve", "--datapath-id", self.dpid, "--socket",
                 self.console, "--listen", f"ptcp:{self.listenPort or 0}:127.0.0.1"]
        for port, interface in self.intfs.items():
            if port > 0:
                words += ["--port", f"{port}={interface}"]
        for controller in controllers:
            words += ["--controller", f"tcp:{controller.IP()}:{controller.port}"]
        with open(self.log, "w") as log:
            self.process = self.popen(words, stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        self.wait_for_console()

    def wait_for_console(self):
        deadline = time.monotonic() + PATIENCE
        while not os.path.exists(self.console):
            if self.process.poll() is not None or time.monotonic() > deadline:
                with open(self.log) as log:
                    raise RuntimeError(f"{self.name} does not serve: {log.read().strip()}")
            time.sleep(0.01)

    def stop(self, deleteIntfs=True):
        if self.process is not None:
            self.process.terminate()
            self.process.wait()
            self.process = None
        super().stop(deleteIntfs)

    def run(self, commands):
        """What commands of the switch's prompt print."""
        done = subprocess.run([program(), "attach", self.console, "-c", commands], capture_output=True, text=True)
        return done.stdout + done.stderr

    def dpctl(self, *words):
        return self.run(" ".join(words))

    def connected(self):
        return self.process is not None and "connected" in self.run("controllers")

    def attach(self, interface):
        """An interface that was added while the switch runs."""
        return self.run(f"port attach {self.ports[self.nameToIntf[str(interface)]]} {interface}")

    def detach(self, interface):
        return self.run(f"port detach {self.ports[self.nameToIntf[str(interface)]]}")


switches = {"oftab": OftabSwitch}
