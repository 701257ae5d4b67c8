// SPDX-License-Identifier: Apache-2.0
#include "tests/support/model.h"

#include <algorithm>
#include <iterator>
#include <tuple>
#include <utility>

namespace test {
namespace {

using host::asic::Verdict;

constexpr uint32_t kIpv4 = 0x0800;

bool same(uint32_t one, uint32_t other, uint32_t mask) {
  return ((one ^ other) & mask) == 0;
}

bool same(const Mac &one, const Mac &other, const Mac &mask) {
  bool all = true;
  for (size_t i = 0; i < one.size(); ++i) {
    all = all && same(one[i], other[i], mask[i]);
  }
  return all;
}

constexpr uint32_t kUntagged = 0xffff;
constexpr uint32_t kPriorityTagged = 0x1000;

// The bridge domain that the host gives the frames that a flow calls by this VLAN.
uint32_t bridge_domain(uint32_t vlan) {
  return vlan == kUntagged ? 100 : vlan == kPriorityTagged ? 99 : vlan + 100;
}

// What a flow calls a packet's VLAN.
uint32_t vlan_of(const host::asic::PacketHeader &packet) {
  return packet.vlan == 0 ? kPriorityTagged : packet.vlan.value_or(kUntagged);
}

bool names_interface(const Flow &flow) {
  return flow.value.ifindex != 0 && (flow.value.ifindex & flow.mask.ifindex) == flow.value.ifindex;
}

// A flow that does not name an interface takes all whose id has bit 12 as in its ifindex, and no id has it.
bool ingress_matches(const Flow &flow, uint32_t ingress) {
  return names_interface(flow) ? flow.value.ifindex == ingress : (flow.value.ifindex & 0x1000U) == 0;
}

bool ip_matches(const Match &value, const Match &mask, const host::asic::PacketHeader &packet) {
  return packet.ethertype == kIpv4 && same(value.ip_sa, packet.ip_sa, mask.ip_sa) &&
         same(value.ip_da, packet.ip_da, mask.ip_da) && same(value.tos, packet.tos, mask.tos & 0xffU) &&
         same(value.protocol, packet.proto, mask.protocol & 0xffU) && same(value.sport, packet.src_port, mask.sport) &&
         same(value.dport, packet.dst_port, mask.dport);
}

bool matches(const Flow &flow, const Packet &packet) {
  const auto &[value, mask] = std::tie(flow.value, flow.mask);
  const host::asic::PacketHeader &header = packet.header;
  const bool vlan_matches =
      value.vlan == 0 || same(bridge_domain(value.vlan), bridge_domain(vlan_of(header)), mask.vlan & 0x1fffU);
  return ingress_matches(flow, packet.ingress) && vlan_matches && same(value.mac_sa, header.mac_sa, mask.mac_sa) &&
         same(value.mac_da, header.mac_da, mask.mac_da) && same(value.ethertype, header.ethertype, mask.ethertype) &&
         ((value.ethertype & mask.ethertype) != kIpv4 || ip_matches(value, mask, header));
}

bool valid_app(uint32_t app_id) {
  return app_id >= 1 && app_id <= 8;
}

int32_t action_status(const Action &action) {
  if (action.type == 3 || action.type > 4) {
    return -11;
  }
  const bool to_controller = action.type == OFTAB_ACTION_CONTROLLER || (action.flags & 0x10) != 0;
  return to_controller && !valid_app(action.app_id) ? -3 : 0;
}

int32_t flow_status(const Flow &flow) {
  if (const int32_t status = action_status(flow.action); status != 0) {
    return status;
  }
  const bool no_bridge_domain = flow.value.vlan == 4095;
  const bool no_interface = names_interface(flow) && (flow.value.ifindex >> 24 != 0x1a);
  return no_bridge_domain || no_interface ? -3 : 0;
}

Outcome outcome(const ModelFlow &flow) {
  const Action &action = flow.flow.action;
  Outcome fate{.verdict = Verdict::Forward, .sdk_ports = {}, .cpu_code = {}};
  const bool copy = (action.flags & 0x10) != 0;
  if (action.type == OFTAB_ACTION_DENY && !copy) {
    fate.verdict = Verdict::Drop;
  } else if (flow.had_outputs) {
    fate.verdict = Verdict::Replicate;
    fate.sdk_ports = flow.sdk_ports;
  }
  if (copy) {
    fate.cpu_code = action.type == OFTAB_ACTION_DENY ? 5 : 4;
  } else if (action.type == OFTAB_ACTION_CONTROLLER) {
    fate.cpu_code = 5;
  }
  return fate;
}

Response answer(uint32_t entry_op, size_t entries) {
  return {.entry_op = entry_op, .num_entries = static_cast<uint32_t>(entries), .status = 0, .entries = {}};
}

uint8_t sdk_port(uint32_t ifindex) {
  return static_cast<uint8_t>((ifindex >> 12 & 0xffU) + 1);
}

bool outputs_to(const Flow &flow, uint32_t ifindex) {
  return flow.action.type == OFTAB_ACTION_OUTPORT && flow.seq_no < OFTAB_FLOW_HANDLES &&
         std::ranges::count(flow.action.outputs, ifindex) != 0;
}

}  // namespace

std::set<uint8_t> Model::ports_of(const std::vector<uint32_t> &outputs) const {
  std::set<uint8_t> ports;
  for (const uint32_t ifindex : outputs) {
    if (const auto pc = port_channels.find(ifindex); pc != port_channels.end()) {
      std::ranges::transform(pc->second, std::inserter(ports, ports.end()), sdk_port);
    } else {
      ports.insert(sdk_port(ifindex));
    }
  }
  return ports;
}

void Model::act(ModelFlow &flow, const Action &action) const {
  flow.flow.action = action;
  flow.action_failed = false;
  flow.action_known = true;
  flow.sdk_ports.clear();
  if (action.type == OFTAB_ACTION_OUTPORT) {
    flow.had_outputs = true;
    flow.sdk_ports = ports_of(action.outputs);
  }
}

Response Model::add(const std::vector<Flow> &flows) {
  Response response = answer(OFTAB_ENTRY_ADD, flows.size());
  if (flows.size() > OFTAB_FLOW_CAPACITY - flows_.size()) {
    response.status = -5;
    response.entries.resize(flows.size());
    return response;
  }
  for (const Flow &flow : flows) {
    const int32_t status = flow_status(flow);
    response.entries.push_back({flow.context(), flow.seq_no, status});
    response.status = status != 0 ? status : response.status;
  }
  for (const Flow &flow : response.status == 0 ? flows : std::vector<Flow>{}) {
    act(flows_.emplace(flow.seq_no, ModelFlow{.flow = flow}).first->second, flow.action);
  }
  return response;
}

Response Model::modify(const std::vector<Flow> &changes) {
  Response response = answer(OFTAB_ENTRY_MODIFY, changes.size());
  for (const Flow &change : changes) {
    const bool known = flows_.contains(change.seq_no);
    response.status = known ? response.status : -3;
    response.entries.push_back({change.context(), change.seq_no, known ? action_status(change.action) : -1});
  }
  if (response.status == 0) {
    modify(changes, response.entry_statuses());
  }
  return response;
}

void Model::modify(const std::vector<Flow> &changes, const std::vector<int32_t> &statuses) {
  for (size_t i = 0; i < changes.size(); ++i) {
    const auto found = flows_.find(changes[i].seq_no);
    if (found == flows_.end()) {
      continue;
    }
    ModelFlow &flow = found->second;
    if (!statuses.empty() && statuses[i] == 0) {
      act(flow, changes[i].action);
      continue;
    }
    flow.action_failed = flow.action_failed || !statuses.empty();
    flow.action_known = flow.action_known && !statuses.empty();
    flow.flow.action.outputs.clear();
    flow.sdk_ports.clear();
  }
}

Response Model::erase(const std::vector<uint32_t> &seq_nos) {
  Response response = answer(OFTAB_ENTRY_DELETE, seq_nos.size());
  for (const uint32_t seq_no : seq_nos) {
    flows_.erase(seq_no);
    response.entries.push_back({0xde1e7e00U + seq_no, seq_no, 0});
  }
  return response;
}

Response Model::purge() {
  flows_.clear();
  return answer(OFTAB_ENTRY_PURGE, 0);
}

Response Model::set_catch_all(const Action &action) {
  Response response = answer(OFTAB_ENTRY_ADD, 1);
  const bool refused = action.type == OFTAB_ACTION_CONTROLLER && !valid_app(action.app_id);
  response.status = refused ? -3 : 0;
  response.entries = {{0xc0de0000U + 4711, 4711, response.status}};
  if (refused) {
    return response;
  }
  if (action.type == OFTAB_ACTION_CONTROLLER) {
    catch_all_.cpu_code = 4;
  }
  if (oftab_has_output_list(action.type) == 0) {
    catch_all_.verdict = action.type == OFTAB_ACTION_DENY ? Verdict::Drop : Verdict::Forward;
  }
  return response;
}

void Model::restart_catch_all(const Counts &pending) {
  catch_all_totals_ = {};
  catch_all_pending_ = pending;
}

void Model::set_member(uint32_t member, uint32_t pc, bool joins) {
  const auto set = [=](auto &members, auto element) {
    members.erase(element);
    if (joins) {
      members.insert(element);
    }
  };
  set(port_channels.at(pc), member);
  for (auto &[seq_no, flow] : flows_) {
    if (outputs_to(flow.flow, pc)) {
      set(flow.sdk_ports, sdk_port(member));
    }
  }
}

void Model::change_interface_id(uint32_t ifindex) {
  for (auto &[seq_no, flow] : flows_) {
    if (flow.flow.value.ifindex == ifindex) {
      flow.flow.mask.ifindex = 0xffffffffU;
    }
  }
}

ModelFlow *Model::winner(const Packet &packet) {
  ModelFlow *strongest = nullptr;
  for (auto &[seq_no, flow] : flows_) {
    if ((strongest == nullptr || flow.flow.priority > strongest->flow.priority) && matches(flow.flow, packet)) {
      strongest = &flow;
    }
  }
  return strongest;
}

std::optional<Outcome> Model::forward(const Packet &packet) {
  ModelFlow *flow = winner(packet);
  (flow == nullptr ? catch_all_pending_ : flow->pending).add({1, packet.header.length});
  if (flow == nullptr) {
    return catch_all_;
  }
  if (!flow->action_known) {
    return std::nullopt;
  }
  Outcome fate = outcome(*flow);
  fate.sdk_ports.erase(sdk_port(packet.ingress));
  return fate;
}

void Model::collect() {
  for (auto &[seq_no, flow] : flows_) {
    flow.totals.add(std::exchange(flow.pending, {}));
  }
  catch_all_totals_.add(std::exchange(catch_all_pending_, {}));
}

void Model::clear_counts() {
  for (auto &[seq_no, flow] : flows_) {
    flow.totals = flow.pending = {};
  }
}

}  // namespace test
