#include "agent/counts.h"

#include <stdexcept>

#include "agent/hardware.h"
#include "agent/requests.h"
#include "agent/responses.h"
#include "oftab/oftab.h"

namespace agent {
namespace {

// Counts that went back were cleared in between; those that stayed the same counted nothing. What the record of one of
// the CPU's flows counts is not the flow's: others' packets may be among them.
void update(TableEntry &entry, const Counts &record, Time now) {
  if (is_on_cpu(entry.flow)) {
    entry.punted = record;
    return;
  }
  if (record.packets < entry.punted.packets) {
    entry.punted = {};
  }
  const Counts collected{record.packets - entry.punted.packets, record.bytes - entry.punted.bytes};
  if (collected.packets != 0 && collected.packets != entry.collected.packets) {
    entry.used = now;
  }
  entry.collected = collected;
}

// None when the library does not answer, also when it is asked again.
std::vector<StatisticsResponse::Entry> all_counts(host::Switch &device) {
  for (int tries = 0; tries < 2; ++tries) {
    try {
      return submit_statistics(device, statistics_request(OFTAB_STATS_ALL)).entries;
    } catch (const std::runtime_error &) {
      continue;
    }
  }
  return {};
}

}  // namespace

void read_counts(host::Switch &device, FlowTable &table, Time now) {
  device.collect_statistics();
  for (const auto &each : all_counts(device)) {
    if (TableEntry *entry = table.find(each.seq_no)) {
      update(*entry, {each.packets, each.bytes}, now);
    }
  }
}

}  // namespace agent
