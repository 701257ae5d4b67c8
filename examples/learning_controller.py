# SPDX-License-Identifier: Apache-2.0
"""A learning controller: remembers behind which port of a switch each address was heard, and enters a flow for each
pair of addresses that talk, so that their packets stay in hardware from then on.

    osken-manager examples/learning_controller.py
"""
from os_ken.base import app_manager
from os_ken.controller import ofp_event
from os_ken.controller.handler import MAIN_DISPATCHER, set_ev_cls
from os_ken.ofproto import ofproto_v1_0

IDLE = 60  # seconds without packets until a flow ends
PRIORITY = 100


def text(address):
    return ":".join(f"{octet:02x}" for octet in address)


class LearningController(app_manager.OSKenApp):
    OFP_VERSIONS = [ofproto_v1_0.OFP_VERSION]

    def __init__(self, *args, **kwargs):
        super().__init__(*args, **kwargs)
        self.places = {}  # port by switch and address

    @set_ev_cls(ofp_event.EventOFPPacketIn, MAIN_DISPATCHER)
    def packet_in(self, event):
        message = event.msg
        switch, in_port = message.datapath, message.in_port
        destination, source = bytes(message.data[:6]), bytes(message.data[6:12])
        self.places[switch.id, source] = in_port
        out_port = self.places.get((switch.id, destination))
        if out_port is None:
            self.send(message, switch.ofproto.OFPP_FLOOD)
        elif out_port != in_port:
            self.enter_flow(message, source, destination, out_port)

    def send(self, message, out_port):
        switch = message.datapath
        switch.send_msg(switch.ofproto_parser.OFPPacketOut(
            datapath=switch, buffer_id=message.buffer_id, in_port=message.in_port,
            actions=[switch.ofproto_parser.OFPActionOutput(out_port)], data=None))

    def enter_flow(self, message, source, destination, out_port):
        """The packet in the switch's buffer takes the new flow."""
        switch, parser = message.datapath, message.datapath.ofproto_parser
        match = parser.OFPMatch(in_port=message.in_port, dl_src=text(source), dl_dst=text(destination))
        switch.send_msg(parser.OFPFlowMod(
            switch, match, cookie=0, command=switch.ofproto.OFPFC_ADD, idle_timeout=IDLE, priority=PRIORITY,
            buffer_id=message.buffer_id, actions=[parser.OFPActionOutput(out_port)]))

    @set_ev_cls(ofp_event.EventOFPPortStatus, MAIN_DISPATCHER)
    def port_changed(self, event):
        """What was heard behind a port that went down may be elsewhere now."""
        switch, port = event.msg.datapath, event.msg.desc
        if not port.state & switch.ofproto.OFPPS_LINK_DOWN:
            return
        self.places = {key: place for key, place in self.places.items() if (key[0], place) != (switch.id, port.port_no)}
        parser = switch.ofproto_parser
        switch.send_msg(parser.OFPFlowMod(
            switch, parser.OFPMatch(), cookie=0, command=switch.ofproto.OFPFC_DELETE, out_port=port.port_no, actions=[]))
