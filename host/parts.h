// SPDX-License-Identifier: Apache-2.0
// The parts of the one switch, where the imported operations find them.
#ifndef HOST_PARTS_H
#define HOST_PARTS_H

#include "host/asic/asic.h"
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

struct Parts {
  Parts();
  ~Parts();
  Parts(const Parts &) = delete;
  Parts &operator=(const Parts &) = delete;

  services::Violations violations;
  services::Faults faults;
  services::CallLog call_log;
  services::Clock clock;
  services::SystemLog system_log;
  services::Tracing tracing;
  services::Interfaces interfaces;
  services::Messages messages{violations};
  services::Shell shell;
  asic::Asic asic{violations};
  ports::FrontPanel ports{asic.vlans(), clock};
};

// The switch that runs, if one does.
inline Parts *running = nullptr;

[[noreturn]] void end_without_switch();

// The parts of the running switch. A call into the host without one ends the process.
inline Parts &live() {
  if (running == nullptr) {
    end_without_switch();
  }
  return *running;
}

}  // namespace host

#endif
