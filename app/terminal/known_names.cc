// SPDX-License-Identifier: Apache-2.0
#include "app/terminal/known_names.h"

#include <filesystem>
#include <sstream>

#include "agent/interface_names.h"

namespace app {

using namespace agent;

namespace {

namespace fs = std::filesystem;

using host::services::Interfaces;

// The first column of a table, without its heading.
Choices first_column(const std::string &table) {
  std::istringstream lines(table);
  Choices words;
  bool in_rows = false;
  for (std::string line; std::getline(lines, line);) {
    if (in_rows) {
      words.insert(line.substr(0, line.find(' ')));
    }
    in_rows = in_rows || line.find("---") != std::string::npos;  // in colour, perhaps
  }
  return words;
}

// The numbers behind each `prefix` in a text.
Choices numbers_behind(std::string_view prefix, std::string_view text) {
  Choices numbers;
  for (size_t at = text.find(prefix); at != std::string_view::npos; at = text.find(prefix)) {
    text.remove_prefix(at + prefix.size());
    numbers.emplace(text.substr(0, text.find_first_not_of("0123456789")));
  }
  return numbers;
}

}  // namespace

Choices front_panel_ports() {
  Choices names;
  for (uint32_t slot = 0; slot < Interfaces::kPorts; ++slot) {
    names.insert(interface_name(Interfaces::port_ifindex(slot)));
  }
  return names;
}

Choices port_channels(const Ask &ask) {
  return first_column(ask("port-channels"));
}

Choices ports_and_port_channels(const Ask &ask) {
  Choices names = front_panel_ports();
  names.merge(port_channels(ask));
  return names;
}

Choices vlans_of_flows(const Ask &ask) {
  const std::string flows = ask("dump-flows --no-stats");
  Choices vlans = numbers_behind("dl_vlan=", flows);
  vlans.merge(numbers_behind("mod_vlan_vid:", flows));
  return vlans;
}

Choices endpoints(const Ask &ask) {
  return first_column(ask("controllers"));
}

Choices network_interfaces() {
  Choices names;
  std::error_code error;
  for (const fs::directory_entry &entry : fs::directory_iterator("/sys/class/net", error)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

Choices files(std::string_view typed) {
  const size_t name = typed.find_last_of('/') + 1;
  const std::string directory(typed.substr(0, name));
  Choices paths;
  std::error_code error;
  for (const fs::directory_entry &entry : fs::directory_iterator(directory.empty() ? "." : directory, error)) {
    const std::string file = entry.path().filename().string();
    const bool hidden = file.starts_with('.') && name == typed.size();
    if (file.starts_with(typed.substr(name)) && !hidden && file.find('"') == std::string::npos) {
      paths.insert(concat(directory, file, entry.is_directory(error) ? "/" : ""));
    }
  }
  return paths;
}

}  // namespace app
