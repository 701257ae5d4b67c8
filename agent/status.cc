// SPDX-License-Identifier: Apache-2.0
#include "agent/status.h"

#include "agent/text.h"
#include "oftab/oftab.h"

namespace agent {
namespace {

constexpr unsigned set_of(std::initializer_list<Operation> operations) {
  unsigned set = 0;
  for (const Operation operation : operations) {
    set |= static_cast<unsigned>(operation);
  }
  return set;
}

using enum Operation;

constexpr unsigned kAll = ~0U;

struct Meaning {
  int32_t status;
  unsigned operations;
  const char *text;
};

constexpr Meaning kMeanings[] = {
    {OFTAB_OK, kAll, "done"},
    {OFTAB_ERR_FAIL, set_of({Modify, Statistics}), "unknown flow"},
    {OFTAB_ERR_FAIL, set_of({Interfaces}), "the interface's slot is occupied"},
    {OFTAB_ERR_FAIL, set_of({CatchAll}), "the hardware refused, or the library is not initialised"},
    {OFTAB_ERR_FAIL, set_of({Compaction, Write}), "the hardware refused"},
    {OFTAB_ERR_NOT_READY, kAll, "not initialised"},
    {OFTAB_ERR_INVALID, set_of({Add}),
     "a VLAN without bridge domain, an unknown ingress interface or application, or no memory"},
    {OFTAB_ERR_INVALID, set_of({Modify}), "an unknown flow or application, or no memory"},
    {OFTAB_ERR_INVALID, set_of({CatchAll}), "an unknown application, or no memory"},
    {OFTAB_ERR_INVALID, set_of({Interfaces}), "an unknown operation, or no memory"},
    {OFTAB_ERR_INVALID, kAll, "no memory"},
    {OFTAB_ERR_STATS_OP, kAll, "unknown statistics operation"},
    {OFTAB_ERR_CAPACITY, kAll, "more flows than free places"},
    {OFTAB_ERR_LOCATION, kAll, "the interface has no slot in the table of 48"},
    {OFTAB_ERR_PROGRAM, kAll, "a TCAM write failed"},
    {OFTAB_ERR_COUNTER, kAll, "no statistics counter"},
    {OFTAB_ERR_FANOUT, kAll, "the output fan-out could not be set up"},
    {OFTAB_ERR_RESULT_TYPE, kAll, "unknown action"},
    {OFTAB_ERR_MESSAGE, kAll, "the message service failed"},
};

}  // namespace

std::string status_text(Operation operation, int32_t status) {
  for (const Meaning &meaning : kMeanings) {
    if (meaning.status == status && (meaning.operations & static_cast<unsigned>(operation)) != 0) {
      return concat(status, " (", meaning.text, ")");
    }
  }
  return concat(status, " (unknown status)");
}

}  // namespace agent
