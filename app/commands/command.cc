// SPDX-License-Identifier: Apache-2.0
#include "app/commands/command.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include "app/commands/command_error.h"

namespace app {

using namespace agent;

Word Arguments::next(std::string_view what) {
  const std::optional<Word> word = next_if_any();
  if (!word || word->text.empty()) {
    throw TextError(word ? word->column : line_.size() + 1, std::string(what) + " is missing");
  }
  return *word;
}

std::optional<Word> Arguments::next_if_any() {
  if (words_.empty()) {
    return std::nullopt;
  }
  const Word word = words_.front();
  words_.erase(words_.begin());
  return word;
}

uint64_t Arguments::next_number(uint64_t low, uint64_t high, std::string_view what) {
  return number_in(next(what), low, high, what);
}

bool Arguments::take_flag(std::string_view flag) {
  return std::erase_if(words_, [&](const Word &word) { return word.text == flag; }) != 0;
}

std::optional<Word> Arguments::take_option(std::string_view name) {
  const auto is_it = [&](const Word &word) {
    return word.text.size() > name.size() && word.text.starts_with(name) && word.text[name.size()] == '=';
  };
  const auto place = std::ranges::find_if(words_, is_it);
  if (place == words_.end()) {
    return std::nullopt;
  }
  const Word value{place->text.substr(name.size() + 1), place->column + name.size() + 1};
  words_.erase(place);
  return unquoted(value);
}

uint64_t Arguments::take_number(std::string_view name, uint64_t low, uint64_t high, uint64_t otherwise) {
  const std::optional<Word> value = take_option(name);
  return value ? number_in(*value, low, high, name) : otherwise;
}

void Arguments::finish() const {
  if (!words_.empty()) {
    throw TextError(words_.front().column, quoted(words_.front()) + " is too much here");
  }
}

std::string next_file(const Session &session, Arguments &arguments) {
  std::string path(arguments.next("the file").text);
  std::error_code unknown;
  const std::filesystem::file_status status = std::filesystem::status(path, unknown);
  const bool waits = path == "-" || (exists(status) && !is_regular_file(status) && !is_directory(status));
  if (session.remote && waits) {
    throw CommandError("'" + path + "' is no file that the serving switch could read without waiting");
  }
  return path;
}

std::span<const CommandGroup> command_groups() {
  static const std::array groups{
      CommandGroup{"Flows", flow_commands()},
      CommandGroup{"Files of flows", flow_file_commands()},
      CommandGroup{"Flows and their counts", flow_listing_commands()},
      CommandGroup{"Packets", packet_commands()},
      CommandGroup{"Answers", answer_commands()},
      CommandGroup{"Statistics", statistics_commands()},
      CommandGroup{"Interfaces", interface_commands()},
      CommandGroup{"Ports", port_commands()},
      CommandGroup{"Port channels", port_channel_commands()},
      CommandGroup{"OpenFlow", openflow_commands()},
      CommandGroup{"Views", view_commands()},
      CommandGroup{"Live view", top_commands()},
      CommandGroup{"Tracing", trace_commands()},
      CommandGroup{"Faults", fault_commands()},
      CommandGroup{"Debugging", debug_commands()},
      CommandGroup{"Set-up", setup_commands()},
      CommandGroup{"Shell", shell_commands()},
  };
  return groups;
}

}  // namespace app
