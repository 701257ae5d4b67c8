// SPDX-License-Identifier: Apache-2.0
/* The host's interface manager.
 *
 * An ifindex is the host's 32-bit name of an interface. LIFs, interfaces, port channels and physical interfaces are
 * opaque objects of the interface manager, valid until the call into the library that asked for them returns. */
#ifndef PLATFORM_INTERFACE_MANAGER_H
#define PLATFORM_INTERFACE_MANAGER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The LIF of an ifindex; null when the interface is unknown. */
void *HDM_HDIM_FIND_LIF(uint32_t ifindex);

/* The interface of a LIF (not null). */
void *HDM_HDIM_LIF_IF(void *lif);

/* Non-zero when the interface (not null) is a port channel. */
int HDM_HDIM_IF_IS_PC(void *interface);

/* The port channel of an interface for which HDM_HDIM_IF_IS_PC answers non-zero; null when it has none: no members. */
void *HDM_HDIM_IF_PC(void *interface);

/* The member that follows `previous` (null: the first member); null when there are no more. */
void *HDM_HDIM_PC_GET_NEXT_PIF(void *pc, void *previous);

/* The ifindex of a member port (not null). */
uint32_t HDM_HDIM_PIF_INDEX(void *pif);

/* Writes the 8-bit ASIC port number of a front-panel interface and returns 0; returns another value and leaves *port
 * as it was when the ifindex has no port. */
int32_t if_index_get_port(uint32_t ifindex, uint8_t *port);

enum openflow_state_record { OPENFLOW_STATE_RECORD_SIZE = 536, OPENFLOW_STATE_OFFSET = 20 };

/* OpenFlow state of `count` interfaces. Each 536-byte record carries the ifindex asked about in its first four bytes
 * (host byte order) and receives the state in the byte at offset 20: 1 or 2 mean enabled. Returns 0 on success. */
int32_t im_get_ifindex_openflow_state_list(void *records, uint32_t count);

enum special_intf_id { INTF_ID_UNKNOWN = 65535 };

/* The hardware interface id of an ifindex, as packets carry it in the ASIC; 65535 when unknown. */
uint16_t hdmpd_qtr_get_intf_id_for_ifindex(uint32_t ifindex);

#ifdef __cplusplus
}
#endif

#endif
