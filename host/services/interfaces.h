// SPDX-License-Identifier: Apache-2.0
// The interface manager: 48 front-panel ports, and port channels with ordered members.
//
// A front-panel port in slot s has ifindex 0x1a000000 + (s << 12), ASIC port s and hardware interface id 0x100 + s.
// Port channel n has ifindex 0x16000000 + n and hardware interface id 0x400 + n as long as that is below 0x1000.
// OpenFlow is enabled (state 1) on every interface. All of that but the ifindex can be changed.
//
// Operations that name an interface throw std::invalid_argument when it does not exist.
#ifndef HOST_SERVICES_INTERFACES_H
#define HOST_SERVICES_INTERFACES_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace host::services {

struct Interface;

// What the library holds of an interface: a LIF, an interface, a port channel or a physical interface, all opaque.
struct InterfaceObject {
  enum class Kind : uint8_t { Lif, Intf, PortChannel, Pif };
  Kind kind;
  Interface *owner;
};

struct Interface {
  uint32_t ifindex = 0;
  bool is_pc = false;
  std::optional<uint8_t> asic_port;
  std::optional<uint16_t> intf_id;
  uint8_t openflow_state = 1;
  std::vector<Interface *> members;  // of a port channel, in the order in which they joined
  Interface *pc = nullptr;           // of a member port
  InterfaceObject lif{InterfaceObject::Kind::Lif, this};
  InterfaceObject intf{InterfaceObject::Kind::Intf, this};
  InterfaceObject port_channel{InterfaceObject::Kind::PortChannel, this};
  InterfaceObject pif{InterfaceObject::Kind::Pif, this};

  Interface() = default;
  Interface(const Interface &) = delete;
  Interface &operator=(const Interface &) = delete;
};

class Interfaces {
 public:
  static constexpr uint32_t kPorts = 48;
  static constexpr uint32_t kLastPortChannel = 4095;
  static constexpr uint16_t kInterfaceIds = 0x1000;  // hardware interface ids lie below

  Interfaces();

  // Names. The first two compute for any number; the others answer none for an ifindex that is not of their kind.
  static constexpr uint32_t port_ifindex(uint32_t slot) { return 0x1a000000 + (slot << 12); }
  static constexpr uint32_t pc_ifindex(uint32_t number) { return 0x16000000 + number; }
  static std::optional<uint32_t> port_slot(uint32_t ifindex);
  static std::optional<uint32_t> pc_number(uint32_t ifindex);
  static uint8_t sdk_port(uint32_t ifindex);  // of a front-panel port; 0 for what is none

  bool exists(uint32_t ifindex) const { return interfaces_.contains(ifindex); }

  // Port channels. Numbers run from 1 to 4095; a port is a member of one port channel at most; a port channel that is
  // deleted has no members. Anything else throws std::invalid_argument.
  void create_pc(uint32_t pc_ifindex);
  void delete_pc(uint32_t pc_ifindex);
  void join(uint32_t member_ifindex, uint32_t pc_ifindex);
  void leave(uint32_t member_ifindex, uint32_t pc_ifindex);
  std::vector<uint32_t> port_channels() const;
  std::vector<uint32_t> members(uint32_t pc_ifindex) const;
  std::optional<uint32_t> pc_of(uint32_t member_ifindex) const;

  // Hardware interface id, below 0x1000.
  std::optional<uint16_t> intf_id(uint32_t ifindex) const;
  void set_intf_id(uint32_t ifindex, std::optional<uint16_t> intf_id);

  // ASIC port of a front-panel port.
  void set_asic_port(uint32_t ifindex, std::optional<uint8_t> port);

  // OpenFlow state; 1 and 2 mean enabled.
  uint8_t openflow_state(uint32_t ifindex) const;
  void set_openflow_state(uint32_t ifindex, uint8_t state);

  // For the imports: null for an interface that does not exist.
  Interface *find(uint32_t ifindex) const;

 private:
  Interface &add(uint32_t ifindex);
  Interface &get(uint32_t ifindex) const;
  Interface &get_port(uint32_t ifindex) const;
  Interface &get_pc(uint32_t ifindex) const;

  std::map<uint32_t, std::unique_ptr<Interface>> interfaces_;
};

}  // namespace host::services

#endif
