// SPDX-License-Identifier: Apache-2.0
// A TAP as a port's end: an interface of the machine that is made when the port is attached, up, and goes with it. One
// that somebody else removes is taken up again if it comes back.
#ifndef HOST_PORTS_TAP_H
#define HOST_PORTS_TAP_H

#include "host/ports/interface_end.h"

namespace host::ports {

class Tap : public InterfaceEnd {
 public:
  // Throws std::runtime_error, naming the TAP, when it cannot be made.
  explicit Tap(std::string name) : InterfaceEnd(std::move(name)) { open(); }

  std::string name() const override { return "tap:" + interface(); }
  void receive(Batch &batch) override;
  size_t send(std::span<const Packet> packets) override;
  uint64_t overruns() override;

 private:
  Opened opened() override;

  uint32_t dropped_ = 0;  // by the machine, for want of room in the TAP, up to when that was asked last
};

}  // namespace host::ports

#endif
