/* SPDX-License-Identifier: Apache-2.0 */
/* The smallest host that liboftab runs in: it boots the library, adds one flow and prints the record that the TCAM got.
 * A platform port starts here: each stub stands for a call of platform/, whose header has the contract. */
#include <stdarg.h>
#include <string.h>

#include "oftab/oftab.h"
#include "platform/avl_tree.h"
#include "platform/bitset.h"
#include "platform/command_shell.h"
#include "platform/interface_manager.h"
#include "platform/message_service.h"
#include "platform/timers.h"
#include "platform/tracing.h"

#pragma GCC diagnostic ignored "-Wunused-parameter"

/* The ASIC's SDK: the TCAM is real, counters count nothing, replication trees exist only by name. */
static cache_unified_entry tcam[TCAM_INDICES];
static uint32_t last_counter;
uint32_t sdk_sm_id_lldp = 1;

int32_t qtr_custom_cache_unified_entry_set(uint32_t unit, uint32_t index, const void *k, const void *m, const void *r) {
  memcpy(tcam[index].key, k, TCAM_KEY_SIZE);
  memcpy(tcam[index].mask, m, TCAM_KEY_SIZE);
  memcpy(tcam[index].result, r, TCAM_RESULT_SIZE);
  return 0;
}
int32_t qtr_custom_cache_unified_entry_get(uint32_t unit, uint32_t index, void *k, void *m, void *r) {
  memcpy(k, tcam[index].key, TCAM_KEY_SIZE);
  memcpy(m, tcam[index].mask, TCAM_KEY_SIZE);
  memcpy(r, tcam[index].result, TCAM_RESULT_SIZE);
  return 0;
}
int32_t libsdk_l3_route_stats_create(uint32_t unit, uint32_t block[4]) {
  block[0] = ++last_counter;
  return 0;
}
int32_t libsdk_l3_route_stats_get(uint32_t unit, uint32_t stats_id, uint32_t zero, void *record) {
  memset(record, 0, sizeof(route_stats));
  return 0;
}
int32_t libsdk_l3_route_stats_destroy(uint32_t unit, uint32_t stats_id) { return 0; }
int32_t libsdk_mcst_tree_create(uint32_t unit, uint32_t zero, uint32_t *index) { return 0; }
int32_t libsdk_mcst_tree_group_add(uint32_t unit, uint32_t zero, uint32_t index, const void *ports) { return 0; }
int32_t libsdk_mcst_tree_destroy(uint32_t unit, uint32_t zero, uint32_t index) { return 0; }
int32_t libsdk_port_static_match_enable_set(uint32_t unit, uint32_t port, uint32_t id, uint32_t on) { return 0; }
int32_t libsdk_switch_config_get_batch(uint32_t unit, uint32_t attribute, void *block) {
  vlan_to_bd *question = block;
  question->bd = question->vlan;
  return 0;
}

/* The interface manager: 48 ports, no port channels; ifindex bits 12 to 19 are the port's slot. */
void *HDM_HDIM_FIND_LIF(uint32_t ifindex) { return &tcam; /* any object: nothing looks into it */ }
void *HDM_HDIM_LIF_IF(void *lif) { return lif; }
int HDM_HDIM_IF_IS_PC(void *interface) { return 0; }
void *HDM_HDIM_IF_PC(void *interface) { return NULL; }
void *HDM_HDIM_PC_GET_NEXT_PIF(void *pc, void *previous) { return NULL; }
uint32_t HDM_HDIM_PIF_INDEX(void *pif) { return 0; }
int32_t if_index_get_port(uint32_t ifindex, uint8_t *port) {
  *port = ifindex >> 12 & 0xff;
  return 0;
}
uint16_t hdmpd_qtr_get_intf_id_for_ifindex(uint32_t ifindex) { return (uint16_t)(0x100 + (ifindex >> 12 & 0xff)); }
int32_t im_get_ifindex_openflow_state_list(void *records, uint32_t count) {
  ((uint8_t *)records)[OPENFLOW_STATE_OFFSET] = 1;
  return 0;
}

/* The AVL tree holds the port channels that flows name: there are none. */
void *avl_create(int32_t (*compare)(const void *, const void *), uint32_t flags) { return &tcam; }
void *avl_find(void *tree, const void *probe) { return NULL; }
void *avl_insert(void *tree, void *node) { return NULL; }
void *avl_delete(void *tree, void *node) { return NULL; }

/* The bitset: one, of the 4000 multicast indices, a byte for each. */
static uint8_t bits[OFTAB_MCST_IDX_COUNT];
void *bitset_create(uint32_t count) { return count <= sizeof bits ? bits : NULL; }
void bitset_clear(void *set) { memset(bits, 0, sizeof bits); }
void bitset_set_bit(void *set, uint32_t bit) { bits[bit] = 1; }
void bitset_clear_bit(void *set, uint32_t bit) { bits[bit] = 0; }
int32_t bitset_next_free_bit(void *set, uint32_t from) {
  const uint8_t *free_bit = memchr(bits + from, 0, sizeof bits - from);
  return free_bit != NULL ? (int32_t)(free_bit - bits) : -1;
}
int32_t bitset_first_free_bit(void *set) { return bitset_next_free_bit(set, 0); }

/* Timers: the library's one timer never expires here. */
void *tg_create_timer(void *context, uint32_t flags, void *timer_argument, uint32_t one) { return &tcam; }
int32_t tg_start_timer(void *timer, const void *interval) { return 1; }
void tg_stop_timer(void *timer) {}
int32_t tg_is_timer_active(void *timer) { return 1; }

/* Tracing and the shell: failures go to standard error, all else nowhere. */
FILE *dbg_out_file;
const char *trk_dbg_modname = "oftab";
char hdm_pd_dump_one_line[256];
void hdm_ds_trace_add(const char *file, const char *function, int line, int flags, const char *format, ...) {}
void hdm_ds_add(const char *file, const char *function, int line, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vfprintf(stderr, format, arguments);
  va_end(arguments);
}
const char *hdm_ctime(void) { return ""; }
const char *hdm_debug_elem_descr(uint32_t level) { return level == 102 ? "error" : "trace"; }
void hdm_check_flush_dbg_out_file(void) {}
int trk_hist_event_subtype_check(uint32_t type, uint32_t level) { return 1; }
void trk_hist_event(uint32_t type, uint32_t length, const void *record) {}
int trk_chk_int(uint32_t level, int a, int b, int c) { return 0; }
void trcout(int enable, const void *modname, int flags, const char *format, ...) {}
int cmd_prt(void *shell_context, const char *line, int flags) { return fputs(line, stdout); }

/* The message service: one request at a time, and its answer. A message's buffer descriptor is the request itself. */
static int32_t answered = -1;
void hdm_ipq_handler_init(void *received, void *dispatch_context, int32_t *status, uint32_t code) { *status = 0; }
void *ipq_payload_get(void *buffer) { return buffer; }
int32_t fu_ipq_send_response(void *reply, void *response, uint32_t length, void *buffer, int32_t flags) {
  answered = ((oftab_entry_update_resp_t *)response)->status;
  return 0;
}
const char *hdm_errcat2str(int32_t status) { return "error"; }

static void print_part(const char *name, const uint8_t *bytes, size_t size) {
  printf("%-7s", name);
  for (const uint8_t *byte = bytes; byte < bytes + size; ++byte) printf("%02x", *byte);
  printf("\n");
}

int main(void) {
  struct {
    uint8_t head[MESSAGE_BUFFER_OFFSET]; /* the message service's own */
    oftab_entry_update_req_t request;
    oftab_flow_t flow;
  } message = {.request = {OFTAB_ENTRY_ADD, 1, 0},
               .flow = {.value = {.ethertype = 0x0800, .protocol = 6, .dport = 80}, /* IPv4 to TCP port 80 */
                        .mask = {.ethertype = 0xffff, .protocol = 0xff, .dport = 0xffff}}};
  message.flow.seq_no = 1;
  message.flow.result_type = OFTAB_ACTION_DENY;
  oftab_main(0);
  oftab_process_entry_update(NULL, &message, NULL);
  const unsigned index = oftab_hw_rsrc_g.current_table->tcam_st_idx;
  printf("status %d, flow at TCAM index %u\n", answered, index);
  print_part("key", tcam[index].key, TCAM_KEY_SIZE);
  print_part("mask", tcam[index].mask, TCAM_KEY_SIZE);
  print_part("result", tcam[index].result, TCAM_RESULT_SIZE);
  return answered == OFTAB_OK ? 0 : 1;
}
