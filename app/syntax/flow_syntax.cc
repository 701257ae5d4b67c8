#include "app/syntax/flow_syntax.h"

#include "agent/hardware.h"
#include "app/syntax/action_syntax.h"
#include "app/syntax/match_syntax.h"

namespace app {

using namespace agent;

namespace {

using host::services::Interfaces;

constexpr std::string_view kActions = "actions";

bool is_actions(const SplitWord &item) {
  return item.before.text == kActions;
}

// Everything behind "actions=" up to the end of the line.
Word actions_text(std::string_view line, const SplitWord &item) {
  const Word &first = item.behind ? *item.behind : value_of(item);
  return {line.substr(first.column - 1), first.column};
}

// Takes priority and seq; false for another item.
bool take_setting(const SplitWord &item, MatchReader &reader, Flow &flow) {
  const bool priority = item.before.text == "priority";
  if (!priority && item.before.text != "seq") {
    return false;
  }
  reader.note_once(item);
  const auto number =
      static_cast<uint32_t>(number_in(value_of(item), 0, priority ? 0xFFFF : 0xFFFFFFFF, item.before.text));
  (priority ? flow.priority : flow.seq_no) = number;
  return true;
}

// A flow that is to be added is one that the hardware can match.
void require_matchable(const Match &match, const MatchReader &reader) {
  if (const auto refusal = unmatchable(match)) {
    throw TextError(reader.place_of(refusal->field).column, refusal->reason);
  }
}

}  // namespace

Flow parse_flow(std::string_view line, size_t start, FlowRole role, const Interfaces &interfaces) {
  line = without_comment(line);
  start = std::min(start, line.size());
  Flow flow;
  MatchReader reader(interfaces);
  bool complete = false;
  for (const SplitWord &item : split_items(line.substr(start), start + 1)) {
    if (is_actions(item)) {
      if (role == FlowRole::Selection) {
        throw TextError(item.before.column, "actions select no flows");
      }
      flow.actions = parse_actions(actions_text(line, item), interfaces);
      complete = true;
      break;
    }
    if (!take_setting(item, reader, flow)) {
      reader.take(item);
    }
  }
  flow.match = normalised(reader.finish());
  if (role == FlowRole::Complete && !complete) {
    throw TextError(line.size() + 1, "actions are missing: actions=drop, normal, output:PORT or controller");
  }
  if (role == FlowRole::Complete) {
    require_matchable(flow.match, reader);
  }
  return flow;
}

}  // namespace app
