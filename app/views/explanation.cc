// SPDX-License-Identifier: Apache-2.0
#include "app/views/explanation.h"

#include <algorithm>
#include <map>
#include <stdexcept>

#include "agent/fields.h"
#include "agent/flow.h"
#include "agent/interface_names.h"
#include "agent/table_view.h"
#include "agent/text.h"
#include "app/syntax/packet_syntax.h"
#include "app/views/fate.h"
#include "oftab/hw_entry.h"

namespace app {

using namespace agent;

namespace {

namespace hw = oftab::hw;

using host::asic::Format;
using host::asic::Key;
using host::asic::PacketHeader;
using host::asic::Record;
using host::asic::Vlans;

// An interface id, with the interface that has it.
std::string interface(uint64_t id, host::Switch &device) {
  std::vector<uint32_t> ifindexes = device.interfaces().port_channels();
  for (uint32_t slot = 0; slot < host::services::Interfaces::kPorts; ++slot) {
    ifindexes.push_back(host::services::Interfaces::port_ifindex(slot));
  }
  const auto found =
      std::ranges::find_if(ifindexes, [&](uint32_t ifindex) { return device.interfaces().intf_id(ifindex) == id; });
  return found == ifindexes.end() ? hex(id) : concat(interface_name(*found), " (id ", hex(id), ")");
}

// A bridge domain, with a VLAN that has it.
std::string vlan(uint64_t domain, host::Switch &device) {
  switch (domain) {
    case Vlans::kUntaggedDomain:
      return "none";
    case Vlans::kPriorityTaggedDomain:
      return "0";
    default:
      break;
  }
  for (uint32_t id = 1; id < OFTAB_BD_COUNT; ++id) {
    if (device.asic().vlans().bridge_domain(id) == domain) {
      return concat(id, " (bridge domain ", domain, ")");
    }
  }
  return domain == Vlans::kNoDomain ? "without bridge domain" : concat("of bridge domain ", domain);
}

// A field's value as flows are written; where the hardware compares something else, with that.
std::string value_text(const FieldRow &row, const Spelling &spelling, uint64_t value, host::Switch &device) {
  switch (row.field) {
    case Field::InPort:
      return interface(value, device);
    case Field::DlVlan:
      return vlan(value, device);
    default:
      return spelling.print({value, row.exact});
  }
}

std::string mask_text(const FieldRow &row, uint64_t mask) {
  switch (row.field) {
    case Field::DlSrc:
    case Field::DlDst:
      return mac_text(mask);
    case Field::NwSrc:
    case Field::NwDst:
      return ip_text(static_cast<uint32_t>(mask));
    default:
      return hex(mask);
  }
}

bool agree(const Key &packet, const Record &record) {
  for (size_t i = 0; i < packet.size(); ++i) {
    if (((packet[i] ^ record.key[i]) & record.mask[i]) != 0) {
      return false;
    }
  }
  return true;
}

// The match of all packets of this packet's protocol: fields are named after it.
Match kind_of(const PacketHeader &packet) {
  Match match;
  match[Field::DlType] = {packet.ethertype, kExactEthertype};
  match[Field::NwProto] = {packet.proto, kExactProtocol};
  return match;
}

std::string record_text(uint16_t index) {
  if (index == OFTAB_CATCH_ALL_INDEX) {
    return concat("index ", index, " (the catch-all entry)");
  }
  const oftab_sw_entry_t *record = live_record_at(index);
  return record == nullptr ? concat("index ", index, " (no flow of the table)")
                           : concat("index ", index, " (flow ", record->seq_no, ", priority ", record->priority, ")");
}

uint16_t interface_id(host::Switch &device, uint32_t ifindex) {
  const auto id = device.interfaces().intf_id(ifindex);
  if (!id) {
    throw std::invalid_argument(interface_name(ifindex) + " has no hardware interface id");
  }
  return *id;
}

}  // namespace

Explanation::Explanation(host::Switch &device, uint32_t ifindex, const PacketHeader &packet)
    : device_(device), ifindex_(ifindex), packet_(packet) {
  const Key key = device.asic().key_of(interface_id(device, ifindex), packet);
  for (const uint16_t index : device.asic().tcam().valid_indices()) {
    candidates_.push_back(compared(index, key));
    if (matched()) {
      return;
    }
  }
}

Explanation::Candidate Explanation::compared(uint16_t index, const Key &key) const {
  const Record &record = device_.asic().tcam().at(index);
  const Key packet = host::asic::reformat(key, Format::Ip, host::asic::format_of(record.key));
  if (agree(packet, record)) {
    return {index, "", ""};
  }
  for (const FieldRow &row : field_rows()) {
    const hw::field *where = row.key.in(hw::get(record.key.data(), hw::ip_key::class_));
    const uint64_t mask = where == nullptr ? 0 : hw::get(record.mask.data(), *where);
    const uint64_t value = mask == 0 ? 0 : hw::get(packet.data(), *where);
    const uint64_t wanted = mask == 0 ? 0 : hw::get(record.key.data(), *where) & mask;
    if ((value & mask) != wanted) {
      const Spelling &spelling = spelling_in(kind_of(packet_), row.field);
      return {index, spelling.name,
              concat(spelling.name, " ", value_text(row, spelling, value, device_), ", wants ",
                     value_text(row, spelling, wanted, device_), "/", mask_text(row, mask))};
    }
  }
  return {index, "other bits", "bits outside the fields of packets"};
}

void Explanation::print_packet(std::ostream &out) const {
  out << to_text(packet_) << " into " << interface_name(ifindex_) << '\n';
  const bool port = host::services::Interfaces::port_slot(ifindex_).has_value();
  if (const auto pc = port ? device_.interfaces().pc_of(ifindex_) : std::nullopt) {
    out << interface_name(ifindex_) << " is a member of " << interface_name(*pc)
        << ": in_port=" << interface_name(ifindex_) << " matches its packets, in_port=" << interface_name(*pc)
        << " does not\n";
  }
}

void Explanation::print_hit(std::ostream &out, Style style) const {
  if (!matched()) {
    out << style.bad("nothing matches") << '\n';
    return;
  }
  const uint16_t index = candidates_.back().index;
  const host::asic::Fate fate = *this->fate();
  out << style.good(record_text(index) + " matches") << ": ";
  if (const oftab_sw_entry_t *record = live_record_at(index)) {
    const auto flow = installed_flow(device_, *record).flow;
    out << to_text(flow.match);
  } else {
    out << "everything that is left";
  }
  out << '\n';
  if (fate.verdict == host::asic::Verdict::Replicate) {
    out << "  multicast index " << fate.mcst_idx << (fate.tree_missing ? " has no tree\n" : ", through its tree\n");
  }
  out << "  " << destination_text(fate) << '\n';
}

std::optional<host::asic::Fate> Explanation::fate() const {
  if (!matched()) {
    return std::nullopt;
  }
  return device_.asic().fate_of(candidates_.back().index, host::services::Interfaces::sdk_port(ifindex_));
}

void Explanation::print_all(std::ostream &out, Style style) const {
  print_packet(out);
  for (const Candidate &each : candidates_) {
    if (!each.field.empty()) {
      out << "  " << record_text(each.index) << ": " << each.difference << '\n';
    }
  }
  print_hit(out, style);
}

void Explanation::print_classes(std::ostream &out, Style style) const {
  print_packet(out);
  std::vector<std::pair<const Candidate *, size_t>> classes;  // the first of each, and how many there are
  std::map<std::string_view, size_t> places;
  for (const Candidate &each : candidates_) {
    if (each.field.empty()) {
      continue;
    }
    const auto [place, is_new] = places.try_emplace(each.field, classes.size());
    if (is_new) {
      classes.emplace_back(&each, 0);
    }
    ++classes[place->second].second;
  }
  for (const auto &[first, count] : classes) {
    out << "  " << counted(count, "record") << " by " << first->field << ", first " << record_text(first->index) << ": "
        << first->difference << '\n';
  }
  print_hit(out, style);
}

}  // namespace app
