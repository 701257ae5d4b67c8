// SPDX-License-Identifier: Apache-2.0
#include "agent/counts.h"

#include <stdexcept>

#include "agent/hardware.h"
#include "agent/requests.h"
#include "agent/responses.h"
#include "oftab/oftab.h"

namespace agent {
namespace {

// Counts that stayed the same counted nothing.
void update(TableEntry &entry, const Counts &record, Time now) {
  const Counts collected = entry.collected_of(record);
  if (is_on_cpu(entry.flow) || record.packets < entry.punted.packets) {
    entry.punted = is_on_cpu(entry.flow) ? record : Counts{};
  }
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

// Counts that went back were cleared in between. What the record of one of the CPU's flows counts is not the flow's:
// others' packets may be among them.
Counts TableEntry::collected_of(const Counts &record) const {
  if (is_on_cpu(flow)) {
    return {};
  }
  return record.packets < punted.packets ? record
                                         : Counts{record.packets - punted.packets, record.bytes - punted.bytes};
}

void read_counts(host::Switch &device, FlowTable &table, Time now) {
  device.collect_statistics();
  for (const auto &each : all_counts(device)) {
    if (TableEntry *entry = table.find(each.seq_no)) {
      update(*entry, {each.packets, each.bytes}, now);
    }
  }
}

}  // namespace agent
