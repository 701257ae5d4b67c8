// SPDX-License-Identifier: Apache-2.0
#include "agent/openflow/port_codec.h"

#include "agent/port_numbers.h"

namespace agent::openflow {
namespace {

using host::ports::LinkState;

// The rates that there are words for. A faster link says the fastest; one of unknown speed says none.
struct Rate {
  uint32_t megabits;
  uint32_t full_duplex;
  uint32_t half_duplex;
};
constexpr Rate kRates[] = {{10'000, OFPPF_10GB_FD, 0},
                           {1'000, OFPPF_1GB_FD, OFPPF_1GB_HD},
                           {100, OFPPF_100MB_FD, OFPPF_100MB_HD},
                           {10, OFPPF_10MB_FD, OFPPF_10MB_HD}};

uint32_t features_of(const LinkState &link) {
  const uint32_t features = link.medium == LinkState::Medium::Copper  ? uint32_t{OFPPF_COPPER}
                            : link.medium == LinkState::Medium::Fibre ? uint32_t{OFPPF_FIBER}
                                                                      : 0;
  for (const Rate &rate : kRates) {
    if (link.megabits >= rate.megabits) {
      return features | (link.half_duplex ? rate.half_duplex : rate.full_duplex);
    }
  }
  return features;
}

}  // namespace

wire::Port encode_port(const Port &port) {
  wire::Port record{.port_no = number_of(port.ifindex),
                    .hw_addr = port.hw_addr,
                    .config = port.config,
                    .state = port.link.up ? 0 : uint32_t{OFPPS_LINK_DOWN},
                    .curr = features_of(port.link),
                    .supported = features_of(port.link)};
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
          .rx_errors = counts.rx_errors,
          .tx_errors = counts.tx_errors,
          .rx_frame_err = kNotCounted,
          .rx_over_err = counts.rx_overruns,
          .rx_crc_err = kNotCounted,
          .collisions = kNotCounted};
}

}  // namespace agent::openflow
