// SPDX-License-Identifier: Apache-2.0
/* The ASIC's SDK. The first argument of every call, `unit`, is 0. A result of 0 means success; any other value is an
 * SDK error code and the call changed nothing. */
#ifndef PLATFORM_ASIC_SDK_H
#define PLATFORM_ASIC_SDK_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* --- The TCAM region: 4096 indices, first match wins. A record is a 44-byte key, a 44-byte mask (a 1 bit is compared)
 * and a 24-byte result. A record whose valid bit is clear never matches. --- */

enum tcam_size { TCAM_INDICES = 4096, TCAM_KEY_SIZE = 44, TCAM_RESULT_SIZE = 24 };

/* Writes one record at `tcam_index` (0 to 4095). */
int32_t qtr_custom_cache_unified_entry_set(uint32_t unit, uint32_t tcam_index, const void *key, const void *mask,
                                           const void *result);

/* Reads one record back into the three buffers. */
int32_t qtr_custom_cache_unified_entry_get(uint32_t unit, uint32_t tcam_index, void *key, void *mask, void *result);

/* --- Hardware counters, named by an id. A record's low 13 bits of it select the counter that its matches count. --- */

/* Counts since the previous read, as libsdk_l3_route_stats_get fills it. */
typedef struct route_stats {
  uint64_t bytes;
  uint64_t packets;
} route_stats;

/* Allocates a counter. `block`: the first word preset to 0xFFFFFFFF, the others 0; on success the first holds the id, 0
 * to 8191. */
int32_t libsdk_l3_route_stats_create(uint32_t unit, uint32_t block[4]);

/* Reads the counter into the route_stats at `record` and restarts it from zero. `zero` is 0. */
int32_t libsdk_l3_route_stats_get(uint32_t unit, uint32_t stats_id, uint32_t zero, void *record);

/* Releases the counter. */
int32_t libsdk_l3_route_stats_destroy(uint32_t unit, uint32_t stats_id);

/* --- Replication trees: what a multicast index named by a TCAM result replicates to. `zero` is 0. --- */

/* A set of output ports: port p is bit 0x80 >> (p mod 8) of byte p div 8. Ports are SDK port numbers: the ASIC port
 * number plus 1, modulo 256. */
typedef struct port_group {
  uint32_t bitmap_size; /* bytes of bitmap, always 32 */
  uint8_t port_bitmap[32];
} port_group;

/* Creates the tree of *index, a multicast index that the caller chose. Refused when that tree exists. */
int32_t libsdk_mcst_tree_create(uint32_t unit, uint32_t zero, uint32_t *index);

/* Replaces the tree's output ports by those of the port_group at `port_group`. Refused when there is no such tree. */
int32_t libsdk_mcst_tree_group_add(uint32_t unit, uint32_t zero, uint32_t index, const void *port_group);

/* Tears the tree down. Harmless for index 0 and for an index without a tree. */
int32_t libsdk_mcst_tree_destroy(uint32_t unit, uint32_t zero, uint32_t index);

/* --- Switch configuration --- */

enum switch_config_attribute { SWITCH_CONFIG_VLAN_TO_BD = 53 };

/* The request and reply of attribute 53; zeroed but for `vlan` before the call. */
typedef struct vlan_to_bd {
  uint32_t vlan;
  uint32_t bd; /* reply: the VLAN's bridge domain */
  uint32_t reserved[6];
} vlan_to_bd;

/* Answers `attribute` in `block`; attribute 53 takes a vlan_to_bd. Fails for a VLAN without a bridge domain. */
int32_t libsdk_switch_config_get_batch(uint32_t unit, uint32_t attribute, void *block);

/* Turns static match `static_match_id` on (1) or off (0) for one SDK port. */
int32_t libsdk_port_static_match_enable_set(uint32_t unit, uint32_t sdk_port, uint32_t static_match_id,
                                            uint32_t enable);

/* The id of the static match that catches LLDP. */
extern uint32_t sdk_sm_id_lldp;

#ifdef __cplusplus
}
#endif

#endif
