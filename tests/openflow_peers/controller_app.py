# SPDX-License-Identifier: Apache-2.0
"""A controller for one oftab-switch: sends packets, enters a flow, waits for what must come of them, and
tells the test each step on a line of standard output. Run by osken-manager."""
import functools

from os_ken.base import app_manager
from os_ken.controller import ofp_event
from os_ken.controller.handler import MAIN_DISPATCHER, set_ev_cls
from os_ken.lib import hub
from os_ken.ofproto import ofproto_v1_0

PORTS = 48
PATIENCE = 15  # seconds
say = functools.partial(print, flush=True)

# A segment of 10.9.8.7:1025 to 10.0.0.1:80.
PACKET = bytes.fromhex("0200000000bb 0200000000aa 0800 4500002800000000400665160a0908070a000001"
                       "04010050000000000000000050000000 00000000 000000000000")


class Controller(app_manager.OSKenApp):
    OFP_VERSIONS = [ofproto_v1_0.OFP_VERSION]

    def __init__(self, *args, **kwargs):
        super().__init__(*args, **kwargs)
        self.seen = hub.Queue()

    # What the switch says is put in a queue, from which the scenario takes it.
    @set_ev_cls([ofp_event.EventOFPPacketIn, ofp_event.EventOFPFlowRemoved, ofp_event.EventOFPPortStatus,
                 ofp_event.EventOFPBarrierReply, ofp_event.EventOFPPortStatsReply], MAIN_DISPATCHER)
    def note(self, event):
        self.seen.put(event.msg)

    @set_ev_cls(ofp_event.EventOFPStateChange, MAIN_DISPATCHER)
    def connected(self, event):
        hub.spawn(self.run, event.datapath)

    def expect(self, kind):
        """The next message, which must be of this kind."""
        with hub.Timeout(PATIENCE):
            message = self.seen.get()
        assert type(message).__name__ == kind, f"{message} instead of {kind}"
        return message

    def run(self, datapath):
        try:
            self.datapath = datapath
            self.scenario(datapath, datapath.ofproto, datapath.ofproto_parser)
        except BaseException as problem:  # the test must see it, whatever it is
            say(f"failed: {type(problem).__name__} {problem}")
        say("done")

    def send_packet(self, ofproto, parser):
        self.datapath.send_msg(parser.OFPPacketOut(
            self.datapath, ofproto.OFP_NO_BUFFER, in_port=7, actions=[parser.OFPActionOutput(ofproto.OFPP_TABLE)],
            data=PACKET))

    def scenario(self, datapath, ofproto, parser):
        say(f"switch {datapath.id:#x} with {len([port for port in datapath.ports if port <= PORTS])} ports")
        self.send_packet(ofproto, parser)
        missed = self.expect("OFPPacketIn")
        say(f"miss of {missed.total_len} octets from port {missed.in_port}, {len(missed.data)} sent, "
            f"reason {missed.reason}")
        datapath.send_msg(parser.OFPFlowMod(
            datapath, parser.OFPMatch(dl_type=0x0800, nw_dst="10.0.0.1"), 0x77, ofproto.OFPFC_ADD, idle_timeout=2,
            buffer_id=missed.buffer_id, flags=ofproto.OFPFF_SEND_FLOW_REM, actions=[parser.OFPActionOutput(9)]))
        datapath.send_barrier()
        self.expect("OFPBarrierReply")
        datapath.send_msg(parser.OFPPortStatsRequest(datapath, 0, 9))
        say(f"port 9 sent {self.expect('OFPPortStatsReply').body[0].tx_packets} packet")

        self.send_packet(ofproto, parser)
        removed = self.expect("OFPFlowRemoved")
        say(f"flow {removed.cookie:#x} ended, reason {removed.reason}, {removed.packet_count} packet, "
            f"{'in' if 2 <= removed.duration_sec <= 3 else 'out of'} time")

        datapath.send_msg(parser.OFPPortMod(datapath, 9, datapath.ports[9].hw_addr, ofproto.OFPPC_NO_FWD,
                                            ofproto.OFPPC_NO_FWD, 0))
        say(f"port 9 has configuration {self.expect('OFPPortStatus').desc.config}")
