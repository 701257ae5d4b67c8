// SPDX-License-Identifier: Apache-2.0
// Random scripts, and lines as they are while they are typed. Whatever a line holds, the shell comes back from it, and
// tables and hardware agree; completion only ever adds to a word.
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "app/terminal/completion.h"
#include "app/terminal/shell.h"
#include "fuzz/fuzzed_switch.h"

namespace {

using fuzz::require;

// A byte chooses a word of these, between bars. Nothing that leaves the process, or that breaks the hardware on
// purpose.
constexpr std::string_view kVocabulary =
    "\n|\n|;| |\"|#|add-flow|mod-flow|del-flow|flows|compact|purge|catch-all|packet|explain|explain all|shadowed|"
    "unused|tables|map|trees|audit|counters|stats list|stats all|advance|interface|add|delete|openflow|on|off|"
    "port-channel|create|join|leave|show|policy|sw-table|tcam|2000|4095|4096|1|2|5|47|pc1|pc2|Eth1/3|seq=1|seq=2|"
    "priority=7|priority=9|,|in_port=1|dl_vlan=7|tcp|udp|arp|tp_dst=80|nw_dst=10.0.0.0/8|actions=|output:2|"
    "output:pc1|drop|normal|controller|vlan|none|trace|failures|ring|help|top|cou|port-channel j|echo|\xc3\xa9|"
    "\x1b[31m|top=3|10s|-v|cpu|rate=9|capacity|counters|save /dev/null|normal,controller|mod_vlan_pcp:3|"
    "enqueue:1:2|dl_vlan=|in_port=";

std::vector<std::string> words_of(std::string_view vocabulary) {
  std::vector<std::string> words(1);
  for (const char byte : vocabulary) {
    if (byte == '|') {
      words.emplace_back();
    } else {
      words.back() += byte;
    }
  }
  return words;
}

std::string script_of(std::string_view bytes) {
  static const std::vector<std::string> words = words_of(kVocabulary);
  std::string script;
  for (const char byte : bytes) {
    script += words[static_cast<unsigned char>(byte) % words.size()];
    script += script.ends_with(',') || script.ends_with('=') || script.ends_with('"') ? "" : " ";
  }
  return script;
}

// The last line as it is typed, up to a place that the script's length picks.
void complete_somewhere(app::Shell &shell, const std::string &script) {
  const std::string whole = script.substr(script.rfind('\n') + 1);
  const std::string line = whole.substr(0, script.size() % (whole.size() + 1));
  const app::Ask ask = [&shell](const std::string &command) { return shell.output_of(command); };
  const app::Completion completion = app::complete(line, ask);
  require(completion.start <= line.size(), "a completion behind the line");
  require(completion.choices.empty() || !completion.word.empty() || completion.start == line.size(),
          "a completion that takes away");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char *>(data), size);
  host::Switch &device = fuzz::booted_switch();
  std::ostringstream out;
  agent::Agent agent(device);
  app::Session session{device, agent, &out, app::Style(false), {}};
  app::Shell shell(session);
  shell.set_keep_going(true);
  const std::string script = script_of(bytes);
  shell.run_text(script, "script");
  fuzz::require_sound(device, session.audit_exceptions);
  complete_somewhere(shell, script);
  require(shell.run_text("reset; trace off ring; trace clear", "reset"), "the set-up cannot be emptied");
  return 0;
}
