# SPDX-License-Identifier: Apache-2.0
"""An os-ken controller that runs for as long as a block of a program does."""
import contextlib
import os
import socket
import subprocess
import time

PATIENCE = 30  # seconds until it listens
APPLICATION = os.path.join(os.path.dirname(os.path.abspath(__file__)), "learning_controller.py")


def is_listening(port):
    with socket.socket() as probe:
        return probe.connect_ex(("127.0.0.1", port)) == 0


def wait_until_listening(manager, port):
    deadline = time.monotonic() + PATIENCE
    while not is_listening(port):
        if manager.poll() is not None or time.monotonic() > deadline:
            raise RuntimeError(f"osken-manager does not listen at port {port}")
        time.sleep(0.1)


@contextlib.contextmanager
def learning_controller(port=6653):
    """The learning controller, on the loopback interface; its own messages go to standard error."""
    manager = subprocess.Popen(
        ["osken-manager", "--ofp-listen-host", "127.0.0.1", "--ofp-tcp-listen-port", str(port), APPLICATION],
        stdout=subprocess.DEVNULL, env={**os.environ, "PYTHONDONTWRITEBYTECODE": "1"})
    try:
        wait_until_listening(manager, port)
        yield manager
    finally:
        manager.terminate()
        manager.wait()
