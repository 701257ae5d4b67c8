#include "agent/interface_names.h"

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
  const Word number = behind(name, "Eth1/", "").value_or(name);
  return Interfaces::port_ifindex(static_cast<uint32_t>(number_in(number, 1, Interfaces::kPorts, "a port")) - 1);
}

uint32_t possible_port_channel_named(const Word &name) {
  const Word number = port_channel_number(name).value_or(name);
  const uint64_t value = number_in(number, 1, Interfaces::kLastPortChannel, "a port channel");
  return Interfaces::pc_ifindex(static_cast<uint32_t>(value));
}

uint32_t port_channel_named(const Word &name, const Interfaces &interfaces) {
  const uint32_t ifindex = possible_port_channel_named(name);
  if (!interfaces.exists(ifindex)) {
    throw TextError(name.column, concat("port channel ", quoted(name), " does not exist"));
  }
  return ifindex;
}

uint32_t interface_named(const Word &name, const Interfaces &interfaces) {
  return port_channel_number(name) ? port_channel_named(name, interfaces) : port_named(name);
}

std::string interface_name(uint32_t ifindex) {
  if (const auto slot = Interfaces::port_slot(ifindex)) {
    return concat("Eth1/", *slot + 1);
  }
  if (const auto number = Interfaces::pc_number(ifindex)) {
    return concat("pc", *number);
  }
  return hex(ifindex, 8);
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
