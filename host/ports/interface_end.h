// SPDX-License-Identifier: Apache-2.0
// A port's end that is an interface of the machine, which may vanish and come back.
#ifndef HOST_PORTS_INTERFACE_END_H
#define HOST_PORTS_INTERFACE_END_H

#include <optional>
#include <string>

#include "host/ports/descriptor.h"
#include "host/ports/port_end.h"

namespace host::ports {

class InterfaceEnd : public PortEnd {
 public:
  explicit InterfaceEnd(std::string interface) : interface_(std::move(interface)) {}

  int descriptor() const override { return opened_ ? opened_->file.number() : -1; }
  LinkState state() const override;
  bool renew() override;

 protected:
  struct Opened {
    Descriptor file;
    std::optional<Descriptor> claim{};  // open for as long as no other port is to have the interface
  };

  // Opens the interface, which exists or is made now. Throws std::runtime_error with its name.
  void open();
  const std::string &interface() const { return interface_; }

 private:
  virtual Opened opened() = 0;

  std::string interface_;
  unsigned index_ = 0;
  std::optional<Opened> opened_;  // none while the interface is gone, or another's
};

}  // namespace host::ports

#endif
