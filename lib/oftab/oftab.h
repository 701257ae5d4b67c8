// SPDX-License-Identifier: Apache-2.0
/* liboftab: OpenFlow flow entries in the ternary memory (TCAM) of a switch ASIC.
 *
 * Rules common to all operations
 * - The host makes one call at a time: nothing is locked, and all state is global.
 * - oftab_main or oftab_init comes first. Before that the request handlers refuse to work and the shows say so; the
 *   steps of a transaction, the table operations and the interface operations must not be called.
 * - Results are signed 32-bit statuses: 0 or a negative OFTAB_ERR_ code, unless an operation says otherwise. Failures
 *   are also traced; nothing is thrown.
 * - Arguments stay the caller's and are not null, unless an operation says otherwise. Messages are packed, in host byte
 *   order, and may stand at any address; a message must be as long as its own counts say. Table records are aligned
 *   structs.
 * - An ifindex is the host's number of an interface; its bits 12 to 19 are the slot of a front-panel port, 0 to 47.
 * - Every call of the ASIC's SDK is for unit 0.
 *
 * The header compiles as C11 and as C++20. */
#ifndef OFTAB_H
#define OFTAB_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#include "platform/asic_sdk.h"

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/* --- Constants --- */

/* Sizes of the tables, and the place behind the flows. */
enum oftab_size {
  OFTAB_FLOW_CAPACITY = 4095,   /* flow entries stand at TCAM indices 0 to 4094 */
  OFTAB_CATCH_ALL_INDEX = 4095, /* the entry for packets that no flow matched */
  OFTAB_PORT_SLOTS = 48,        /* slots of the interface tables and of port_hw_lif */
  OFTAB_BD_COUNT = 4096,        /* elements of bd_vlan */
  OFTAB_PC_PER_ENTRY = 24,      /* port channels recorded on one flow */
  OFTAB_FLOW_HANDLES = 4096,    /* flow handles (sequence numbers) that a flow mask has a bit for */
  OFTAB_MCST_IDX_COUNT = 4000   /* size of the pool of multicast indices */
};

enum oftab_stats_id { OFTAB_STATS_ID_NONE = 65535 }; /* stats_id of an entry whose counter could not be created */

/* Macros, as an enumerator of C11 is an int. */
#define OFTAB_EMPTY_SLOT         0xFFFFFFFFu /* an interface slot that holds no ifindex */
#define OFTAB_CATCH_ALL_PRIORITY 0xFFFFFFFFu /* in an add request for one entry: the catch-all */

/* Message codes under which the host dispatches requests. */
enum oftab_message {
  OFTAB_MSG_ENTRY_UPDATE = 126024, /* oftab_process_entry_update */
  OFTAB_MSG_INTF_UPDATE = 126025,  /* oftab_process_intf_update */
  OFTAB_MSG_GET_STATS = 126026     /* oftab_process_get_stats */
};

/* Status codes. */
enum oftab_status {
  OFTAB_OK = 0,
  OFTAB_ERR_FAIL = -1,         /* not initialised, SDK failure, entry or flow not found, occupied interface slot */
  OFTAB_ERR_NOT_READY = -2,    /* interface and statistics requests before initialisation */
  OFTAB_ERR_INVALID = -3,      /* missing argument, out of memory, invalid app_id, failed lookup, unknown operation */
  OFTAB_ERR_STATS_OP = -4,     /* unknown statistics operation */
  OFTAB_ERR_CAPACITY = -5,     /* more entries than free places */
  OFTAB_ERR_LOCATION = -7,     /* interface slot 48 or more */
  OFTAB_ERR_PROGRAM = -8,      /* a TCAM write failed while programming */
  OFTAB_ERR_COUNTER = -9,      /* statistics counter not created */
  OFTAB_ERR_FANOUT = -10,      /* output fan-out not set up */
  OFTAB_ERR_RESULT_TYPE = -11, /* result_type not known */
  OFTAB_ERR_MESSAGE = -12      /* message-service initialisation failed, or no payload */
};

/* Operations of the requests: entry_op, intf_op, op. */
enum oftab_entry_op { OFTAB_ENTRY_ADD = 1, OFTAB_ENTRY_DELETE = 2, OFTAB_ENTRY_MODIFY = 3, OFTAB_ENTRY_PURGE = 4 };
enum oftab_intf_op { OFTAB_INTF_ADD = 1, OFTAB_INTF_DELETE = 2 };
enum oftab_stats_op { OFTAB_STATS_LISTED = 5, OFTAB_STATS_ALL = 6, OFTAB_STATS_CLEAR = 7 };

/* result_type of a request entry. */
enum oftab_action {
  OFTAB_ACTION_PERMIT = 0,
  OFTAB_ACTION_DENY = 1,
  OFTAB_ACTION_OUTPORT = 2,
  OFTAB_ACTION_REDIRECT = 3, /* carries an output list; rejected */
  OFTAB_ACTION_CONTROLLER = 4
};

/* action_flags of a request entry. */
enum oftab_action_flag { OFTAB_ACTION_FLAG_CONTROLLER = 0x10 }; /* copy to the controller in addition to the action */

/* result_kind of a software entry. */
enum oftab_result {
  OFTAB_RESULT_PERMIT = 0,
  OFTAB_RESULT_DENY = 1,
  OFTAB_RESULT_OUTPORT = 2,
  OFTAB_RESULT_CONTROLLER = 3
};

/* flags of a software entry. */
enum oftab_entry_flag {
  OFTAB_ENTRY_USED = 0x01,          /* a live flow; clear: a hole */
  OFTAB_ENTRY_NEW = 0x02,           /* converted, to be written to the TCAM */
  OFTAB_ENTRY_MOVED = 0x04,         /* at another index or with another action, to be written again */
  OFTAB_ENTRY_DELETE_PENDING = 0x08 /* named by the delete request that is being applied */
};

/* --- Records --- */

/* The ASIC's TCAM record; hw_entry.h names its bit fields. */
typedef struct cache_unified_entry {
  uint8_t key[TCAM_KEY_SIZE];
  uint8_t mask[TCAM_KEY_SIZE];
  uint8_t result[TCAM_RESULT_SIZE];
} cache_unified_entry;

typedef struct oftab_sw_entry {
  uint16_t tcam_index;                     /* where the record stands, or is to be written */
  uint32_t ifindex;                        /* ifindex of the flow's match, whatever its mask */
  uint32_t seq_no;                         /* flow handle */
  cache_unified_entry hw;                  /* as last converted */
  uint32_t result_kind;                    /* OFTAB_RESULT_ */
  port_group out_ports;                    /* output ports of an outport entry */
  uint32_t mcst_idx;                       /* multicast index of the fan-out; 0 when the entry never had one */
  int32_t num_pc;                          /* used elements of pc_ifindex */
  uint32_t pc_ifindex[OFTAB_PC_PER_ENTRY]; /* port channels among the outputs */
  uint16_t stats_id;                       /* hardware counter, or OFTAB_STATS_ID_NONE */
  uint64_t byte_cnt;                       /* totals, as of the last collection */
  uint64_t pkt_cnt;
  uint32_t priority;
  uint8_t flags; /* OFTAB_ENTRY_ */
} oftab_sw_entry_t;

/* A TCAM table. The entry array of the current table is compact: element k describes index tcam_st_idx + k, up to
 * tcam_end_idx. The shadow table has a full array of 4095 elements, by TCAM index, while a request is applied. */
typedef struct oftab_tcam_tbl {
  uint16_t tcam_st_idx;
  uint16_t tcam_end_idx;        /* inclusive; both are 0 in an empty table */
  uint16_t free_entries;        /* of the 4095 flow indices */
  uint16_t entries_allocated;   /* records in the range, holes included; 0 for an empty table */
  oftab_sw_entry_t *tcam_entry; /* the table's own; null: no records, whatever the counts say */
} oftab_tcam_tbl_t;

/* The library's state. Every member is the library's to write; a host only reads them, between calls. */
typedef struct oftab_hw_rsrc {
  uint32_t initialized;             /* 1 once initialisation has completed, else 0 */
  uint16_t tcam_capacity;           /* OFTAB_FLOW_CAPACITY */
  oftab_sw_entry_t catch_all_entry; /* at OFTAB_CATCH_ALL_INDEX, in neither table */
  oftab_tcam_tbl_t *current_table;  /* what the hardware holds */
  oftab_tcam_tbl_t *shadow_table;   /* where one request is prepared; has an array only meanwhile */
  uint16_t intf_count;
  uint32_t intf_tbl[OFTAB_PORT_SLOTS];    /* OpenFlow interface of each port slot, or OFTAB_EMPTY_SLOT */
  uint16_t port_hw_lif[OFTAB_PORT_SLOTS]; /* as last told to oftab_set_hw_lif_for_l2_port; kept for the host */
  uint16_t shadow_intf_count;             /* working copies of an interface request */
  uint32_t shadow_intf_tbl[OFTAB_PORT_SLOTS];
  uint16_t bd_vlan[OFTAB_BD_COUNT]; /* VLAN of the last match converted with each bridge domain */
} oftab_hw_rsrc_t;

/* The flows that output to one port channel. */
struct pc_entry {
  uint32_t pc_ifindex;
  uint32_t flow_mask[OFTAB_FLOW_HANDLES / 32]; /* flow handle h: bit h mod 32 of word h div 32 */
};

static_assert(sizeof(cache_unified_entry) == 112, "hardware record");
static_assert(sizeof(port_group) == 36, "port group");
static_assert(sizeof(route_stats) == 16, "route statistics");
static_assert(sizeof(oftab_sw_entry_t) == 296, "software entry");
static_assert(offsetof(oftab_sw_entry_t, ifindex) == 4, "software entry");
static_assert(offsetof(oftab_sw_entry_t, seq_no) == 8, "software entry");
static_assert(offsetof(oftab_sw_entry_t, hw) == 12, "software entry");
static_assert(offsetof(oftab_sw_entry_t, result_kind) == 124, "software entry");
static_assert(offsetof(oftab_sw_entry_t, out_ports) == 128, "software entry");
static_assert(offsetof(oftab_sw_entry_t, mcst_idx) == 164, "software entry");
static_assert(offsetof(oftab_sw_entry_t, num_pc) == 168, "software entry");
static_assert(offsetof(oftab_sw_entry_t, pc_ifindex) == 172, "software entry");
static_assert(offsetof(oftab_sw_entry_t, stats_id) == 268, "software entry");
static_assert(offsetof(oftab_sw_entry_t, byte_cnt) == 272, "software entry");
static_assert(offsetof(oftab_sw_entry_t, pkt_cnt) == 280, "software entry");
static_assert(offsetof(oftab_sw_entry_t, priority) == 288, "software entry");
static_assert(offsetof(oftab_sw_entry_t, flags) == 292, "software entry");
static_assert(sizeof(oftab_tcam_tbl_t) == 16, "TCAM table");
static_assert(offsetof(oftab_tcam_tbl_t, tcam_entry) == 8, "TCAM table");
static_assert(offsetof(oftab_hw_rsrc_t, tcam_capacity) == 4, "global record");
static_assert(offsetof(oftab_hw_rsrc_t, catch_all_entry) == 8, "global record");
static_assert(offsetof(oftab_hw_rsrc_t, current_table) == 304, "global record");
static_assert(offsetof(oftab_hw_rsrc_t, shadow_table) == 312, "global record");
static_assert(offsetof(oftab_hw_rsrc_t, intf_count) == 320, "global record");
static_assert(offsetof(oftab_hw_rsrc_t, intf_tbl) == 324, "global record");
static_assert(offsetof(oftab_hw_rsrc_t, port_hw_lif) == 516, "global record");
static_assert(offsetof(oftab_hw_rsrc_t, shadow_intf_count) == 612, "global record");
static_assert(offsetof(oftab_hw_rsrc_t, shadow_intf_tbl) == 616, "global record");
static_assert(offsetof(oftab_hw_rsrc_t, bd_vlan) == 808, "global record");
static_assert(sizeof(oftab_hw_rsrc_t) == 9000, "global record");
static_assert(sizeof(struct pc_entry) == 516, "port-channel entry");

/* --- Messages: packed, host byte order. Records follow their header back to back. --- */

#define OFTAB_PACKED __attribute__((packed))

/* The match of a flow: one block of values, one of masks (a 1 bit is compared). */
typedef struct OFTAB_PACKED oftab_match {
  uint32_t ifindex;
  uint8_t mac_sa[6]; /* octets in transmission order */
  uint8_t mac_da[6];
  uint32_t ethertype; /* 0x800 and 0x806 after masking select the IPv4 and ARP key, others the Ethernet key */
  uint16_t vlan;      /* the low 13 bits of the mask are used */
  uint16_t reserved;
  uint32_t ip_sa;
  uint32_t ip_da;
  uint16_t tos;      /* low 8 bits */
  uint16_t protocol; /* low 8 bits */
  uint16_t sport;
  uint16_t dport;
} oftab_match_t;

/* One flow of an add or modify request. `num_oif` u32 ifindexes follow where oftab_has_output_list() says so. */
typedef struct OFTAB_PACKED oftab_flow {
  uint32_t priority; /* larger is stronger */
  uint32_t seq_no;
  uint32_t context; /* echoed */
  oftab_match_t value;
  oftab_match_t mask;
  uint32_t result_type; /* OFTAB_ACTION_ */
  uint8_t action_flags; /* OFTAB_ACTION_FLAG_ */
  uint8_t reserved[3];
  uint32_t app_id; /* 1 to 8 where the controller is asked for */
  uint16_t num_oif;
  uint16_t reserved2;
} oftab_flow_t;

/* Whether the output list follows a flow of this result_type. */
static inline int oftab_has_output_list(uint32_t result_type) {
  return result_type == OFTAB_ACTION_OUTPORT || result_type == OFTAB_ACTION_REDIRECT;
}

/* Add (1) and modify (3): flows follow. Purge (4): header only. */
typedef struct OFTAB_PACKED oftab_entry_update_req {
  uint32_t entry_op;
  uint16_t num_entries;
  uint16_t reserved; /* echoed */
} oftab_entry_update_req_t;

typedef struct OFTAB_PACKED oftab_del_entry {
  uint32_t context; /* echoed */
  uint32_t seq_no;
  uint32_t reserved;
} oftab_del_entry_t;

/* Delete (2): delete entries follow. */
typedef struct OFTAB_PACKED oftab_entry_del_req {
  uint32_t entry_op;
  uint16_t num_entries;
  uint16_t reserved; /* echoed */
} oftab_entry_del_req_t;

typedef struct OFTAB_PACKED oftab_resp_entry {
  uint32_t context;
  uint32_t seq_no;
  int32_t status;
} oftab_resp_entry_t;

/* Answers every entry request; one response entry per request entry follows. */
typedef struct OFTAB_PACKED oftab_entry_update_resp {
  uint32_t entry_op;
  uint32_t num_entries; /* the request's u16 num_entries and its two reserved bytes */
  int32_t status;
} oftab_entry_update_resp_t;

typedef struct OFTAB_PACKED oftab_intf_req_info {
  uint32_t index; /* ifindex */
  uint32_t context;
} oftab_intf_req_info_t;

typedef struct OFTAB_PACKED oftab_intf_update_req {
  uint32_t intf_op;
  uint16_t num_intfs;
  uint16_t reserved;
} oftab_intf_update_req_t;

typedef struct OFTAB_PACKED oftab_intf_resp_info {
  uint32_t index;
  uint32_t context;
  int32_t status;
} oftab_intf_resp_info_t;

typedef struct OFTAB_PACKED oftab_intf_update_resp {
  uint32_t intf_op;
  uint16_t num_intfs;
  uint16_t reserved;
  int32_t status;
} oftab_intf_update_resp_t;

typedef struct OFTAB_PACKED oftab_stats_req_info {
  uint32_t context;
  uint32_t seq_no;
} oftab_stats_req_info_t;

/* op 5 carries request records; op 6 and 7 carry none. */
typedef struct OFTAB_PACKED oftab_stats_query_req {
  uint32_t op;
  uint16_t num_entries;
  uint16_t reserved;
} oftab_stats_query_req_t;

/* While the table is empty, each record of a listed query is zeros, whatever was asked for: status 0, seq_no 0. */
typedef struct OFTAB_PACKED oftab_stats_resp_info {
  int32_t status; /* 0 found, -1 not found */
  uint32_t context;
  uint32_t seq_no;
  uint64_t pkt_cnt;
  uint64_t byte_cnt;
} oftab_stats_resp_info_t;

typedef struct OFTAB_PACKED oftab_stats_query_resp {
  uint32_t op;
  uint16_t num_entries;
  uint16_t reserved;
  int32_t status;
} oftab_stats_query_resp_t;

static_assert(sizeof(oftab_match_t) == 40, "match block");
static_assert(offsetof(oftab_match_t, mac_sa) == 4, "match block");
static_assert(offsetof(oftab_match_t, mac_da) == 10, "match block");
static_assert(offsetof(oftab_match_t, ethertype) == 16, "match block");
static_assert(offsetof(oftab_match_t, vlan) == 20, "match block");
static_assert(offsetof(oftab_match_t, ip_sa) == 24, "match block");
static_assert(offsetof(oftab_match_t, ip_da) == 28, "match block");
static_assert(offsetof(oftab_match_t, tos) == 32, "match block");
static_assert(offsetof(oftab_match_t, protocol) == 34, "match block");
static_assert(offsetof(oftab_match_t, sport) == 36, "match block");
static_assert(offsetof(oftab_match_t, dport) == 38, "match block");
static_assert(sizeof(oftab_flow_t) == 108, "request entry");
static_assert(offsetof(oftab_flow_t, value) == 12, "request entry");
static_assert(offsetof(oftab_flow_t, mask) == 52, "request entry");
static_assert(offsetof(oftab_flow_t, result_type) == 92, "request entry");
static_assert(offsetof(oftab_flow_t, action_flags) == 96, "request entry");
static_assert(offsetof(oftab_flow_t, app_id) == 100, "request entry");
static_assert(offsetof(oftab_flow_t, num_oif) == 104, "request entry");
static_assert(sizeof(oftab_entry_update_req_t) == 8, "entry update request");
static_assert(offsetof(oftab_entry_update_req_t, num_entries) == 4, "entry update request");
static_assert(sizeof(oftab_entry_del_req_t) == 8, "entry delete request");
static_assert(sizeof(oftab_del_entry_t) == 12, "delete entry");
static_assert(offsetof(oftab_del_entry_t, seq_no) == 4, "delete entry");
static_assert(sizeof(oftab_entry_update_resp_t) == 12, "entry update response");
static_assert(offsetof(oftab_entry_update_resp_t, status) == 8, "entry update response");
static_assert(sizeof(oftab_resp_entry_t) == 12, "response entry");
static_assert(offsetof(oftab_resp_entry_t, status) == 8, "response entry");
static_assert(sizeof(oftab_intf_update_req_t) == 8, "interface update request");
static_assert(sizeof(oftab_intf_req_info_t) == 8, "interface record");
static_assert(sizeof(oftab_intf_update_resp_t) == 12, "interface update response");
static_assert(offsetof(oftab_intf_update_resp_t, status) == 8, "interface update response");
static_assert(sizeof(oftab_intf_resp_info_t) == 12, "interface response record");
static_assert(sizeof(oftab_stats_query_req_t) == 8, "statistics query request");
static_assert(sizeof(oftab_stats_req_info_t) == 8, "statistics request record");
static_assert(sizeof(oftab_stats_query_resp_t) == 12, "statistics query response");
static_assert(offsetof(oftab_stats_query_resp_t, status) == 8, "statistics query response");
static_assert(sizeof(oftab_stats_resp_info_t) == 28, "statistics response record");
static_assert(offsetof(oftab_stats_resp_info_t, pkt_cnt) == 12, "statistics response record");
static_assert(offsetof(oftab_stats_resp_info_t, byte_cnt) == 20, "statistics response record");

/* --- Data --- */

/* All but the variables of the writers and of the scenario, at the end, are the library's to write. */

extern oftab_hw_rsrc_t oftab_hw_rsrc_g;

extern void *oftab_pc_tree;             /* AVL tree of struct pc_entry; null until initialisation */
extern void *g_oftab_mcast_idx_bmp;     /* bitset of the multicast indices in use; null until the first allocation */
extern uint32_t g_oftab_mcst_idx_lower; /* first index of the pool: 8192 */
extern uint32_t g_oftab_mcst_idx_upper; /* one past the last: 12192 */
extern uint32_t g_oftab_mcst_idx_last_allocated; /* handed out last */
extern void *oftab_stats_timer;                  /* null until oftab_init_stats_timer */
extern uint32_t timer_arg[4];                    /* what the timer service is told about the statistics timer */

/* --- Lifecycle --- */

/* Initialises the library (a failure aborts the process), runs debug command `command` and returns 0. Commands:
 * 101 add, 102, 107 and 108 delete, 103 and 109 interface requests of the generators below; 104 compaction; 105 table
 * check; any other number does nothing. */
uint32_t oftab_main(uint32_t command);

/* Creates the tables and installs the catch-all entry. Harmless when already done. 0, or -1 with nothing left behind.
 */
int32_t oftab_init(void);

/* Placeholders of the start-up sequence: do nothing, return 0. */
int32_t oftab_alloc_init_stats(void);
int32_t oftab_init_tcam_entries(void);
int32_t oftab_test_pgm_entry(void);

/* Creates the statistics timer with the host's `timer_context` and starts it for 10 s. Called once, after
 * initialisation. 0, or -1 when the timer service refuses. */
int32_t oftab_init_stats_timer(void *timer_context);

/* To be called at each expiry of the statistics timer: adds the counts since the last expiry to the totals of the
 * catch-all entry and of every used entry of the current table, and starts the timer again. Returns 0. */
int32_t hdm_oftab_stats_timer_handler(void);

/* --- Request handlers: reply address, received message record, dispatch context (see platform/message_service.h) ---
 * Each sends exactly one response once it has allocated it, and none before. */

/* Applies one entry request (add, delete, modify, purge) as a transaction. Returns the result of sending the response;
 * the status of the message service when its handler initialisation failed; 0 when nothing was sent for another
 * reason. The response carries the request's status and one status per entry. */
int32_t oftab_process_entry_update(void *reply, void *message, void *dispatch_context);

/* Applies one interface request. Returns the request's status, -1 for an unknown operation (answered with -3), or, with
 * no response sent, -2 (not initialised), -12 (message service) or -3 (out of memory). */
int32_t oftab_process_intf_update(void *reply, void *message, void *dispatch_context);

/* Answers one statistics query from the totals, or clears them. Returns the request's status (0, or -4 for an unknown
 * operation) or, with no response sent, -2, -12 or -3 as above. */
int32_t oftab_process_get_stats(void *reply, void *message, void *dispatch_context);

/* --- Events of the host --- */

/* Port `member_ifindex` joined (`add` non-zero) or left the port channel: updates the replication tree of every flow
 * that outputs to it, provided that OpenFlow is enabled on the port channel. */
void oftab_port_channel_intf_update(uint32_t member_ifindex, uint32_t pc_ifindex, uint32_t add);

/* The OpenFlow mode of a port changed: only traced. Returns 0. */
int32_t oftab_l2_port_openflow_mode_changed(uint32_t ifindex);

/* Keeps the low 16 bits of `hw_lif` in port_hw_lif at the slot of `ifindex`; a slot of 48 or more is ignored. */
void oftab_set_hw_lif_for_l2_port(uint32_t ifindex, uint32_t hw_lif);

/* The hardware interface id of `ifindex` is now `intf_id` (low 13 bits used): rewrites, in table and TCAM, every entry
 * of the current table whose match names that ifindex and whose key holds another id. */
void oftab_update_l2lif_for_ifindex(uint32_t ifindex, uint32_t intf_id);

/* 1 when the interface manager reports OpenFlow enabled on `ifindex`, else 0 (also when it cannot tell). */
uint32_t hdmpd_is_ifdb_openflow_enabled(uint32_t ifindex);

/* --- Table ---
 * The steps of a transaction, in the order in which a handler takes them: copy the current table into the shadow,
 * change the shadow, program what changed, commit. */

/* The check between programming and commit. Checks nothing, returns 0. */
int32_t oftab_validate_entries(void);

/* Gives the shadow a full array: empty when `entry_update` is non-zero, else a copy of the current table. 0; -5 when
 * `entry_update` is non-zero and fewer than `num_entries` indices are free; -3 out of memory. */
int32_t oftab_cp_current_to_shadow(int32_t entry_update, uint16_t num_entries);

/* Writes every new or moved shadow record to the TCAM and marks it used. 0, or -8 (also in the response's status) when
 * any write failed; the others are still written. */
int32_t oftab_program_shadow_entries(oftab_entry_update_resp_t *response);

/* Replaces the current table by a compact copy of the shadow and releases the shadow's array. `entry_update` is only
 * traced. 0; -3 out of memory: the current table then has no array and the shadow keeps its own. */
int32_t oftab_cp_shadow_to_current(int32_t entry_update);

/* Zeroes a record but for its tcam_index and erases that TCAM index. */
void oftab_clear_and_program_entry(oftab_sw_entry_t *entry);

/* Writes a record to the TCAM at its tcam_index. A failure is traced. */
void oftab_program_entry(oftab_sw_entry_t *entry);

/* Places the request's flows and the current table's live entries into the emptied shadow, by falling priority.
 * Returns the response's status: 0 or the code of the last flow that could not be converted. */
int32_t oftab_insert_entries(const oftab_entry_update_req_t *request, oftab_entry_update_resp_t *response);

/* The merge behind it, from TCAM index `start` downwards. `direction` is not used. */
int32_t oftab_insert_entries_top_down(const oftab_entry_update_req_t *request, uint16_t start, uint32_t direction,
                                      oftab_entry_update_resp_t *response);

/* There is no placement from the bottom: returns 0. */
int32_t oftab_insert_entries_bottom_up(void);

/* Releases and erases the shadow records that the request names by sequence number. An unknown number is answered with
 * status 0. 0, or -3 without a request. */
int32_t oftab_process_entry_del_req(const oftab_entry_del_req_t *request, oftab_entry_update_resp_t *response);

/* Releases and erases up to `count` shadow records marked OFTAB_ENTRY_DELETE_PENDING, leaving holes, and sets the
 * status at offset 8 of `response` (of either `response_kind`) to 0. Returns 0. */
int32_t oftab_delete_and_pgm_entries(uint32_t count, uint32_t response_kind, void *response);

/* Releases and erases every entry of the current table and empties the interface tables. Returns 0. */
int32_t oftab_purge_all_entries(void);

/* Gives the shadow records that the request names their new actions. Returns the response's status: -3 when a sequence
 * number is unknown (that entry: -1). An entry whose action failed carries the code of oftab_modify_action. */
int32_t oftab_modify_entries_top_down(const oftab_entry_update_req_t *request, oftab_entry_update_resp_t *response);

/* Packs the current table's entries together, in order, from the first used index. 0; -1 when a write failed (the table
 * keeps its layout); -3 out of memory. */
int32_t oftab_defragment_entries(void);

/* Copies `src` into `dst`, whose tcam_index stays, and writes it to the TCAM there. 0 or the SDK's code. */
int32_t oftab_cp_and_pgm_entry(oftab_sw_entry_t *dst, const oftab_sw_entry_t *src);

/* `update_result` 0: makes sure that TCAM index 4095 holds a valid catch-all entry. Otherwise: gives it the action of
 * the request's first flow and, if there is a `response`, fills its first entry and status. 0; -1 not initialised,
 * counter not created or write failed; -3 without a request or for an app_id outside 1 to 8. */
int32_t oftab_install_catch_all_entry(int32_t update_result, const oftab_entry_update_req_t *request,
                                      oftab_entry_update_resp_t *response);

/* --- Translation ---
 * `flow` is one packed request entry with its output list. */

/* Rebuilds `entry` from a flow: counter, action, fan-out, key, mask, result. The first chooses the key format from the
 * ethertype. 0; -3 missing argument, bad app_id, VLAN without bridge domain, ifindex without interface id; -9; -10;
 * -11. After a failure the record still names its counter (unless -9) and its fan-out, which the caller releases. */
int32_t oftab_convert_vmr_to_hw_vmr(oftab_sw_entry_t *entry, const oftab_flow_t *flow);
int32_t oftab_convert_vmr_to_hw_ip_vmr(oftab_sw_entry_t *entry, const oftab_flow_t *flow);
int32_t oftab_convert_vmr_to_hw_arp_vmr(oftab_sw_entry_t *entry, const oftab_flow_t *flow);
int32_t oftab_convert_vmr_to_hw_eth_vmr(oftab_sw_entry_t *entry, const oftab_flow_t *flow);

/* Adds the copy to the controller if the flow's action_flags ask for it. 0, or -3 for an app_id outside 1 to 8. */
int32_t oftab_add_controller_action(oftab_sw_entry_t *entry, const oftab_flow_t *flow);

/* Replaces the action of an existing entry by the flow's. 0; -3, -10 or -11: the old action is gone all the same. */
int32_t oftab_modify_action(oftab_sw_entry_t *entry, const oftab_flow_t *flow);

/* Releases the entry's fan-out and port-channel records and clears drop and the copy to the CPU. Returns 0. */
int32_t oftab_restore_result_action_defaults(oftab_sw_entry_t *entry);

/* Fills the entry's out_ports from the flow's outputs and records its port channels. Returns 0. */
int32_t oftab_process_l2_redirect_action(oftab_sw_entry_t *entry, const oftab_flow_t *flow);

/* Takes a multicast index from the pool. 1 with *index set, or 0 when the pool is exhausted. */
int32_t oftab_mcst_idx_alloc(uint32_t *index);

/* Gives a multicast index back. 1 when its bit was cleared; 0 when there is no pool yet, the index lies outside it, or
 * it belongs to a live entry. */
int32_t oftab_mcst_idx_dealloc(uint32_t index);

/* Reads and drops the counts of `stats_id`, which restarts the counter. Returns the SDK's result. */
int32_t oftab_dummy_stats_reader(uint16_t stats_id);

/* --- Port channels and interfaces --- */

/* Creates oftab_pc_tree. 0, or -1. */
int32_t oftab_init_pc_tree(void);

/* The difference of the pc_ifindex of two struct pc_entry, read as signed: an order of port channels whose ifindexes
 * lie less than 2^31 apart. A missing first record gives -1, a missing second one 1. */
int32_t oftab_pc_compare_func(const void *pc_entry_a, const void *pc_entry_b);

/* The record of a port channel that some flow outputs to, or null. It belongs to the tree. */
struct pc_entry *oftab_pc_entry_find(uint32_t pc_ifindex);

/* Records (`add` non-zero) or withdraws flow `flow_handle` (0 to 4095) on a port channel. 0, also without a tree; -3
 * when a flow to be recorded has a handle without a bit, or there is no memory. */
int32_t oftab_pc_entry_update_flowmask(uint32_t pc_ifindex, uint32_t flow_handle, int add);

/* Withdraws the entry's flow from every port channel recorded on it. Returns 0. */
int32_t oftab_entry_clear_pc_data(oftab_sw_entry_t *entry);

/* Add and delete OpenFlow interfaces as a request asks, fill the zeroed response and return its status. Adding is all
 * or nothing, -1 or -7 of the last interface refused; deleting asks for nothing that is not there: 0, or -3 out of
 * memory. The LLDP static match of every interface added (off) or named for deletion (on) is set. */
int32_t oftab_process_add_intf(const oftab_intf_update_req_t *request, oftab_intf_update_resp_t *response);
int32_t oftab_process_del_intf(const oftab_intf_update_req_t *request, oftab_intf_update_resp_t *response);

/* Puts an ifindex into its slot of the working interface table. 0; -1 occupied; -7 slot 48 or more. */
int32_t oftab_add_intf(uint32_t ifindex);

/* Sets the LLDP static match (0 or 1) of the interface's port or, for a port channel, of each member. Returns the
 * result of the last SDK call; 0 when there was none. */
int32_t oftab_update_lldp_sm_mask(uint32_t ifindex, uint32_t value);

/* --- Diagnostics ---
 * The dumps write a message to the trace at level 104; a null message is traced as an error. */

void oftab_dump_entry_update_req(const oftab_entry_update_req_t *request);
void oftab_dump_entry_del_req(const oftab_entry_del_req_t *request);
void oftab_dump_entry_update_resp(const oftab_entry_update_resp_t *response);
void oftab_dump_intf_update_req(const oftab_intf_update_req_t *request);
void oftab_dump_intf_update_resp(const oftab_intf_update_resp_t *response);
void oftab_dump_stats_query_req(const oftab_stats_query_req_t *request);
/* The `num_entries` records of a response of status 0 to operation 5 or 6 are read; other responses have none. */
void oftab_dump_stats_query_resp(const oftab_stats_query_resp_t *response);

/* The shows print to the shell through cmd_prt, or to the trace outputs when `shell_context` is null. They return 0
 * once the shell stops, else the last result of cmd_prt; 0 without a shell. */

/* The current table with its output ports. */
int oftab_show_openflow_sw_table(void *shell_context);

/* The flows, one line each: match, result and totals. */
int oftab_show_openflow_policy(void *shell_context);

/* The hardware's records at indices `first` to `last` (clamped to 4095; a first index of 4096 or more starts at 0).
 * An index that cannot be read is reported to the system log and on standard output. Returns 0, also when the shell
 * stops it. */
int oftab_display_cache_tcam(void *shell_context, uint32_t first, uint32_t last);

/* One hardware record: 44-byte key and mask, 24-byte result; `index` is only printed. */
int oftab_dump_tcam_entry(void *shell_context, int index, const void *hw_key, const void *hw_mask,
                          const void *hw_result);

/* A table to the trace at level 104. `is_shadow` non-zero: its array is by TCAM index, and the working copy of the
 * interfaces is dumped with it. `table` may be null. */
void oftab_dump_sw_tcam_tbl(const oftab_tcam_tbl_t *table, int is_shadow);

/* The stored hardware records of the current table to the trace at level 102. */
void oftab_dump_tcam_tbl(void);

/* "permit", "deny", "outport", "cntrlr", or "error". */
const char *oftab_get_result_string(uint32_t result_kind);

/* A MAC address from the pieces of its 48-bit number, as "0011.2233.4455"; `out` holds at least 15 bytes. */
void oftab_convert_src_mac(uint32_t low25, uint32_t high23, char *out);
void oftab_convert_dst_mac(uint32_t low9, uint32_t mid32, uint32_t high7, char *out);

/* An IPv4 address in dotted form; `out` holds at least 16 bytes. */
void oftab_convert_to_ip(uint32_t low19, uint32_t high13, char *out);

/* Request generators: build a request for tests of the message layout. None is submitted, which the entry generators
 * trace as their failure. All their traces are at level 102, but for the dumps. They abort the process when memory is
 * short. */

/* `op` 1: oftab_test_entry_add_req; 2: oftab_test_entry_del_req with `count_deny`; other: nothing. */
void oftab_test_entry_update_req(int op, uint32_t base, uint32_t count_out, uint32_t count_deny);

/* `count_out` (at most 20) output flows and `count_deny` (at most 10) deny flows, numbered from base + 10 in steps of
 * 10. Dumps nothing. Returns 0. */
int32_t oftab_test_entry_add_req(uint32_t base, uint32_t count_out, uint32_t count_deny);

/* The deletion of `count` (at most 250) flows numbered likewise, dumped to the trace. Returns 0. */
int32_t oftab_test_entry_del_req(uint32_t base, uint32_t count);

/* A request for the first three ports, with any `intf_op`, dumped to the trace. */
void oftab_test_intf_update_req(uint32_t intf_op);

/* Direct TCAM writers, behind the tables' back: indices `first` to `last` as for oftab_display_cache_tcam. At every
 * 400th index they write to the system log and sleep a second. 0, or -1 when a counter was refused (nothing is written
 * then) or any write (the others are still written). */

/* Denies everything, built in catch_all_entry with a counter of its own: even indices match every packet, odd ones only
 * IPv4. */
int32_t oftab_install_catch_all(uint32_t first, uint32_t last);

/* Invalidates. */
int32_t oftab_clear_catch_all(uint32_t first, uint32_t last);

/* Writes global_entry, made valid, with the classes of oftab_install_catch_all. */
int32_t oftab_install_global_entry(uint32_t first, uint32_t last);

/* A multicast scenario: each of the 4096 indices gets an entry that replicates to the ports 0x1a00d000 and 0x1a010000.
 * Its counter and its tree, index 1000, are never given back. `vlan` is only traced. 0, or -1 when an interface is
 * unknown or the tree is refused; a refused write is only traced. */
int32_t oftab_debug_test(int vlan);

/* Dumps the `part` named "key", "mask" (44 bytes) or "result" (24 bytes) to the trace; another name is an error trace.
 */
void test_cache_unified_entry_dump(const char *name, const void *part);

/* Variables of the writers and of the scenario. */
extern uint8_t key[TCAM_KEY_SIZE];
extern uint8_t mask[TCAM_KEY_SIZE];
extern uint8_t result[TCAM_RESULT_SIZE];
extern void *ip_key;   /* set to `key` by oftab_debug_test */
extern void *ip_mask;  /* set to `mask` */
extern void *mcst_ram; /* set to `result` */
extern uint8_t mac_sa[8];
extern uint8_t mac_da[8];
extern uint8_t mac_sa2[8];
extern uint8_t mac_da2[8];
extern uint32_t use_cache_result; /* non-zero: oftab_debug_test programs cache_result */
extern uint8_t cache_result[TCAM_RESULT_SIZE];
extern uint32_t global_stats_id;      /* set by oftab_install_catch_all */
extern oftab_sw_entry_t global_entry; /* what oftab_install_global_entry writes */
extern uint32_t special_high;         /* these three are not used */
extern uint32_t special_low;
extern uint32_t special_debug;

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
