// A network interface of the machine as a port's end: a veth, a NIC.
//
// The port takes every frame that reaches the interface and sends by it; what the machine itself sends by the interface
// is not seen. Unsent checksums and segments travel with a frame from one interface to another, and a VLAN tag that the
// kernel took out of a frame is put back. Needs CAP_NET_RAW.
#ifndef HOST_PORTS_NETWORK_INTERFACE_H
#define HOST_PORTS_NETWORK_INTERFACE_H

#include <optional>
#include <string>

#include "host/ports/descriptor.h"
#include "host/ports/port_end.h"

namespace host::ports {

class NetworkInterface : public PortEnd {
 public:
  // Throws std::system_error, naming the interface, when it does not exist or may not be opened.
  explicit NetworkInterface(std::string name);

  std::string name() const override { return name_; }
  int descriptor() const override { return socket_ ? socket_->number() : -1; }
  void receive(Batch &batch) override;
  size_t send(std::span<const Packet> packets) override;
  uint64_t overruns() override;
  LinkState state() const override;
  bool renew() override;

 private:
  void open();

  std::string name_;
  unsigned index_ = 0;
  std::optional<Descriptor> socket_;
};

}  // namespace host::ports

#endif
