// SPDX-License-Identifier: Apache-2.0
// A running switch: the simulated ASIC, the host's services, and liboftab between them.
//
// The library keeps one global state for as long as it is loaded, so a process has one Switch. All calls come from one
// thread.
#ifndef HOST_SWITCH_H
#define HOST_SWITCH_H

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "host/asic/asic.h"
#include "host/asic/packet.h"
#include "host/ports/front_panel.h"
#include "host/services/call_log.h"
#include "host/services/clock.h"
#include "host/services/faults.h"
#include "host/services/interfaces.h"
#include "host/services/messages.h"
#include "host/services/shell.h"
#include "host/services/system_log.h"
#include "host/services/tracing.h"
#include "host/services/violations.h"

namespace host {

struct Parts;

// What became of one request.
struct Reply {
  int32_t handler_result = 0;
  std::vector<std::vector<uint8_t>> responses;  // every response sent, in order
};

class Switch {
 public:
  Switch();  // throws std::logic_error when the process has had one
  ~Switch();
  Switch(const Switch &) = delete;
  Switch &operator=(const Switch &) = delete;

  // The parts of the switch, for setting up, looking at and breaking things.
  asic::Asic &asic();
  services::Interfaces &interfaces();
  ports::FrontPanel &ports();
  services::Tracing &tracing();
  services::Clock &clock();
  services::Faults &faults();
  services::Messages &messages();
  services::Shell &shell();
  services::SystemLog &system_log();
  services::CallLog &call_log();
  services::Violations &violations();

  // Starts the library (oftab_main with command 0) and its statistics timer. Aborts the process when initialisation
  // fails, as the library does; throws std::runtime_error when the timer cannot be started.
  void boot();

  // Hands one request to the handler of its message code (126024 entries, 126025 interfaces, 126026 statistics).
  // Throws std::invalid_argument for another code, and for a request that is shorter than its own counts say.
  Reply submit(uint32_t code, std::span<const uint8_t> request);

  // Sends a packet into an interface: `ifindex` supplies the ingress interface id, the VLAN the bridge domain. It does
  // not leave by the port that it came in by. Throws std::invalid_argument for an unknown interface and for one without
  // interface id.
  asic::Fate inject(uint32_t ifindex, const asic::PacketHeader &packet);

  // A member joins or leaves a port channel: the interface manager is told, then the library. Throws
  // std::invalid_argument, and changes nothing, where the interface manager refuses.
  void join(uint32_t member_ifindex, uint32_t pc_ifindex);
  void leave(uint32_t member_ifindex, uint32_t pc_ifindex);

  // An interface gets another hardware interface id: the interface manager is told, then the library.
  void change_interface_id(uint32_t ifindex, uint16_t intf_id);

  // OpenFlow is switched on (1 or 2) or off (0) for an interface: the interface manager is told, then the library.
  void change_openflow_state(uint32_t ifindex, uint8_t state);

  // A port gets another hardware LIF, which the library keeps for the host.
  void change_hw_lif(uint32_t ifindex, uint16_t hw_lif);

  // Has the library write what is due at the TCAM index of a flow, or erase an index where there is none.
  void rewrite(uint16_t tcam_index);
  void erase(uint16_t tcam_index);

  // Has the library invalidate the catch-all; the next flow request installs it anew.
  void clear_catch_all();

  // Lets time pass; timers expire on the way and the library collects its statistics.
  void advance(uint32_t seconds);

  // Lets the statistics timer expire now, so that the library collects at once; its next period begins here.
  void collect_statistics();

 private:
  std::unique_ptr<Parts> parts_;
};

}  // namespace host

#endif
