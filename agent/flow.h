// SPDX-License-Identifier: Apache-2.0
// A flow as people think of it, independent of messages and of the hardware.
#ifndef AGENT_FLOW_H
#define AGENT_FLOW_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/asic/protocols.h"

namespace agent {

// The match fields of OpenFlow 1.0. In ARP packets, NwProto is the opcode and NwSrc and NwDst are the addresses; in
// ICMP packets, TpSrc is the type and TpDst the code.
enum class Field : uint8_t {
  InPort,
  DlVlan,
  DlVlanPcp,
  DlSrc,
  DlDst,
  DlType,
  NwSrc,
  NwDst,
  NwTos,
  NwProto,
  TpSrc,
  TpDst,
  kCount
};

// A 1 bit of `mask` is compared. MAC addresses are numbers, first octet most significant; InPort is an ifindex or a
// reserved port; DlVlan is a VLAN id, 0 where the tag carries a priority alone, or kUntagged.
struct Masked {
  uint64_t value = 0;
  uint64_t mask = 0;
  bool operator==(const Masked &) const = default;
};

// Fields that are not compared are zero in value and mask, and so are bits that are not.
struct Match {
  std::array<Masked, static_cast<size_t>(Field::kCount)> fields{};

  Masked &operator[](Field field) { return fields[static_cast<size_t>(field)]; }
  const Masked &operator[](Field field) const { return fields[static_cast<size_t>(field)]; }
  bool operator==(const Match &) const = default;
};

// Masks that select the whole of a field.
constexpr uint64_t kExactIfindex = 0xFFFFFFFF;
constexpr uint64_t kExactMac = 0xFFFFFFFFFFFF;
constexpr uint64_t kExactEthertype = 0xFFFF;
constexpr uint64_t kExactVlan = 0xFFFF;
constexpr uint64_t kExactVlanPcp = 7;
constexpr uint64_t kExactIp = 0xFFFFFFFF;
constexpr uint64_t kExactTos = 0xFC;  // a ToS match leaves the two congestion bits out
constexpr uint64_t kExactProtocol = 0xFF;
constexpr uint64_t kExactPort = 0xFFFF;

constexpr uint64_t kUntagged = 0xFFFF;  // matches frames without a VLAN tag

// Ports are ifindexes, or one of these: the numbers that OpenFlow gives them, smaller than any ifindex.
enum ReservedPort : uint32_t {
  kPortIn = 0xFFF8,
  kPortTable = 0xFFF9,
  kPortNormal = 0xFFFA,
  kPortFlood = 0xFFFB,
  kPortAll = 0xFFFC,
  kPortController = 0xFFFD,
  kPortLocal = 0xFFFE,
  kPortNone = 0xFFFF
};

constexpr bool is_reserved_port(uint64_t port) {
  return port >= kPortIn && port <= kPortNone;
}

using enum host::asic::Ethertype;
using enum host::asic::Protocol;

// One action of OpenFlow 1.0.
struct Action {
  enum class Kind : uint8_t {  // in the order of OpenFlow's numbers, from 0
    Output,
    SetVlanVid,
    SetVlanPcp,
    StripVlan,
    SetDlSrc,
    SetDlDst,
    SetNwSrc,
    SetNwDst,
    SetNwTos,
    SetTpSrc,
    SetTpDst,
    Enqueue,
    kCount
  };
  Kind kind = Kind::Output;
  uint64_t value = 0;         // Output and Enqueue: the port; the others: what the field is set to
  uint32_t queue = 0;         // Enqueue
  uint16_t max_len = 0xFFFF;  // Output to the controller: bytes of the packet that it gets
  uint32_t app_id = 1;        // Output to the controller: which of its applications
  bool operator==(const Action &) const = default;
};

inline Action output_to(uint32_t port) {
  return {.value = port};
}

// The others send packets to a port.
constexpr bool changes_packets(Action::Kind kind) {
  switch (kind) {
    case Action::Kind::SetVlanVid:
    case Action::Kind::SetVlanPcp:
    case Action::Kind::StripVlan:
    case Action::Kind::SetDlSrc:
    case Action::Kind::SetDlDst:
    case Action::Kind::SetNwSrc:
    case Action::Kind::SetNwDst:
    case Action::Kind::SetNwTos:
    case Action::Kind::SetTpSrc:
    case Action::Kind::SetTpDst:
      return true;
    case Action::Kind::Output:
    case Action::Kind::Enqueue:
    case Action::Kind::kCount:
      break;
  }
  return false;
}

// Whether an action is the output to a port.
inline bool is_output_to(const Action &action, uint32_t port) {
  return action.kind == Action::Kind::Output && action.value == port;
}

// Flags of a flow, with OpenFlow's values.
enum FlowFlag : uint16_t { kSendFlowRemoved = 1, kCheckOverlap = 2, kEmergency = 4 };

// What the switch has nothing for: parts of a match, the outputs.
struct Absence {
  bool interface = false;     // there is none of this number
  bool interface_id = false;  // it has no id in the hardware
  bool vlan = false;          // it has no bridge domain
  bool index = false;         // no multicast index was free for the outputs
  bool operator==(const Absence &) const = default;
};

struct Flow {
  std::optional<uint32_t> seq_no;
  std::optional<uint32_t> priority;
  Match match;
  std::vector<Action> actions;  // none: packets are dropped
  uint64_t cookie = 0;
  uint16_t idle_timeout = 0;  // seconds, 0: never
  uint16_t hard_timeout = 0;
  uint16_t flags = 0;  // FlowFlag
  Absence absent;      // when its record was made
  size_t line = 0;     // of the file that it was read from
};

constexpr uint32_t kDefaultPriority = 32768;

inline uint32_t priority_of(const Flow &flow) {
  return flow.priority.value_or(kDefaultPriority);
}

// The match as OpenFlow understands it: without the fields that its packets do not have (nw_src without IPv4 or ARP,
// tp_dst without TCP, UDP or ICMP), and without the value bits that are not compared.
Match normalised(const Match &match);

// Whether every packet that `inner` matches is matched by `outer`.
bool covers(const Match &outer, const Match &inner);

// In flow syntax: "tcp,in_port=Eth1/1,nw_dst=10.0.0.0/8"; "any" without fields.
std::string to_text(const Match &match);

}  // namespace agent

#endif
