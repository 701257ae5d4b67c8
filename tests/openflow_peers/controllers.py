# SPDX-License-Identifier: Apache-2.0
"""Lets a serving oftab-switch seek an os-ken controller, twice.  controllers.py OFTAB_SWITCH OSKEN_MANAGER"""
import os
import socket
import subprocess
import sys

from switch import Switch, expect, require

WANTED = """\
switch 0xda7a with 48 ports
miss of 60 octets from port 7, 60 sent, reason 0
port 9 sent 1 packet
flow 0x77 ended, reason 0, 1 packet, in time
port 9 has configuration 32
done
"""


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def steps_until_done(controller):
    seen = ""
    while not seen.endswith("done\n"):
        line = controller.stdout.readline()
        assert line and not line.startswith("failed"), f"{seen}{line}"
        seen += line
    return seen


def main():
    require("osken-manager")
    port = free_port()
    app = os.path.join(os.path.dirname(os.path.abspath(__file__)), "controller_app.py")
    controller = subprocess.Popen(
        ["osken-manager", "--ofp-listen-host", "127.0.0.1", "--ofp-tcp-listen-port", str(port), app],
        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, env={**os.environ, "PYTHONDONTWRITEBYTECODE": "1"})
    try:
        for _ in range(2):  # the controller must know the switch again after its restart
            with Switch("--controller", f"tcp:127.0.0.1:{port}", "--datapath-id", "0xda7a"):
                expect("steps", steps_until_done(controller), WANTED)
    finally:
        controller.kill()
        controller.communicate()


if __name__ == "__main__":
    main()
