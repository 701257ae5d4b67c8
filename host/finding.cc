#include "host/finding.h"

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

}  // namespace host
