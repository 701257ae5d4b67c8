"""Flow-mods and dumps through a real socket on oftab-switch, and on ovs-vswitchd (user space, dummy datapath) where it
is installed.  openflow.py OFTAB_SWITCH CLIENT

Everything runs on one core, client included, so that both switches have the same."""
import contextlib
import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import time

OVS_PROGRAMS = ("ovs-vswitchd", "ovsdb-server", "ovsdb-tool", "ovs-vsctl")
OVS_SCHEMA = "/usr/share/openvswitch/vswitch.ovsschema"


@contextlib.contextmanager
def process(*words, **others):
    running = subprocess.Popen(words, **others)
    try:
        yield running
    finally:
        running.terminate()
        running.wait()


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return str(probe.getsockname()[1])


def wait_for_port(port):
    for _ in range(100):
        with socket.socket() as probe:
            if probe.connect_ex(("127.0.0.1", int(port))) == 0:
                return
        time.sleep(0.1)
    raise TimeoutError(f"nobody listens at port {port}")


def measure(client, port, name):
    print(f"\n{name}")
    subprocess.run([client, "127.0.0.1", port], check=True)


def measure_oftab(switch, client):
    with tempfile.TemporaryDirectory() as directory:
        port = free_port()
        with process(switch, "serve", "--listen", f"ptcp:{port}:127.0.0.1", "--socket", directory + "/console",
                     stderr=subprocess.DEVNULL):
            wait_for_port(port)
            measure(client, port, "oftab-switch")


def measure_ovs(client):
    with tempfile.TemporaryDirectory() as directory:
        port = free_port()
        os.environ.update(OVS_RUNDIR=directory, OVS_LOGDIR=directory, OVS_DBDIR=directory)
        database, server = directory + "/conf.db", f"unix:{directory}/db.sock"
        quiet = {"stderr": subprocess.DEVNULL, "stdout": subprocess.DEVNULL}
        subprocess.run(["ovsdb-tool", "create", database, OVS_SCHEMA], check=True)
        with process("ovsdb-server", database, f"--remote=p{server}", **quiet):
            subprocess.run(["ovs-vsctl", "--retry", f"--db={server}", "--no-wait", "init"], check=True)
            with process("ovs-vswitchd", server, "--enable-dummy", "--disable-system", **quiet):
                subprocess.run(["ovs-vsctl", f"--db={server}", "add-br", "br0", "--", "set", "bridge", "br0",
                                "datapath_type=dummy", "protocols=OpenFlow10", "fail_mode=secure", "--",
                                "set-controller", "br0", f"ptcp:{port}:127.0.0.1"], check=True)
                wait_for_port(port)
                version = subprocess.run(["ovs-vswitchd", "--version"], capture_output=True, text=True).stdout
                measure(client, port, f"ovs-vswitchd {re.search(r'[0-9.]+', version)[0]}")


def main():
    os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})
    switch, client = sys.argv[1:]
    measure_oftab(switch, client)
    if all(shutil.which(program) for program in OVS_PROGRAMS):
        measure_ovs(client)
    else:
        print("\novs-vswitchd is not installed (openvswitch-switch)")


if __name__ == "__main__":
    main()
