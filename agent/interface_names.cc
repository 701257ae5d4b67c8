// SPDX-License-Identifier: Apache-2.0
#include "agent/interface_names.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "agent/flow.h"
#include "agent/port_numbers.h"

namespace agent {
namespace {

using host::services::Interfaces;

bool take_prefix(std::string_view &text, std::string_view prefix) {
  if (!same_ignoring_case(text.substr(0, prefix.size()), prefix)) {
    return false;
  }
  text.remove_prefix(prefix.size());
  return true;
}

// The number behind the first of two prefixes that fits; none when none does.
std::optional<Word> behind(Word name, std::string_view prefix, std::string_view other_prefix) {
  const size_t length = name.text.size();
  if (!take_prefix(name.text, prefix) && !take_prefix(name.text, other_prefix)) {
    return std::nullopt;
  }
  name.column += length - name.text.size();
  return name;
}

std::optional<Word> port_channel_number(const Word &name) {
  return behind(name, "port-channel", "pc");
}

struct ReservedName {
  std::string_view name;
  uint32_t port;
};

constexpr std::array kReserved{
    ReservedName{"IN_PORT", kPortIn},  ReservedName{"TABLE", kPortTable}, ReservedName{"NORMAL", kPortNormal},
    ReservedName{"FLOOD", kPortFlood}, ReservedName{"ALL", kPortAll},     ReservedName{"CONTROLLER", kPortController},
    ReservedName{"LOCAL", kPortLocal}, ReservedName{"NONE", kPortNone},   ReservedName{"ANY", kPortNone},
};

std::optional<uint32_t> reserved_named(std::string_view name) {
  const auto found =
      std::ranges::find_if(kReserved, [&](const ReservedName &each) { return same_ignoring_case(each.name, name); });
  return found == kReserved.end() ? std::nullopt : std::optional(found->port);
}

// What a number of OpenFlow stands for; 0 for what is no such number.
uint32_t port_of_number(const Word &name) {
  const uint64_t number = read_number(without_zeros(name).text).value_or(0);
  return number <= kPortNone ? port_numbered(static_cast<uint16_t>(number)) : 0;
}

uint32_t existing(uint32_t ifindex, const Word &name, const Interfaces &interfaces) {
  if (!interfaces.exists(ifindex)) {
    throw TextError(name.column, concat(interface_name(ifindex), " does not exist"));
  }
  return ifindex;
}

// Where the run of consecutive ports that begins at `first` ends.
size_t last_of_run(std::span<const uint32_t> ifindexes, size_t first) {
  size_t last = first;
  for (auto slot = Interfaces::port_slot(ifindexes[first]); slot && last + 1 < ifindexes.size(); ++last) {
    slot = *slot + 1;
    if (Interfaces::port_slot(ifindexes[last + 1]) != slot) {
      break;
    }
  }
  return last;
}

}  // namespace

uint32_t port_named(const Word &name) {
  const Word number = without_zeros(behind(name, "Eth1/", "").value_or(name));
  return Interfaces::port_ifindex(static_cast<uint32_t>(number_in(number, 1, Interfaces::kPorts, "a port")) - 1);
}

uint32_t possible_port_channel_named(const Word &name) {
  const Word number = port_channel_number(name).value_or(name);
  const uint64_t value = number_in(number, 1, Interfaces::kLastPortChannel, "a port channel");
  return Interfaces::pc_ifindex(static_cast<uint32_t>(value));
}

uint32_t port_channel_named(const Word &name, const Interfaces &interfaces) {
  return existing(possible_port_channel_named(name), name, interfaces);
}

uint32_t interface_named(const Word &name, const Interfaces &interfaces) {
  return port_channel_number(name) ? port_channel_named(name, interfaces) : port_named(name);
}

uint32_t port_or_reserved(const Word &name, const Interfaces &interfaces) {
  const uint32_t port = reserved_named(name.text).value_or(port_of_number(name));
  if (is_reserved_port(port)) {
    return port;
  }
  return Interfaces::pc_number(port) ? existing(port, name, interfaces) : interface_named(name, interfaces);
}

uint32_t possible_port_named(const Word &name) {
  if (const auto reserved = reserved_named(name.text)) {
    return *reserved;
  }
  if (port_channel_number(name)) {
    return possible_port_channel_named(name);
  }
  if (behind(name, "Eth1/", "Eth1/")) {
    return port_named(name);
  }
  return port_numbered(static_cast<uint16_t>(number_in(without_zeros(name), 0, kPortNone, "a port")));
}

// "Eth1/1-4"; nothing when it is no range.
static std::vector<uint32_t> ports_of_range(const Word &names) {
  const SplitWord ends = split_at(names, '-');
  if (!ends.behind || ends.before.text.empty() || port_channel_number(names)) {
    return {};
  }
  const uint32_t first = *Interfaces::port_slot(port_named(ends.before));
  const uint32_t last = *Interfaces::port_slot(port_named(*ends.behind));
  std::vector<uint32_t> ports;
  for (uint32_t slot = first; slot <= last; ++slot) {
    ports.push_back(Interfaces::port_ifindex(slot));
  }
  if (ports.empty()) {
    throw TextError(names.column, concat("the range ", quoted(names), " is empty"));
  }
  return ports;
}

std::vector<uint32_t> ports_named(const Word &names, const Interfaces &interfaces) {
  const std::vector<uint32_t> range = ports_of_range(names);
  return range.empty() ? std::vector{port_or_reserved(names, interfaces)} : range;
}

std::vector<std::pair<Word, uint32_t>> listed_interfaces(const Word &list, const Interfaces &interfaces) {
  std::vector<std::pair<Word, uint32_t>> listed;
  for (std::optional<Word> rest = list; rest;) {
    const SplitWord parts = split_at(*rest, ',');
    std::vector<uint32_t> range = ports_of_range(parts.before);
    if (range.empty()) {
      range.push_back(interface_named(parts.before, interfaces));
    }
    for (const uint32_t ifindex : range) {
      listed.emplace_back(parts.before, ifindex);
    }
    rest = parts.behind;
  }
  return listed;
}

bool names_port(const Word &word) {
  return reserved_named(word.text) || port_channel_number(word) || behind(word, "Eth", "Eth") ||
         (!word.text.empty() && std::isdigit(static_cast<unsigned char>(word.text.front())) != 0);
}

std::string interface_name(uint32_t ifindex) {
  if (const auto slot = Interfaces::port_slot(ifindex)) {
    return concat("Eth1/", *slot + 1);
  }
  if (const auto number = Interfaces::pc_number(ifindex)) {
    return concat("pc", *number);
  }
  const auto reserved = std::ranges::find(kReserved, ifindex, &ReservedName::port);
  if (reserved != kReserved.end()) {
    return std::string(reserved->name);
  }
  return ifindex < kReserved.front().port ? std::to_string(ifindex) : hex(ifindex, 8);
}

std::string interface_names(std::span<const uint32_t> ifindexes) {
  std::string names;
  bool after_port = false;
  for (size_t first = 0; first < ifindexes.size();) {
    const size_t last = last_of_run(ifindexes, first);
    const auto slot = Interfaces::port_slot(ifindexes[first]);
    names += names.empty() ? "" : ",";
    names += after_port && slot ? std::to_string(*slot + 1) : interface_name(ifindexes[first]);
    if (last > first) {
      names += concat("-", *Interfaces::port_slot(ifindexes[last]) + 1);
    }
    after_port = slot.has_value();
    first = last + 1;
  }
  return names;
}

std::string interface_id_text(const Interfaces &interfaces, uint32_t ifindex) {
  const auto id = interfaces.intf_id(ifindex);
  return id ? hex(*id) : "-";
}

std::string openflow_text(const Interfaces &interfaces, uint32_t ifindex) {
  const uint8_t state = interfaces.openflow_state(ifindex);
  return state == 1 || state == 2 ? "enabled" : "disabled";
}

uint32_t sdk_port_ifindex(uint8_t sdk_port) {
  return Interfaces::port_ifindex(sdk_port - 1U);
}

}  // namespace agent
