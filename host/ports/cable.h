// SPDX-License-Identifier: Apache-2.0
// A cable within the process as a port's end: what the port sends comes out at the other end of a socket, and what is
// sent into that end reaches the port. One message is one frame.
#ifndef HOST_PORTS_CABLE_H
#define HOST_PORTS_CABLE_H

#include <memory>
#include <utility>

#include "host/ports/descriptor.h"
#include "host/ports/port_end.h"

namespace host::ports {

class Cable : public PortEnd {
 public:
  // The cable's near end for the port, and the descriptor of its far end, which does not block. Throws
  // std::system_error.
  static std::pair<std::unique_ptr<Cable>, Descriptor> make();

  explicit Cable(Descriptor socket) : socket_(std::move(socket)) {}

  std::string name() const override { return "cable"; }
  int descriptor() const override { return socket_.number(); }
  void receive(Batch &batch) override;
  size_t send(std::span<const Packet> packets) override;
  LinkState state() const override { return {.up = true}; }

 private:
  Descriptor socket_;
};

}  // namespace host::ports

#endif
