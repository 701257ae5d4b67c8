// A TAP as a port's end: an interface of the machine that exists as long as the port is attached, and is up.
#ifndef HOST_PORTS_TAP_H
#define HOST_PORTS_TAP_H

#include <string>

#include "host/ports/descriptor.h"
#include "host/ports/port_end.h"

namespace host::ports {

class Tap : public PortEnd {
 public:
  // Throws std::system_error, naming the TAP, when it cannot be made.
  explicit Tap(std::string name);

  std::string name() const override { return "tap:" + name_; }
  int descriptor() const override { return device_.number(); }
  void receive(Batch &batch) override;
  size_t send(std::span<const Packet> packets) override;
  LinkState state() const override;

 private:
  std::string name_;
  Descriptor device_;
};

}  // namespace host::ports

#endif
