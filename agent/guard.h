// SPDX-License-Identifier: Apache-2.0
// What keeps a flood of packets from taking the CPU away from everything else: so many packets a second are let
// through, by time as the agent knows it, and what is left over counts for a moment.
#ifndef AGENT_GUARD_H
#define AGENT_GUARD_H

#include <algorithm>
#include <cstdint>

#include "agent/flow_table.h"

namespace agent {

class TokenBucket {
 public:
  // Lets `rate` packets a second pass, and as many at a time as come within `depth`.
  TokenBucket(uint32_t rate, Time depth) : depth_(depth), credit_(depth) { set_rate(rate); }

  void set_rate(uint32_t rate) { cost_ = rate == 0 ? Time::max() : Time(std::chrono::seconds(1)) / rate; }

  // Whether a packet may pass now.
  bool take(Time now) {
    credit_ = std::min(std::max(depth_, cost_), credit_ + (now - filled_));
    filled_ = now;
    const bool passes = credit_ >= cost_ && cost_ != Time::max();
    credit_ -= passes ? cost_ : Time::zero();
    return passes;
  }

 private:
  Time depth_;
  Time cost_{};  // of a packet
  Time credit_;
  Time filled_{};
};

// Packets for flows that the CPU serves, and packets for the controllers, neither at the others' expense.
class Guard {
 public:
  struct Rates {  // a second
    uint32_t packets = 5000;
    uint32_t packet_ins = 2000;
    bool operator==(const Rates &) const = default;
  };

  const Rates &rates() const { return rates_; }
  void set_rates(const Rates &rates) {
    rates_ = rates;
    packets_.set_rate(rates.packets);
    packet_ins_.set_rate(rates.packet_ins);
  }

  bool admits_packet(Time now) { return packets_.take(now); }
  bool admits_packet_in(Time now) { return packet_ins_.take(now); }

 private:
  Rates rates_;
  TokenBucket packets_{Rates().packets, std::chrono::milliseconds(200)};
  TokenBucket packet_ins_{Rates().packet_ins, std::chrono::milliseconds(500)};
};

}  // namespace agent

#endif
