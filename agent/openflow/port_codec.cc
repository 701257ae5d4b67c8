#include "agent/openflow/port_codec.h"

namespace agent::openflow {
namespace {

constexpr uint32_t kPortFeatures = OFPPF_10GB_FD | OFPPF_FIBER;

}  // namespace

wire::Port encode_port(const Port &port) {
  wire::Port record{.port_no = number_of(port.ifindex),
                    .hw_addr = port.hw_addr,
                    .config = port.config,
                    .state = port.state,
                    .curr = kPortFeatures,
                    .supported = kPortFeatures};
  put_text(record.name, port.name);
  return record;
}

wire::PortStats encode_port_counts(const Port &port) {
  const PortCounts &counts = port.counts;
  return {.port_no = number_of(port.ifindex),
          .rx_packets = counts.rx_packets,
          .tx_packets = counts.tx_packets,
          .rx_bytes = counts.rx_bytes,
          .tx_bytes = counts.tx_bytes,
          .rx_dropped = counts.rx_dropped,
          .tx_dropped = counts.tx_dropped,
          .rx_errors = kNotCounted,
          .tx_errors = kNotCounted,
          .rx_frame_err = kNotCounted,
          .rx_over_err = kNotCounted,
          .rx_crc_err = kNotCounted,
          .collisions = kNotCounted};
}

}  // namespace agent::openflow
