// SPDX-License-Identifier: Apache-2.0
// A network interface of the machine as a port's end: a veth, a NIC.
//
// The port takes every frame that reaches the interface and sends by it; what the machine itself sends by the interface
// is not seen. Unsent checksums and segments travel with a frame from one interface to another, and a VLAN tag that the
// kernel took out of a frame is put back. Needs CAP_NET_RAW.
#ifndef HOST_PORTS_NETWORK_INTERFACE_H
#define HOST_PORTS_NETWORK_INTERFACE_H

#include "host/ports/interface_end.h"

namespace host::ports {

class NetworkInterface : public InterfaceEnd {
 public:
  // Throws std::runtime_error, naming the interface, when it does not exist, is taken or may not be opened.
  explicit NetworkInterface(std::string name) : InterfaceEnd(std::move(name)) { open(); }

  std::string name() const override { return interface(); }
  void receive(Batch &batch) override;
  size_t send(std::span<const Packet> packets) override;
  uint64_t overruns() override;

 private:
  Opened opened() override;
};

}  // namespace host::ports

#endif
