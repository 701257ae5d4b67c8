# SPDX-License-Identifier: Apache-2.0
"""What a port cannot lead to."""
from serving import Switch
from switch import PROGRAM, run

COMPLAINTS = (
    ("1", "PORT=INTERFACE"),
    ("1=", "PORT=INTERFACE"),
    ("99=p1", "99"),
    ("1=nowhere0", "nowhere0: No such device"),
    ("1=lo", "lo is a loopback interface"),
    ("1=tun0", "tun0 carries no Ethernet frames"),
    ("1=p3", "p3 is taken: it is a member of br0"),
    ("1=tap:p2", "p2 exists and is no TAP"),
    ("1=tap:tun0", "tun0 exists and is no TAP"),
    ("1=tap:tap0", "tap0 is taken: Device or resource busy"),
)


def bad_input_names_itself(one, other, third):
    run("ip", "link", "add", "br0", "type", "bridge")
    run("ip", "link", "set", third.far, "master", "br0")
    run("ip", "tuntap", "add", "tun0", "mode", "tun")
    with Switch({1: one, 2: "tap:tap0"}) as switch:
        taken = f"is taken: a port of process {switch.process.pid} leads to it"
        for port, complaint in COMPLAINTS + (("1=p1", "p1 " + taken),):
            seen = run(PROGRAM, "serve", "--listen", "ptcp:0", "--port", port, status=1)
            assert complaint in seen, seen
        for end in "p1", "tap0":
            seen = switch.run(f"port attach 3 {end}", status=1)
            assert f"{end} is taken: another port of this switch leads to it" in seen, seen
        switch.kill()
        with Switch({1: one, 2: "tap:tap0"}):
            pass
