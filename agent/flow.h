// A flow as people think of it, independent of messages and of the hardware.
#ifndef AGENT_FLOW_H
#define AGENT_FLOW_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace agent {

enum class Field : uint8_t { InPort, DlSrc, DlDst, DlType, DlVlan, NwSrc, NwDst, NwTos, NwProto, TpSrc, TpDst, kCount };

// A 1 bit of `mask` is compared. MAC addresses are numbers, first octet most significant; InPort is an ifindex.
struct Masked {
  uint64_t value = 0;
  uint64_t mask = 0;
  bool operator==(const Masked &) const = default;
};

// Fields that are not compared are zero in value and mask.
struct Match {
  std::array<Masked, static_cast<size_t>(Field::kCount)> fields{};

  Masked &operator[](Field field) { return fields[static_cast<size_t>(field)]; }
  const Masked &operator[](Field field) const { return fields[static_cast<size_t>(field)]; }
  bool operator==(const Match &) const = default;
};

// Masks that select the whole of a field.
constexpr uint64_t kExactIfindex = 0xFFFFFFFF;
constexpr uint64_t kExactMac = 0xFFFFFFFFFFFF;
constexpr uint64_t kExactEthertype = 0xFFFF;
constexpr uint64_t kExactVlan = 0x1FFF;
constexpr uint64_t kExactIp = 0xFFFFFFFF;
constexpr uint64_t kExactTos = 0xFC;  // a ToS match leaves the two congestion bits out
constexpr uint64_t kExactProtocol = 0xFF;
constexpr uint64_t kExactPort = 0xFFFF;

enum Ethertype : uint16_t { kIpv4 = 0x0800, kArp = 0x0806, kIpv6 = 0x86DD };
enum Protocol : uint8_t { kIcmp = 1, kTcp = 6, kUdp = 17 };

struct Actions {
  enum class Kind : uint8_t { Drop, Normal, Output, Controller };
  Kind kind = Kind::Normal;
  std::vector<uint32_t> outputs;    // ifindexes, for Output
  bool copy_to_controller = false;  // beside Drop, Normal or Output
  uint32_t app_id = 1;              // of the controller, where it is asked for
};

struct Flow {
  std::optional<uint32_t> seq_no;
  std::optional<uint32_t> priority;
  Match match;
  Actions actions;
  size_t line = 0;  // of the file that it was read from
};

constexpr uint32_t kDefaultPriority = 32768;

inline uint32_t priority_of(const Flow &flow) {
  return flow.priority.value_or(kDefaultPriority);
}

// Whether every packet that `inner` matches is matched by `outer`.
bool covers(const Match &outer, const Match &inner);

// In flow syntax: "tcp,in_port=Eth1/1,nw_dst=10.0.0.0/8"; "any" without fields.
std::string to_text(const Match &match);

// For people: "drop", "normal + controller", "output Eth1/1-3,7,pc2".
std::string to_text(const Actions &actions);

// "tcp", "udp", "icmp", or null for another protocol.
const char *protocol_name(uint64_t protocol);

std::string ip_text(uint32_t address);
std::string mac_text(uint64_t address);

// The octets of a MAC address in transmission order.
std::array<uint8_t, 6> mac_octets(uint64_t address);

}  // namespace agent

#endif
