// SPDX-License-Identifier: Apache-2.0
// How people name interfaces: N and Eth1/N are front-panel ports (N from 1 to 48), pcN and port-channelN port channels.
#ifndef AGENT_INTERFACE_NAMES_H
#define AGENT_INTERFACE_NAMES_H

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "agent/text.h"
#include "host/services/interfaces.h"

namespace agent {

// The ifindex of an interface that exists; a TextError otherwise.
uint32_t interface_named(const Word &name, const host::services::Interfaces &interfaces);

// Several as interface_names() prints them, each with the part of the list that names it.
std::vector<std::pair<Word, uint32_t>> listed_interfaces(const Word &list,
                                                         const host::services::Interfaces &interfaces);

// What a flow can send to: an interface, 1000 + N for port channel N, or a reserved port ("LOCAL").
uint32_t port_or_reserved(const Word &name, const host::services::Interfaces &interfaces);

// The same for several: "Eth1/1-4" too.
std::vector<uint32_t> ports_named(const Word &names, const host::services::Interfaces &interfaces);

// What a flow can match as a port: the same, any port channel, and any number of OpenFlow, existing or not.
uint32_t possible_port_named(const Word &name);

// Whether a word looks like the name of a port, existing or not.
bool names_port(const Word &word);

// An interface of one kind; a port channel can be named by its number alone.
uint32_t port_named(const Word &name);
uint32_t port_channel_named(const Word &name, const host::services::Interfaces &interfaces);

// The ifindex of a port channel that need not exist.
uint32_t possible_port_channel_named(const Word &name);

// Eth1/N, pcN or the name of a reserved port. For what is none of them, a number of OpenFlow or an ifindex: in decimal
// or hexadecimal.
std::string interface_name(uint32_t ifindex);

// Several interfaces, ports drawn together: "Eth1/1-3,7,pc2".
std::string interface_names(std::span<const uint32_t> ifindexes);

// What the interface manager knows about an interface: its hardware interface id, its OpenFlow state.
std::string interface_id_text(const host::services::Interfaces &interfaces, uint32_t ifindex);
std::string openflow_text(const host::services::Interfaces &interfaces, uint32_t ifindex);

// The front-panel port that the SDK calls `sdk_port`.
uint32_t sdk_port_ifindex(uint8_t sdk_port);

}  // namespace agent

#endif
