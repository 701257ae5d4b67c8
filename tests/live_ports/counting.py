# SPDX-License-Identifier: Apache-2.0
"""Where frames end: each is counted there, and nowhere else."""
from signal import SIGCONT, SIGSTOP

from network import Switch, Tap, frame, run, until
import peer

BURST = 50
PLAIN, FLOODED = frame(2, 1), frame(255, 1)
TO_BRIDGES = bytes.fromhex("0180c200000e") + PLAIN[6:]
FROM_GROUP = PLAIN[:6] + b"\x03" + PLAIN[7:]
LONG = frame(2, 1, payload=bytes(1400))

# What becomes of frames into port 1; commands and port-mods (port, configuration) on top of those before; the frame; by
# port, the counts that go up by one for each. A packet-in is a count of the controller.
ENDS = (
    ("no flow matches", "del-flows", (), PLAIN, {"1 rx_drop"}),
    ("a flow drops", "add-flow actions=drop", (), PLAIN, {"1 rx_drop"}),
    ("a group sends", "", (), FROM_GROUP, {"1 rx_errs"}),
    ("to a port", "add-flow actions=output:2", (), PLAIN, {"2 tx_pkts"}),
    ("to two", "add-flow actions=output:2,output:3", (), PLAIN, {"2 tx_pkts", "3 tx_pkts"}),
    ("to the port it came by", "add-flow actions=output:1", (), PLAIN, {"1 rx_drop"}),
    ("to one that leads nowhere", "add-flow actions=output:9", (), PLAIN, {"9 tx_drop"}),
    ("too long for the interface", "add-flow actions=output:3", (), LONG, {"3 tx_errs"}),
    ("changed by the CPU", "add-flow actions=mod_vlan_pcp:1,output:2", (), PLAIN, {"2 tx_pkts"}),
    ("no time of the CPU", "cpu rate=0", (), PLAIN, {"1 rx_drop"}),
    ("to the switch itself", "cpu rate=100000; add-flow actions=local", (), PLAIN, {"1 rx_drop"}),
    ("to a controller", "add-flow actions=controller", (), PLAIN, {"packet-in"}),
    ("too many packet-ins", "cpu packet-ins=0", (), PLAIN, {"1 rx_drop"}),
    ("to a port as well", "add-flow actions=controller,output:2", (), PLAIN, {"2 tx_pkts"}),
    ("no packet-ins", "cpu packet-ins=1000; add-flow actions=controller", ((1, peer.NO_PACKET_IN),), PLAIN,
     {"1 rx_drop"}),
    ("not received", "", ((1, peer.NO_RECV),), PLAIN, {"1 rx_drop"}),
    ("switched off", "", ((1, peer.PORT_DOWN),), PLAIN, {"1 rx_drop"}),
    ("flooded", "add-flow actions=normal", ((1, 0),), FLOODED, {"2 tx_pkts", "3 tx_pkts"}),
    ("flooded but there", "", ((2, peer.NO_FLOOD),), FLOODED, {"3 tx_pkts"}),
    ("to where it was heard", "", (), PLAIN, {"2 tx_pkts"}),
    ("to bridges", "", (), TO_BRIDGES, {"1 rx_drop"}),
    ("to where it came by", "", (), frame(1, 1), {"1 rx_drop"}),
    ("not sent", "add-flow actions=output:2", ((2, peer.NO_FWD),), PLAIN, {"2 tx_drop"}),
    ("nowhere to flood", "add-flow actions=normal", ((3, peer.NO_FLOOD),), FLOODED, {"1 rx_drop"}),
    ("no controller", "add-flow actions=controller; disconnect {controller}", (), PLAIN, {"1 rx_drop"}),
    ("to no member of a port channel", "port-channel create 5; add-flow actions=output:pc5", (), PLAIN, {"1 rx_drop"}),
)


def frames_of(switch):
    return {f"{number} {name}": count for number, counts in switch.all_counts().items()
            for name, count in counts.items() if not name.endswith("bytes")}


def every_frame_is_counted(one, other, third):
    """Frames in = frames out + dropped, exactly."""
    run("ip", "link", "set", third.far, "mtu", "1000")
    hosts = {1: one, 2: other, 3: third}
    with Switch(hosts, "--miss", "drop") as switch:
        controller, sender = switch.peer(), Tap(one)
        switch.run("add-flow actions=normal")
        Tap(other).send(frame(1, 2))  # which is known from now on
        until(lambda: one.received() == 1, "its frame arrives")
        before = frames_of(switch)
        for what, commands, configurations, sent, ends in ENDS:
            switch.run(commands.format(controller=controller.name()))
            for number, configuration in configurations:
                controller.port_mod(number, hosts[number].far_mac(), configuration, 0x7F)
                assert controller.port_status()[:2] == (number, configuration)
            sender.send(*[sent] * BURST)
            taken = "1 rx_errs" if "1 rx_errs" in ends else "1 rx_pkts"

            def all_came():
                now = frames_of(switch)
                return now if now[taken] == before[taken] + BURST else None

            now = until(all_came, f"all frames came in: {what}")
            seen = {name: count - before[name] for name, count in now.items() if count != before[name]}
            before = now
            if "packet-in" in ends:
                seen["packet-in"] = len([controller.packet_in() for _ in range(BURST)])
            assert seen == dict.fromkeys(ends | {taken}, BURST), f"{what}: {seen}"
        sent = [switch.counts(number)["tx_pkts"] for number in hosts]
        assert [host.received() for host in hosts.values()] == sent, f"{sent} sent"
    run("ip", "link", "set", third.far, "mtu", "1500")


def too_many_frames_are_counted(one, other, third):
    """A switch that does not get to take them, from an interface or a TAP."""
    for name, sender in ((one.far, (one,)), ("tap:t1", (None, "t1"))):
        with Switch({1: name}, "--miss", "drop") as switch:
            sender = Tap(*sender)
            switch.process.send_signal(SIGSTOP)
            sender.send(*[PLAIN] * 20000)
            switch.process.send_signal(SIGCONT)
            until(lambda: (counts := switch.counts(1))["rx_pkts"] + counts["rx_over"] == 20000, "all were counted")
            assert switch.counts(1)["rx_over"] > 0 and switch.counts(1)["rx_drop"] == switch.counts(1)["rx_pkts"]
