// SPDX-License-Identifier: Apache-2.0
// Initialisation of the library, and the set-up of the statistics timer.
#include <cstdlib>
#include <cstring>

#include "oftab/oftab.h"
#include "oftab/oftab_main/reconcile.h"
#include "oftab/statistics_timer.h"
#include "oftab/table.h"
#include "oftab/trace.h"
#include "platform/timers.h"

oftab_hw_rsrc_t oftab_hw_rsrc_g;
void *oftab_stats_timer = nullptr;
uint32_t timer_arg[4];

namespace {

// Which expiry the host delivers: the statistics collection.
constexpr uint32_t TIMER_KIND = 22;

struct timer_interval {
  uint32_t seconds;
  uint32_t fraction;
};

constexpr timer_interval COLLECTION_PERIOD = {10, 0};

oftab_tcam_tbl_t *allocate_table() {
  return static_cast<oftab_tcam_tbl_t *>(calloc(1, sizeof(oftab_tcam_tbl_t)));
}

bool create_tables() {
  oftab_hw_rsrc_t &global = oftab_hw_rsrc_g;
  global.current_table = allocate_table();
  global.shadow_table = allocate_table();
  if (global.current_table == nullptr || global.shadow_table == nullptr) {
    return false;
  }
  global.tcam_capacity = OFTAB_FLOW_CAPACITY;
  global.current_table->free_entries = OFTAB_FLOW_CAPACITY;
  memset(global.intf_tbl, 0xFF, sizeof global.intf_tbl);
  memset(global.shadow_intf_tbl, 0xFF, sizeof global.shadow_intf_tbl);
  return true;
}

void release_table(oftab_tcam_tbl_t *&table) {
  if (table != nullptr) {
    oftab::release_array(*table);
  }
  free(table);
  table = nullptr;
}

// Back to the state before initialisation.
void undo() {
  oftab_hw_rsrc_t &global = oftab_hw_rsrc_g;
  release_table(global.current_table);
  release_table(global.shadow_table);
  memset(&global, 0, sizeof global);
  oftab::release_unnamed("oftab_init");
}

bool initialise() {
  oftab_hw_rsrc_t &global = oftab_hw_rsrc_g;
  // A failed attempt leaves its empty tree to the next one: the host has no way to destroy it.
  if (oftab_pc_tree == nullptr) {
    oftab_init_pc_tree();
  }
  memset(&global, 0, sizeof global);
  if (!create_tables()) {
    undo();
    return false;
  }
  global.initialized = 1;  // the catch-all installer asks for it
  if (oftab_install_catch_all_entry(0, nullptr, nullptr) != OFTAB_OK) {
    undo();
    return false;
  }
  return true;
}

}  // namespace

int32_t oftab_init(void) {
  TRACE_ENTER();
  if (oftab_hw_rsrc_g.initialized == 0 && !initialise()) {
    TRACE_DETAIL("%s() Exit. Failure \n", __func__);
    return OFTAB_ERR_FAIL;
  }
  TRACE_DETAIL("%s() Exit. Success \n", __func__);
  return OFTAB_OK;
}

int32_t oftab_alloc_init_stats(void) {
  TRACE_ENTER();
  TRACE_EXIT();
  return 0;
}

int32_t oftab_init_tcam_entries(void) {
  TRACE_ENTER();
  TRACE_EXIT();
  return 0;
}

int32_t oftab_test_pgm_entry(void) {
  TRACE_ENTER();
  TRACE_EXIT();
  return 0;
}

bool oftab::start_statistics_timer(const char *function) {
  const bool started = tg_start_timer(oftab_stats_timer, &COLLECTION_PERIOD) == 1;
  if (!started) {
    TRACE_ERROR_IN(function, "%s() Error restarting timer n", function);
  }
  return started;
}

int32_t oftab_init_stats_timer(void *timer_context) {
  TRACE_ENTER();
  timer_arg[0] = 0;
  timer_arg[1] = 0;
  timer_arg[2] = TIMER_KIND;
  timer_arg[3] = 0;
  oftab_stats_timer = tg_create_timer(timer_context, 0, timer_arg, 1);
  if (oftab_stats_timer == nullptr) {
    return OFTAB_ERR_FAIL;
  }
  TRACE_DETAIL("%s()Timer created succesfully \n", __func__);
  if (!oftab::start_statistics_timer(__func__)) {
    return OFTAB_ERR_FAIL;
  }
  TRACE_DETAIL("%s() Exit. Status=%d \n", __func__, OFTAB_OK);
  return OFTAB_OK;
}
