# SPDX-License-Identifier: Apache-2.0
"""A tree of three switches and four hosts in Mininet, under a learning controller: every host pings every other, then
the switches are looked at from outside and at their prompt.  demo.py OFTAB_SWITCH

`make demo` runs it. To be run by `python3 -P`, since examples/mininet.py is not the package that it imports."""
import importlib.util
import os
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.append(HERE)  # behind the installed packages

from controller import learning_controller
from isolation import is_permitted, isolate

CONTROLLER_PORT, FIRST_LISTEN_PORT = 6653, 6654


def show(words):
    """Runs a program as a user would at a shell; what it prints stands below its command line."""
    print("$", " ".join(f"'{word}'" if " " in word else word for word in words), flush=True)
    subprocess.run(words, check=True)
    print(flush=True)


def switch_class():
    named = importlib.util.spec_from_file_location("oftab_mininet", os.path.join(HERE, "mininet.py"))
    module = importlib.util.module_from_spec(named)
    named.loader.exec_module(module)
    return module.OftabSwitch


def tour(program):
    from mininet.net import Mininet
    from mininet.node import RemoteController
    from mininet.topolib import TreeTopo

    net = Mininet(TreeTopo(depth=2, fanout=2), switch=switch_class(), controller=None, listenPort=FIRST_LISTEN_PORT)
    net.addController("c0", controller=RemoteController, ip="127.0.0.1", port=CONTROLLER_PORT)
    try:
        net.start()
        if not net.waitConnected(timeout=30):
            raise SystemExit("the switches do not reach the controller")
        print(f"{len(net.switches)} switches are connected to a learning controller; their ports lead to")
        for switch in net.switches:
            peers = ", ".join(f"{other.node.name}" for port, interface in sorted(switch.intfs.items()) if port
                              for other in (interface.link.intf1, interface.link.intf2) if other is not interface)
            print(f"  {switch.name}: {peers}")
        print("\nEvery host pings every other:", flush=True)
        loss = net.pingAll()
        print(f"{loss:g} % loss\n")
        root = net.switches[0]
        show(["ovs-ofctl", "dump-flows", f"tcp:127.0.0.1:{root.listenPort}"])
        show([program, "attach", root.console, "-c", "tables; flows; ports"])
        return loss
    finally:
        net.stop()


def main():
    program = os.path.abspath(sys.argv[1])
    if os.geteuid() != 0 or not is_permitted():
        raise SystemExit("the demo makes network namespaces, which is not permitted here: sudo make demo")
    isolate("-P", "-B")
    os.environ["OFTAB_SWITCH"] = program
    with learning_controller(CONTROLLER_PORT):
        loss = tour(program)
    print("All pings were answered." if loss == 0 else f"{loss:g} % of the pings were lost.")
    return 0 if loss == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
