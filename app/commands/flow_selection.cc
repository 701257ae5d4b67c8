// SPDX-License-Identifier: Apache-2.0
#include "app/commands/flow_selection.h"

#include "agent/flow_mod.h"
#include "agent/hardware.h"

namespace app {

using namespace agent;

FlowArguments::FlowArguments(const Arguments &arguments, std::initializer_list<std::string_view> options)
    : line(arguments.line()), start(arguments.start()) {
  const std::vector<Word> words = split_words(arguments.line(), start);
  for (auto word = words.begin(); word != words.end(); ++word) {
    if (std::ranges::find(options, word->text.substr(0, word->text.find('='))) == options.end()) {
      continue;
    }
    if (word->text == "--strict") {
      strict = true;
      blank(*word);
    } else if (word->text == "-v") {
      verbose = true;
      blank(*word);
    } else if (word->text == "--no-stats") {
      no_stats = true;
      blank(*word);
    } else if (word->text == "--sort") {
      blank(*word);
      if (++word == words.end()) {
        throw TextError(line.size() + 1, "what to sort by is missing");
      }
      sort = *word;
      blank(*word);
    } else if (word->text.starts_with("--sort=")) {
      sort = split_at(*word, '=').behind;
      blank(*word);
    }
  }
}

void FlowArguments::blank(const Word &word) {
  line.replace(word.column - 1, word.text.size(), word.text.size(), ' ');
}

namespace {

// Flows of the CPU do more than any of these.
bool does(const Flow &flow, HardwareActions::Kind kind) {
  const auto actions = lower(flow.actions);
  const auto *known = std::get_if<HardwareActions>(&actions);
  return known != nullptr && known->kind == kind;
}

bool meant(const TableEntry &entry, const Selection &selection) {
  const Flow &wanted = selection.flow;
  const Flow &flow = entry.flow;
  const bool priority = !wanted.priority || wanted.priority == flow.priority;
  const bool output = selection.out_port == kPortNone || sends_to(flow, selection.out_port);
  const bool action = !selection.kind || does(flow, *selection.kind);
  const uint64_t packets = entry.counts().packets;
  const bool hits = !selection.hits || (*selection.hits == 0 ? packets == 0 : packets >= *selection.hits);
  const bool cookie = !selection.cookie || *selection.cookie == flow.cookie;
  return priority && output && action && hits && cookie;
}

}  // namespace

std::vector<const TableEntry *> selected(const FlowTable &table, const Selection &selection, bool strict) {
  std::vector<const TableEntry *> entries;
  const auto consider = [&](const TableEntry *entry) {
    if (entry != nullptr && meant(*entry, selection)) {
      entries.push_back(entry);
    }
  };
  const Flow &wanted = selection.flow;
  if (wanted.seq_no) {
    consider(table.find(*wanted.seq_no));
  } else if (strict) {
    consider(table.find(wanted.match, priority_of(wanted)));
  } else {
    for (const auto &[seq_no, entry] : table.entries()) {
      consider(covers(wanted.match, entry.flow.match) ? &entry : nullptr);
    }
  }
  return entries;
}

}  // namespace app
