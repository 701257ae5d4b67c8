// SPDX-License-Identifier: Apache-2.0
// Direct TCAM writers: they program a range of indices behind the tables' back, for use from the debug shell.
#include <syslog.h>
#include <unistd.h>

#include <cstring>

#include "oftab/hw_entry.h"
#include "oftab/oftab.h"
#include "oftab/oftab_main/counters.h"
#include "oftab/oftab_main/reconcile.h"
#include "oftab/oftab_main/tcam.h"
#include "oftab/trace.h"

using namespace oftab;
using ip_layout = hw::ip_key;

uint32_t global_stats_id = 1;
oftab_sw_entry_t global_entry;
uint32_t special_high = 4095;
uint32_t special_low = 0;
uint32_t special_debug = 0;

namespace {

constexpr uint32_t LAST_INDEX = TCAM_INDICES - 1;
constexpr uint32_t PROGRESS_STEP = 400;

// A progress mark, and a pause in which the rest of the switch gets its turn.
void mark_progress(uint32_t index) {
  syslog(LOG_ALERT, "installing unified catch all entry at :%d success\n", static_cast<int>(index));
  sleep(1);
}

int32_t write_index(uint32_t index, const oftab_sw_entry_t &entry) {
  int32_t status = OFTAB_OK;
  if (qtr_custom_cache_unified_entry_set(0, index, entry.hw.key, entry.hw.mask, entry.hw.result) != 0) {
    syslog(LOG_ALERT, "installing unified catch all entry at :%d failed\n", static_cast<int>(index));
    status = OFTAB_ERR_FAIL;
  } else {
    note_foreign_write(index, entry.hw);
  }
  if (index % PROGRESS_STEP == 0) {
    mark_progress(index);
  }
  return status;
}

// Writes `entry` at each index of the range, prepared by `prepare(index)` first. What nobody names any more afterwards
// goes back. -1 when any write failed.
template <typename Prepare>
int32_t write_range(const char *function, uint32_t first, uint32_t last, const oftab_sw_entry_t &entry,
                    Prepare prepare) {
  const uint32_t end = last > LAST_INDEX ? LAST_INDEX : last;
  int32_t status = OFTAB_OK;
  for (uint32_t index = first > LAST_INDEX ? 0 : first; index <= end; ++index) {
    prepare(index);
    if (write_index(index, entry) != OFTAB_OK) {
      status = OFTAB_ERR_FAIL;
    }
  }
  release_unnamed(function);
  return status;
}

// Even indices match every key format, odd ones only IPv4.
void set_class_and_valid(cache_unified_entry &to, uint32_t index) {
  hw::set(to.key, ip_layout::class_, hw::CLASS_IP);
  hw::set(to.mask, ip_layout::class_, index % 2 != 0 ? hw::ones(ip_layout::class_) : 0);
  hw::set(to.key, ip_layout::vld, 1);
  hw::set(to.mask, ip_layout::vld, 1);
}

void fill_deny_all(oftab_sw_entry_t &entry, uint32_t stats_id, uint32_t index) {
  hw::set(entry.hw.result, hw::forward_result::entry_type, 1);
  hw::set(entry.hw.result, hw::forward_result::drop, 1);
  hw::set(entry.hw.result, hw::forward_result::adj_stats_ptr, stats_id);
  entry.result_kind = OFTAB_RESULT_DENY;
  entry.stats_id = static_cast<uint16_t>(stats_id);
  global_stats_id = stats_id;
  set_class_and_valid(entry.hw, index);
}

// Gives the catch-all record, zeroed, a counter of its own. Returns the SDK's result.
int32_t renew_catch_all_counter(const char *function, oftab_sw_entry_t &entry, uint32_t *stats_id) {
  memset(&entry, 0, sizeof entry);
  const int32_t rc = create_counter(function, stats_id);
  if (rc != 0) {
    syslog(LOG_ALERT, "\ncreating stats_id failed, sdkrc %d\n", rc);
    entry.stats_id = OFTAB_STATS_ID_NONE;
    return rc;
  }
  syslog(LOG_ALERT, "stats_id %d allocated\n", static_cast<int>(*stats_id));
  entry.stats_id = static_cast<uint16_t>(*stats_id);
  own_counter(entry.stats_id);
  return rc;
}

}  // namespace

int32_t oftab_install_catch_all(uint32_t first, uint32_t last) {
  TRACE_ENTER();
  oftab_sw_entry_t &entry = oftab_hw_rsrc_g.catch_all_entry;
  uint32_t stats_id = 0;
  int32_t status = OFTAB_ERR_FAIL;
  if (renew_catch_all_counter(__func__, entry, &stats_id) == 0) {
    const auto prepare = [stats_id](uint32_t index) {
      fill_deny_all(oftab_hw_rsrc_g.catch_all_entry, stats_id, index);
    };
    status = write_range(__func__, first, last, entry, prepare);
  } else {
    release_unnamed(__func__);
  }
  TRACE_DETAIL("%s() Exit. Status:%d \n", __func__, status);
  return status;
}

int32_t oftab_clear_catch_all(uint32_t first, uint32_t last) {
  TRACE_ENTER();
  const oftab_sw_entry_t cleared = {};
  const int32_t status = write_range(__func__, first, last, cleared, [](uint32_t) {});
  TRACE_DETAIL("%s() Exit. Status:%d \n", __func__, status);
  return status;
}

int32_t oftab_install_global_entry(uint32_t first, uint32_t last) {
  TRACE_ENTER();
  const int32_t status = write_range(__func__, first, last, global_entry,
                                     [](uint32_t index) { set_class_and_valid(global_entry.hw, index); });
  TRACE_DETAIL("%s() Exit. Status:%d \n", __func__, status);
  return status;
}
