# SPDX-License-Identifier: Apache-2.0
"""An os-ken application: hosts of two subnets reach each other by addresses of their own, which flows translate."""
from os_ken.base import app_manager
from os_ken.controller import ofp_event
from os_ken.controller.handler import MAIN_DISPATCHER, set_ev_cls
from os_ken.ofproto import ofproto_v1_0

# For packets that come in by a port to an address: from and to which addresses they go on, and by which port.
ROADS = {(1, "10.0.0.99"): ("192.168.7.99", "192.168.7.2", "02:00:00:00:00:02", 2),
         (2, "192.168.7.99"): ("10.0.0.99", "10.0.0.1", "02:00:00:00:00:01", 1)}


class Translator(app_manager.OSKenApp):
    OFP_VERSIONS = [ofproto_v1_0.OFP_VERSION]

    @set_ev_cls(ofp_event.EventOFPPacketIn, MAIN_DISPATCHER)
    def packet_in(self, event):
        message = event.msg
        switch, parser = message.datapath, message.datapath.ofproto_parser
        if message.data[12:14] != b"\x08\x00":
            return
        to = ".".join(str(octet) for octet in message.data[30:34])
        if (message.in_port, to) not in ROADS:
            return
        source, destination, mac, port = ROADS[message.in_port, to]
        match = parser.OFPMatch(in_port=message.in_port, dl_type=0x0800, nw_dst=to)
        switch.send_msg(parser.OFPFlowMod(
            switch, match, cookie=0, command=switch.ofproto.OFPFC_ADD, buffer_id=message.buffer_id,
            actions=[parser.OFPActionSetNwSrc(source), parser.OFPActionSetNwDst(destination),
                     parser.OFPActionSetDlDst(mac), parser.OFPActionOutput(port)]))
