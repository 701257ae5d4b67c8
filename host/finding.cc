// SPDX-License-Identifier: Apache-2.0
#include "host/finding.h"

#include <string>

namespace host {

std::string_view Finding::advice() const {
  switch (state) {
    case State::Disagreement:
      return "purge, then add all flows again";
    case State::FailedAction:
      return "modify the flow until that succeeds, or delete and add it";
    case State::RefusedWrite:
      return "the next flow request tries again";
    case State::Stranded:
      return "the next flow request erases it";
    case State::RefusedTree:
      return "repair, or modify the flow";
    case State::RefusedRelease:
      return "repair";
    case State::LostTable:
      return "purge, then add all flows again";
    case State::Untracked:
      return "modify the flow, or it does not follow the port channel's members";
    case State::Purged:
      return "add it under a number that was not in use before the purge, or it follows the port channel's members";
    case State::Written:
      return "repair";
    case State::NoCatchAll:
      return "the next flow request installs it";
  }
  return "";
}

bool continues(const Finding &range, const Finding &next) {
  return range.index && next.index && *next.index == *range.index + 1 && !range.flow && !next.flow &&
         range.problem == next.problem && range.state == next.state &&
         next.what == "index " + std::to_string(*next.index);
}

// "index 7" or "index 3 to 7" becomes "... to 8".
void extend(Finding &range, const Finding &next) {
  range.what = range.what.substr(0, range.what.find(" to ")) + " to " + std::to_string(*next.index);
  range.index = next.index;
}

std::vector<Finding> in_ranges(const std::vector<Finding> &findings) {
  std::vector<Finding> ranges;
  for (const Finding &finding : findings) {
    if (!ranges.empty() && continues(ranges.back(), finding)) {
      extend(ranges.back(), finding);
    } else {
      ranges.push_back(finding);
    }
  }
  return ranges;
}

}  // namespace host
