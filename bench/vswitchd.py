# SPDX-License-Identifier: Apache-2.0
"""ovs-vswitchd with one bridge, for as long as a block of a program runs; part of Debian's openvswitch-switch."""
import contextlib
import os
import re
import shutil
import subprocess
import tempfile

PROGRAMS = ("ovs-vswitchd", "ovsdb-server", "ovsdb-tool", "ovs-vsctl")
SCHEMA = "/usr/share/openvswitch/vswitch.ovsschema"
QUIET = {"stderr": subprocess.DEVNULL, "stdout": subprocess.DEVNULL}


def is_installed():
    return all(shutil.which(program) for program in PROGRAMS)


def version():
    return re.search(r"[0-9.]+", subprocess.run(["ovs-vswitchd", "--version"], capture_output=True, text=True).stdout)[0]


@contextlib.contextmanager
def process(*words, **others):
    running = subprocess.Popen(words, **others)
    try:
        yield running
    finally:
        running.terminate()
        running.wait()


@contextlib.contextmanager
def bridge(datapath, *words):
    """Bridge br0, without flows, in user space; `words` are ovs-vsctl's. The directory with its management socket."""
    with tempfile.TemporaryDirectory() as directory:
        os.environ.update(OVS_RUNDIR=directory, OVS_LOGDIR=directory, OVS_DBDIR=directory)
        database, server = directory + "/conf.db", f"unix:{directory}/db.sock"
        subprocess.run(["ovsdb-tool", "create", database, SCHEMA], check=True)
        with process("ovsdb-server", database, f"--remote=p{server}", **QUIET):
            subprocess.run(["ovs-vsctl", "--retry", f"--db={server}", "--no-wait", "init"], check=True)
            with process("ovs-vswitchd", server, "--enable-dummy", "--disable-system", **QUIET):
                subprocess.run(["ovs-vsctl", f"--db={server}", "add-br", "br0", "--", "set", "bridge", "br0",
                                f"datapath_type={datapath}", "protocols=OpenFlow10", "fail_mode=secure", *words],
                               check=True)
                yield directory
