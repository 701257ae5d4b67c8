# SPDX-License-Identifier: Apache-2.0
"""oftab-switches whose ports lead to hosts."""
import re

import network  # knows where the peers are
import switch


class Switch(switch.Switch):
    """Its ports lead to hosts or interfaces."""

    def __init__(self, ports, *options):
        words = [word for number, far in ports.items() for word in ("--port", f"{number}={getattr(far, 'far', far)}")]
        super().__init__("--listen", "ptcp:0:127.0.0.1", *words, *options)

    def counts(self, number):
        """Of a port, by name: rx_pkts, tx_drop ..."""
        return self.all_counts()[number]

    def all_counts(self):
        """By port."""
        return {int(number): {f"{side}_{name}": int(value) for side, text in (("rx", received), ("tx", sent))
                              for name, value in re.findall(r"(\w+)=(\d+)", text)}
                for number, received, sent in re.findall(r"port Eth1/(\d+): rx (.*); tx (.*)", self.run("dump-ports"))}
