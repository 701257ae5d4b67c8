// SPDX-License-Identifier: Apache-2.0
// The records of OpenFlow 1.0 as they stand in a message: one line per field, from which their members, their size, and
// how they are read and written come.
//
// Everything is in network byte order, without alignment; padding is written as zeros and skipped.
#ifndef AGENT_OPENFLOW_WIRE_H
#define AGENT_OPENFLOW_WIRE_H

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "agent/openflow/numbers.h"

namespace agent::openflow {

using Bytes = std::vector<uint8_t>;
using ByteView = std::span<const uint8_t>;

// Field types beside the unsigned integers.
template <size_t octets>
struct Pad {};

using MacOctets = std::array<uint8_t, 6>;
using MatchOctets = std::array<uint8_t, 40>;

template <size_t octets>
using Text = std::array<uint8_t, octets>;

// As much of a text as fits; a zero ends it.
template <size_t octets>
void put_text(Text<octets> &field, std::string_view text) {
  field = {};
  std::copy_n(text.begin(), std::min(text.size(), octets - 1), field.begin());
}

#define OPENFLOW_HEADER_FIELDS(FIELD) \
  FIELD(uint8_t, version)             \
  FIELD(uint8_t, type)                \
  FIELD(uint16_t, length)             \
  FIELD(uint32_t, xid)

// What follows the header, message by message.

#define OPENFLOW_ERROR_FIELDS(FIELD) \
  FIELD(uint16_t, type)              \
  FIELD(uint16_t, code)

#define OPENFLOW_VENDOR_FIELDS(FIELD) FIELD(uint32_t, vendor)

#define OPENFLOW_SWITCH_CONFIG_FIELDS(FIELD) \
  FIELD(uint16_t, flags)                     \
  FIELD(uint16_t, miss_send_len)

// Followed by ports.
#define OPENFLOW_SWITCH_FEATURES_FIELDS(FIELD) \
  FIELD(uint64_t, datapath_id)                 \
  FIELD(uint32_t, n_buffers)                   \
  FIELD(uint8_t, n_tables)                     \
  FIELD(Pad<3>, pad)                           \
  FIELD(uint32_t, capabilities)                \
  FIELD(uint32_t, actions)

#define OPENFLOW_PORT_FIELDS(FIELD) \
  FIELD(uint16_t, port_no)          \
  FIELD(MacOctets, hw_addr)         \
  FIELD(Text<16>, name)             \
  FIELD(uint32_t, config)           \
  FIELD(uint32_t, state)            \
  FIELD(uint32_t, curr)             \
  FIELD(uint32_t, advertised)       \
  FIELD(uint32_t, supported)        \
  FIELD(uint32_t, peer)

#define OPENFLOW_PORT_STATUS_FIELDS(FIELD) \
  FIELD(uint8_t, reason)                   \
  FIELD(Pad<7>, pad)                       \
  FIELD(Port, desc)

#define OPENFLOW_PORT_MOD_FIELDS(FIELD) \
  FIELD(uint16_t, port_no)              \
  FIELD(MacOctets, hw_addr)             \
  FIELD(uint32_t, config)               \
  FIELD(uint32_t, mask)                 \
  FIELD(uint32_t, advertise)            \
  FIELD(Pad<4>, pad)

// Followed by the frame.
#define OPENFLOW_PACKET_IN_FIELDS(FIELD) \
  FIELD(uint32_t, buffer_id)             \
  FIELD(uint16_t, total_len)             \
  FIELD(uint16_t, in_port)               \
  FIELD(uint8_t, reason)                 \
  FIELD(Pad<1>, pad)

// Followed by actions and, without a buffer, by the frame.
#define OPENFLOW_PACKET_OUT_FIELDS(FIELD) \
  FIELD(uint32_t, buffer_id)              \
  FIELD(uint16_t, in_port)                \
  FIELD(uint16_t, actions_len)

// Followed by actions.
#define OPENFLOW_FLOW_MOD_FIELDS(FIELD) \
  FIELD(MatchOctets, match)             \
  FIELD(uint64_t, cookie)               \
  FIELD(uint16_t, command)              \
  FIELD(uint16_t, idle_timeout)         \
  FIELD(uint16_t, hard_timeout)         \
  FIELD(uint16_t, priority)             \
  FIELD(uint32_t, buffer_id)            \
  FIELD(uint16_t, out_port)             \
  FIELD(uint16_t, flags)

#define OPENFLOW_FLOW_REMOVED_FIELDS(FIELD) \
  FIELD(MatchOctets, match)                 \
  FIELD(uint64_t, cookie)                   \
  FIELD(uint16_t, priority)                 \
  FIELD(uint8_t, reason)                    \
  FIELD(Pad<1>, pad)                        \
  FIELD(uint32_t, duration_sec)             \
  FIELD(uint32_t, duration_nsec)            \
  FIELD(uint16_t, idle_timeout)             \
  FIELD(Pad<2>, pad2)                       \
  FIELD(uint64_t, packet_count)             \
  FIELD(uint64_t, byte_count)

#define OPENFLOW_QUEUE_GET_CONFIG_REQUEST_FIELDS(FIELD) \
  FIELD(uint16_t, port)                                 \
  FIELD(Pad<2>, pad)

#define OPENFLOW_QUEUE_GET_CONFIG_REPLY_FIELDS(FIELD) \
  FIELD(uint16_t, port)                               \
  FIELD(Pad<6>, pad)

// Statistics: this, then one of the records below.
#define OPENFLOW_STATISTICS_FIELDS(FIELD) \
  FIELD(uint16_t, type)                   \
  FIELD(uint16_t, flags)

#define OPENFLOW_DESC_STATS_FIELDS(FIELD) \
  FIELD(Text<256>, mfr_desc)              \
  FIELD(Text<256>, hw_desc)               \
  FIELD(Text<256>, sw_desc)               \
  FIELD(Text<32>, serial_num)             \
  FIELD(Text<256>, dp_desc)

// For aggregate statistics too.
#define OPENFLOW_FLOW_STATS_REQUEST_FIELDS(FIELD) \
  FIELD(MatchOctets, match)                       \
  FIELD(uint8_t, table_id)                        \
  FIELD(Pad<1>, pad)                              \
  FIELD(uint16_t, out_port)

// Followed by actions, which `length` counts too.
#define OPENFLOW_FLOW_STATS_FIELDS(FIELD) \
  FIELD(uint16_t, length)                 \
  FIELD(uint8_t, table_id)                \
  FIELD(Pad<1>, pad)                      \
  FIELD(MatchOctets, match)               \
  FIELD(uint32_t, duration_sec)           \
  FIELD(uint32_t, duration_nsec)          \
  FIELD(uint16_t, priority)               \
  FIELD(uint16_t, idle_timeout)           \
  FIELD(uint16_t, hard_timeout)           \
  FIELD(Pad<6>, pad2)                     \
  FIELD(uint64_t, cookie)                 \
  FIELD(uint64_t, packet_count)           \
  FIELD(uint64_t, byte_count)

#define OPENFLOW_AGGREGATE_STATS_FIELDS(FIELD) \
  FIELD(uint64_t, packet_count)                \
  FIELD(uint64_t, byte_count)                  \
  FIELD(uint32_t, flow_count)                  \
  FIELD(Pad<4>, pad)

#define OPENFLOW_TABLE_STATS_FIELDS(FIELD) \
  FIELD(uint8_t, table_id)                 \
  FIELD(Pad<3>, pad)                       \
  FIELD(Text<32>, name)                    \
  FIELD(uint32_t, wildcards)               \
  FIELD(uint32_t, max_entries)             \
  FIELD(uint32_t, active_count)            \
  FIELD(uint64_t, lookup_count)            \
  FIELD(uint64_t, matched_count)

#define OPENFLOW_PORT_STATS_REQUEST_FIELDS(FIELD) \
  FIELD(uint16_t, port_no)                        \
  FIELD(Pad<6>, pad)

#define OPENFLOW_PORT_STATS_FIELDS(FIELD) \
  FIELD(uint16_t, port_no)                \
  FIELD(Pad<6>, pad)                      \
  FIELD(uint64_t, rx_packets)             \
  FIELD(uint64_t, tx_packets)             \
  FIELD(uint64_t, rx_bytes)               \
  FIELD(uint64_t, tx_bytes)               \
  FIELD(uint64_t, rx_dropped)             \
  FIELD(uint64_t, tx_dropped)             \
  FIELD(uint64_t, rx_errors)              \
  FIELD(uint64_t, tx_errors)              \
  FIELD(uint64_t, rx_frame_err)           \
  FIELD(uint64_t, rx_over_err)            \
  FIELD(uint64_t, rx_crc_err)             \
  FIELD(uint64_t, collisions)

#define OPENFLOW_QUEUE_STATS_REQUEST_FIELDS(FIELD) \
  FIELD(uint16_t, port_no)                         \
  FIELD(Pad<2>, pad)                               \
  FIELD(uint32_t, queue_id)

// Actions: each begins with these two, and ends at a multiple of eight octets.
#define OPENFLOW_ACTION_FIELDS(FIELD) \
  FIELD(uint16_t, type)               \
  FIELD(uint16_t, len)

// What follows in each kind.
#define OPENFLOW_OUTPUT_FIELDS(FIELD) \
  FIELD(uint16_t, port)               \
  FIELD(uint16_t, max_len)

#define OPENFLOW_NUMBER8_FIELDS(FIELD) \
  FIELD(uint8_t, number)               \
  FIELD(Pad<3>, pad)

#define OPENFLOW_NUMBER16_FIELDS(FIELD) \
  FIELD(uint16_t, number)               \
  FIELD(Pad<2>, pad)

#define OPENFLOW_NUMBER32_FIELDS(FIELD) FIELD(uint32_t, number)

#define OPENFLOW_MAC_FIELDS(FIELD) \
  FIELD(MacOctets, mac)            \
  FIELD(Pad<6>, pad)

#define OPENFLOW_STRIP_VLAN_FIELDS(FIELD) FIELD(Pad<4>, pad)

#define OPENFLOW_ENQUEUE_FIELDS(FIELD) \
  FIELD(uint16_t, port)                \
  FIELD(Pad<6>, pad)                   \
  FIELD(uint32_t, queue_id)

template <typename Type>
struct SizeOf {
  static constexpr size_t value = Type::kSize;
};
template <std::unsigned_integral Number>
struct SizeOf<Number> {
  static constexpr size_t value = sizeof(Number);
};
template <size_t octets>
struct SizeOf<Pad<octets>> {
  static constexpr size_t value = octets;
};
template <size_t octets>
struct SizeOf<std::array<uint8_t, octets>> {
  static constexpr size_t value = octets;
};

#define OPENFLOW_MEMBER(type, name) [[no_unique_address]] type name{};
#define OPENFLOW_SIZE(type, name)   +SizeOf<type>::value
#define OPENFLOW_VISIT(type, name)  visitor(record.name);

namespace wire {

// One struct per record; `octets` is its size in the standard.
#define OPENFLOW_DECLARE_RECORD(Name, FIELDS, octets)        \
  struct Name {                                              \
    FIELDS(OPENFLOW_MEMBER)                                  \
    static constexpr size_t kSize = 0 FIELDS(OPENFLOW_SIZE); \
    template <typename Record, typename Visitor>             \
    static void visit(Record &record, Visitor &&visitor) {   \
      FIELDS(OPENFLOW_VISIT)                                 \
    }                                                        \
  };                                                         \
  static_assert(Name::kSize == (octets));

OPENFLOW_DECLARE_RECORD(Header, OPENFLOW_HEADER_FIELDS, 8)
OPENFLOW_DECLARE_RECORD(Error, OPENFLOW_ERROR_FIELDS, 12 - 8)
OPENFLOW_DECLARE_RECORD(Vendor, OPENFLOW_VENDOR_FIELDS, 12 - 8)
OPENFLOW_DECLARE_RECORD(SwitchConfig, OPENFLOW_SWITCH_CONFIG_FIELDS, 12 - 8)
OPENFLOW_DECLARE_RECORD(SwitchFeatures, OPENFLOW_SWITCH_FEATURES_FIELDS, 32 - 8)
OPENFLOW_DECLARE_RECORD(Port, OPENFLOW_PORT_FIELDS, 48)
OPENFLOW_DECLARE_RECORD(PortStatus, OPENFLOW_PORT_STATUS_FIELDS, 64 - 8)
OPENFLOW_DECLARE_RECORD(PortMod, OPENFLOW_PORT_MOD_FIELDS, 32 - 8)
OPENFLOW_DECLARE_RECORD(PacketIn, OPENFLOW_PACKET_IN_FIELDS, 18 - 8)
OPENFLOW_DECLARE_RECORD(PacketOut, OPENFLOW_PACKET_OUT_FIELDS, 16 - 8)
OPENFLOW_DECLARE_RECORD(FlowMod, OPENFLOW_FLOW_MOD_FIELDS, 72 - 8)
OPENFLOW_DECLARE_RECORD(FlowRemoved, OPENFLOW_FLOW_REMOVED_FIELDS, 88 - 8)
OPENFLOW_DECLARE_RECORD(QueueGetConfigRequest, OPENFLOW_QUEUE_GET_CONFIG_REQUEST_FIELDS, 12 - 8)
OPENFLOW_DECLARE_RECORD(QueueGetConfigReply, OPENFLOW_QUEUE_GET_CONFIG_REPLY_FIELDS, 16 - 8)
OPENFLOW_DECLARE_RECORD(Statistics, OPENFLOW_STATISTICS_FIELDS, 12 - 8)
OPENFLOW_DECLARE_RECORD(DescStats, OPENFLOW_DESC_STATS_FIELDS, 1056)
OPENFLOW_DECLARE_RECORD(FlowStatsRequest, OPENFLOW_FLOW_STATS_REQUEST_FIELDS, 44)
OPENFLOW_DECLARE_RECORD(FlowStats, OPENFLOW_FLOW_STATS_FIELDS, 88)
OPENFLOW_DECLARE_RECORD(AggregateStats, OPENFLOW_AGGREGATE_STATS_FIELDS, 24)
OPENFLOW_DECLARE_RECORD(TableStats, OPENFLOW_TABLE_STATS_FIELDS, 64)
OPENFLOW_DECLARE_RECORD(PortStatsRequest, OPENFLOW_PORT_STATS_REQUEST_FIELDS, 8)
OPENFLOW_DECLARE_RECORD(PortStats, OPENFLOW_PORT_STATS_FIELDS, 104)
OPENFLOW_DECLARE_RECORD(QueueStatsRequest, OPENFLOW_QUEUE_STATS_REQUEST_FIELDS, 8)
OPENFLOW_DECLARE_RECORD(ActionHead, OPENFLOW_ACTION_FIELDS, 4)
OPENFLOW_DECLARE_RECORD(OutputAction, OPENFLOW_OUTPUT_FIELDS, 8 - 4)
OPENFLOW_DECLARE_RECORD(Number8Action, OPENFLOW_NUMBER8_FIELDS, 8 - 4)
OPENFLOW_DECLARE_RECORD(Number16Action, OPENFLOW_NUMBER16_FIELDS, 8 - 4)
OPENFLOW_DECLARE_RECORD(Number32Action, OPENFLOW_NUMBER32_FIELDS, 8 - 4)
OPENFLOW_DECLARE_RECORD(MacAction, OPENFLOW_MAC_FIELDS, 16 - 4)
OPENFLOW_DECLARE_RECORD(StripVlanAction, OPENFLOW_STRIP_VLAN_FIELDS, 8 - 4)
OPENFLOW_DECLARE_RECORD(EnqueueAction, OPENFLOW_ENQUEUE_FIELDS, 16 - 4)

}  // namespace wire

#undef OPENFLOW_DECLARE_RECORD
#undef OPENFLOW_VISIT
#undef OPENFLOW_SIZE
#undef OPENFLOW_MEMBER

// Reads fields one behind the other.
struct FieldReader {
  const uint8_t *at;

  template <std::unsigned_integral Number>
  void operator()(Number &number) {
    number = 0;
    for (size_t i = 0; i < sizeof number; ++i) {
      number = static_cast<Number>(static_cast<uint64_t>(number) << 8 | *at++);
    }
  }
  template <size_t octets>
  void operator()(Pad<octets> &) {
    at += octets;
  }
  template <size_t octets>
  void operator()(std::array<uint8_t, octets> &array) {
    std::copy_n(at, octets, array.begin());
    at += octets;
  }
  template <typename Record>
  void operator()(Record &record) {
    Record::visit(record, *this);
  }
};

// Writes fields one behind the other.
struct FieldWriter {
  uint8_t *at;

  template <std::unsigned_integral Number>
  void operator()(const Number &number) {
    for (size_t i = sizeof number; i-- > 0;) {
      *at++ = static_cast<uint8_t>(static_cast<uint64_t>(number) >> 8 * i);
    }
  }
  template <size_t octets>
  void operator()(const Pad<octets> &) {
    at = std::fill_n(at, octets, uint8_t{0});
  }
  template <size_t octets>
  void operator()(const std::array<uint8_t, octets> &array) {
    at = std::copy_n(array.begin(), octets, at);
  }
  template <typename Record>
  void operator()(const Record &record) {
    Record::visit(record, *this);
  }
};

template <typename Record>
void write(uint8_t *at, const Record &record) {
  FieldWriter{at}(record);
}

template <typename Record>
void append(Bytes &bytes, const Record &record) {
  bytes.resize(bytes.size() + Record::kSize);
  write(bytes.data() + bytes.size() - Record::kSize, record);
}

inline void append(Bytes &bytes, ByteView tail) {
  bytes.insert(bytes.end(), tail.begin(), tail.end());
}

inline ByteView text_bytes(std::string_view text) {
  return {reinterpret_cast<const uint8_t *>(text.data()), text.size()};
}

// Why a message is refused: what its sender gets as an error, and a reason for the log.
struct ProtocolError {
  ErrorType type;
  uint16_t code;
  std::string reason;
};

// Takes the record that `rest` begins with out of it. A ProtocolError (bad length) when it is cut short.
template <typename Record>
Record take(ByteView &rest) {
  if (rest.size() < Record::kSize) {
    throw ProtocolError{OFPET_BAD_REQUEST, OFPBRC_BAD_LEN, "too short"};
  }
  Record record;
  FieldReader{rest.data()}(record);
  rest = rest.subspan(Record::kSize);
  return record;
}

}  // namespace agent::openflow

#endif
