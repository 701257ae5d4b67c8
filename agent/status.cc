#include "agent/status.h"

#include "oftab/oftab.h"

namespace agent {
namespace {

struct Meaning {
  int32_t status;
  const char *text;
};

constexpr Meaning kMeanings[] = {
    {OFTAB_OK, "done"},
    {OFTAB_ERR_FAIL, "unknown flow, occupied interface slot, SDK failure, or not initialised"},
    {OFTAB_ERR_NOT_READY, "not initialised"},
    {OFTAB_ERR_INVALID,
     "a VLAN without bridge domain; an unknown interface, flow, application or operation; or no memory"},
    {OFTAB_ERR_STATS_OP, "unknown statistics operation"},
    {OFTAB_ERR_CAPACITY, "more flows than free places"},
    {OFTAB_ERR_LOCATION, "the interface has no slot in the table of 48"},
    {OFTAB_ERR_PROGRAM, "a TCAM write failed"},
    {OFTAB_ERR_COUNTER, "no statistics counter"},
    {OFTAB_ERR_FANOUT, "the output fan-out could not be set up"},
    {OFTAB_ERR_RESULT_TYPE, "unknown action"},
    {OFTAB_ERR_MESSAGE, "the message service failed"},
};

}  // namespace

std::string status_text(int32_t status) {
  const char *text = "unknown status";
  for (const Meaning &meaning : kMeanings) {
    if (meaning.status == status) {
      text = meaning.text;
    }
  }
  return std::to_string(status) + " (" + text + ")";
}

}  // namespace agent
