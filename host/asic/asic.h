// SPDX-License-Identifier: Apache-2.0
// The simulated ASIC: a TCAM, the counters and replication trees that its results name, and the forwarding of one
// packet through them.
//
// The SDK's operations (platform/asic_sdk.h) work on the parts below and refuse what a real SDK would, each reason with
// its own code. The parts are also the side door through which tests and tools look, and set what only hardware sets.
#ifndef HOST_ASIC_ASIC_H
#define HOST_ASIC_ASIC_H

#include <cstdint>

#include "host/asic/counters.h"
#include "host/asic/packet.h"
#include "host/asic/static_matches.h"
#include "host/asic/tcam.h"
#include "host/asic/trees.h"
#include "host/asic/vlans.h"
#include "host/services/violations.h"

namespace host::asic {

class Asic {
 public:
  explicit Asic(services::Violations &violations) : tcam_(violations) {}

  Tcam &tcam() { return tcam_; }
  Counters &counters() { return counters_; }
  Trees &trees() { return trees_; }
  Vlans &vlans() { return vlans_; }
  StaticMatches &static_matches() { return static_matches_; }

  const Tcam &tcam() const { return tcam_; }
  const Counters &counters() const { return counters_; }
  const Trees &trees() const { return trees_; }
  const Vlans &vlans() const { return vlans_; }
  const StaticMatches &static_matches() const { return static_matches_; }

  // Packets that were looked up so far, those among them that no record matched but the last, which is for what all
  // others leave, and those that were copied to the CPU.
  struct Lookups {
    uint64_t packets = 0;
    uint64_t missed = 0;
    uint64_t to_cpu = 0;
  };
  const Lookups &lookups() const { return lookups_; }

  // Looks a packet up, counts it on the counter of the record that matched, and tells what became of it. `l2lif`: the
  // hardware interface id of its ingress port. `sdk_port`: that port, by which no copy leaves; 0 if it is none.
  Fate forward(uint16_t l2lif, uint8_t sdk_port, const PacketHeader &packet);

  // The key that a packet is looked up with, and what becomes of packets that match the record at an index: what
  // `forward` would do, without doing it.
  Key key_of(uint16_t l2lif, const PacketHeader &packet) const;
  Fate fate_of(uint16_t index, uint8_t sdk_port) const;

 private:
  Tcam tcam_;
  Counters counters_;
  Trees trees_;
  Vlans vlans_;
  StaticMatches static_matches_;
  Lookups lookups_;
};

}  // namespace host::asic

#endif
