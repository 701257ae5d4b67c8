// SPDX-License-Identifier: Apache-2.0
// What became of a packet, in words.
#ifndef APP_VIEWS_FATE_H
#define APP_VIEWS_FATE_H

#include <string>

#include "agent/flow_table.h"
#include "host/asic/packet.h"

namespace app {

// Each packet has one outcome; a copy to the CPU can come in addition.
enum class Outcome { Normal, Output, Controller, Dropped, Unmatched, Cpu, kCount };

// Unmatched: no flow matched, whatever the catch-all entry then did. Cpu: as Controller, for flows that the CPU serves.
Outcome outcome_of(const host::asic::Fate &fate);

bool is_copied(const host::asic::Fate &fate);

// "flow 17 (index 2016, priority 64840)", "the catch-all entry", "nothing".
std::string match_text(const host::asic::Fate &fate);

// "normal", "Eth1/13,18 and a copy to the CPU (code 4)", "dropped".
std::string destination_text(const host::asic::Fate &fate);

// What the CPU does with a packet that the hardware brings to it: "on the CPU: flow 5 (priority 100):
// mod_vlan_vid:5,output:Eth1/2", "on the CPU: no flow".
std::string cpu_text(const agent::FlowTable &flows, const agent::Packet &packet);

}  // namespace app

#endif
