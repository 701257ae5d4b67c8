// SPDX-License-Identifier: Apache-2.0
// The numbers of OpenFlow 1.0, under their names in the standard.
#ifndef AGENT_OPENFLOW_NUMBERS_H
#define AGENT_OPENFLOW_NUMBERS_H

#include <cstddef>
#include <cstdint>

namespace agent::openflow {

constexpr uint8_t kVersion = 0x01;
constexpr size_t kLongestMessage = 0xFFFF;
constexpr uint64_t kNotCounted = ~uint64_t{0};  // a counter that the switch does not have

enum MessageType : uint8_t {
  OFPT_HELLO,
  OFPT_ERROR,
  OFPT_ECHO_REQUEST,
  OFPT_ECHO_REPLY,
  OFPT_VENDOR,
  OFPT_FEATURES_REQUEST,
  OFPT_FEATURES_REPLY,
  OFPT_GET_CONFIG_REQUEST,
  OFPT_GET_CONFIG_REPLY,
  OFPT_SET_CONFIG,
  OFPT_PACKET_IN,
  OFPT_FLOW_REMOVED,
  OFPT_PORT_STATUS,
  OFPT_PACKET_OUT,
  OFPT_FLOW_MOD,
  OFPT_PORT_MOD,
  OFPT_STATS_REQUEST,
  OFPT_STATS_REPLY,
  OFPT_BARRIER_REQUEST,
  OFPT_BARRIER_REPLY,
  OFPT_QUEUE_GET_CONFIG_REQUEST,
  OFPT_QUEUE_GET_CONFIG_REPLY,
  kMessageTypes,
};

enum ErrorType : uint16_t {
  OFPET_HELLO_FAILED,
  OFPET_BAD_REQUEST,
  OFPET_BAD_ACTION,
  OFPET_FLOW_MOD_FAILED,
  OFPET_PORT_MOD_FAILED,
  OFPET_QUEUE_OP_FAILED,
};

enum HelloFailed : uint16_t { OFPHFC_INCOMPATIBLE, OFPHFC_EPERM };

enum BadRequest : uint16_t {
  OFPBRC_BAD_VERSION,
  OFPBRC_BAD_TYPE,
  OFPBRC_BAD_STAT,
  OFPBRC_BAD_VENDOR,
  OFPBRC_BAD_SUBTYPE,
  OFPBRC_EPERM,
  OFPBRC_BAD_LEN,
  OFPBRC_BUFFER_EMPTY,
  OFPBRC_BUFFER_UNKNOWN,
};

enum BadAction : uint16_t {
  OFPBAC_BAD_TYPE,
  OFPBAC_BAD_LEN,
  OFPBAC_BAD_VENDOR,
  OFPBAC_BAD_VENDOR_TYPE,
  OFPBAC_BAD_OUT_PORT,
  OFPBAC_BAD_ARGUMENT,
  OFPBAC_EPERM,
  OFPBAC_TOO_MANY,
  OFPBAC_BAD_QUEUE,
};

enum FlowModFailed : uint16_t {
  OFPFMFC_ALL_TABLES_FULL,
  OFPFMFC_OVERLAP,
  OFPFMFC_EPERM,
  OFPFMFC_BAD_EMERG_TIMEOUT,
  OFPFMFC_BAD_COMMAND,
  OFPFMFC_UNSUPPORTED,
};

enum PortModFailed : uint16_t { OFPPMFC_BAD_PORT, OFPPMFC_BAD_HW_ADDR };

enum QueueOpFailed : uint16_t { OFPQOFC_BAD_PORT, OFPQOFC_BAD_QUEUE, OFPQOFC_EPERM };

// The reserved ports from IN_PORT to NONE are agent::ReservedPort.
constexpr uint16_t OFPP_MAX = 0xFF00;

enum Capabilities : uint32_t { OFPC_FLOW_STATS = 1U << 0, OFPC_TABLE_STATS = 1U << 1, OFPC_PORT_STATS = 1U << 2 };

constexpr uint16_t OFPC_FRAG_NORMAL = 0;

enum PortState : uint32_t { OFPPS_LINK_DOWN = 1U << 0 };

enum PortFeatures : uint32_t {
  OFPPF_10MB_HD = 1U << 0,
  OFPPF_10MB_FD = 1U << 1,
  OFPPF_100MB_HD = 1U << 2,
  OFPPF_100MB_FD = 1U << 3,
  OFPPF_1GB_HD = 1U << 4,
  OFPPF_1GB_FD = 1U << 5,
  OFPPF_10GB_FD = 1U << 6,
  OFPPF_COPPER = 1U << 7,
  OFPPF_FIBER = 1U << 8
};

// The types of actions are those of agent::Action::Kind, but for this one.
constexpr uint16_t OFPAT_VENDOR = 0xFFFF;

enum StatisticsType : uint16_t {
  OFPST_DESC,
  OFPST_FLOW,
  OFPST_AGGREGATE,
  OFPST_TABLE,
  OFPST_PORT,
  OFPST_QUEUE,
  OFPST_VENDOR = 0xFFFF,
};

constexpr uint32_t OFPFW_ALL = (1U << 22) - 1;
constexpr uint16_t OFPSF_REPLY_MORE = 1;
constexpr uint32_t OFPQ_ALL = 0xFFFFFFFF;

}  // namespace agent::openflow

#endif
