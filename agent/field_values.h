// SPDX-License-Identifier: Apache-2.0
// The values of match fields as they are written: readers, which throw a TextError for what they cannot use, and
// printers, whose text a reader of the same field takes again.
#ifndef AGENT_FIELD_VALUES_H
#define AGENT_FIELD_VALUES_H

#include <string>

#include "agent/flow.h"
#include "agent/text.h"

namespace agent {

using FieldReader = Masked (*)(const Word &value);
using FieldPrinter = std::string (*)(const Masked &field);

// An address without a mask.
uint64_t mac_named(const Word &word);
uint64_t ip_named(const Word &word);

// What a flow can name as the port that packets come in by, existing or not.
Masked read_in_port(const Word &value);

// aa:bb:cc:dd:ee:ff, with a mask of the same form behind '/'.
Masked read_mac(const Word &value);

// A.B.C.D, with a prefix length or a mask behind '/'.
Masked read_ip(const Word &value);

Masked read_ethertype(const Word &value);

// A VLAN id, 0 for tags that carry a priority alone, or 0xffff for untagged frames; numbers between the ids and 0xffff
// are those of no frame. Elsewhere it is written as the id above the bit 0x1000 (0 for untagged frames), or as the
// whole tag, of which the id must be what the mask selects.
Masked read_vlan(const Word &value);
Masked read_vlan_vid(const Word &value);
Masked read_vlan_tci(const Word &value);
Masked read_vlan_pcp(const Word &value);

// The whole octet, of which the upper six bits are compared; or those six bits as a number.
Masked read_tos(const Word &value);
Masked read_dscp(const Word &value);

Masked read_protocol(const Word &value);
Masked read_arp_opcode(const Word &value);

// N or 0xN, with a mask of the same form behind '/'.
Masked read_transport_port(const Word &value);
Masked read_icmp_number(const Word &value);

std::string port_text(const Masked &field);
std::string masked_mac_text(const Masked &field);
std::string masked_ip_text(const Masked &field);
std::string ethertype_text(const Masked &field);
std::string vlan_text(const Masked &field);
std::string number_text(const Masked &field);
std::string transport_port_text(const Masked &field);

std::string ip_text(uint32_t address);
std::string mac_text(uint64_t address);
std::string mac_text(const std::array<uint8_t, 6> &octets);

// A MAC address and its octets in transmission order.
std::array<uint8_t, 6> mac_octets(uint64_t address);
uint64_t mac_address(const std::array<uint8_t, 6> &octets);

}  // namespace agent

#endif
