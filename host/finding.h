// SPDX-License-Identifier: Apache-2.0
// One difference between the library's table and the hardware.
#ifndef HOST_FINDING_H
#define HOST_FINDING_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

// The states in which table and hardware may differ, by name.
enum class State : uint8_t {
  Disagreement,    // none of the following: something is wrong
  FailedAction,    // a modification failed: the flow keeps the action that it had, or replicates to nobody
  RefusedWrite,    // the SDK refused the record of a flow, or of the catch-all
  Stranded,        // left at an index without flow, by a request that failed or an erasure that was refused
  RefusedTree,     // the SDK refused the ports of a flow's replication tree
  RefusedRelease,  // the SDK refused to destroy a counter or a tree that nobody uses
  LostTable,       // a commit ran out of memory
  Untracked,       // a flow that could not be recorded on its port channel
  Purged,          // a flow with a number that a purge left on a port channel
  Written,         // the operator wrote this index directly
  NoCatchAll,      // the catch-all could not be installed, or was overwritten
};

// What can put a difference right from the software table.
enum class Remedy : uint8_t { None, Write, Erase, ProgramTree, DestroyCounter, DestroyTree };

struct Finding {
  std::string what{};     // "index 2000 (flow 1)"
  std::string problem{};  // "does not stand in the TCAM"
  State state = State::Disagreement;
  Remedy remedy = Remedy::None;
  std::optional<uint16_t> index{};  // in the TCAM; of a range, the last
  std::optional<uint32_t> flow{};   // sequence number
  uint32_t resource = 0;            // counter or multicast index, for the remedies that need one

  std::string text() const { return what + ": " + problem; }
  bool known() const { return state != State::Disagreement; }
  // What to do about it.
  std::string_view advice() const;
};

// Of findings that differ by their indices alone, where these follow one another, one for all: "index 0 to 4094".
bool continues(const Finding &range, const Finding &next);
void extend(Finding &range, const Finding &next);
std::vector<Finding> in_ranges(const std::vector<Finding> &findings);

}  // namespace host

#endif
