#include "host/ports/front_panel.h"

#include <sys/epoll.h>

#include <algorithm>
#include <stdexcept>

#include "host/asic/packet.h"
#include "host/ports/network_interface.h"
#include "host/ports/tap.h"

namespace host::ports {
namespace {

constexpr size_t kBatch = 32;  // frames of a port in one go
constexpr size_t kShortest = 14;
constexpr size_t kLongest = 9216 + 22;  // of one that is not still to be cut into segments
constexpr size_t kSource = 6;

bool is_sound(const Received &received) {
  const size_t length = received.frame.size();
  const bool fits = received.offload.gso_type != 0 || length <= kLongest;
  return length >= kShortest && fits && (received.frame[kSource] & 1U) == 0;
}

bool is_kept_by_bridges(const asic::Mac &address) {
  return address[0] == 0x01 && address[1] == 0x80 && address[2] == 0xc2 && address[3] == 0 && address[4] == 0 &&
         address[5] < 0x10;
}

// A tag without VLAN says nothing about where the frame belongs.
uint16_t domain_of(const asic::PacketHeader &packet, const asic::Vlans &vlans) {
  return packet.vlan == 0 ? asic::Vlans::kUntaggedDomain : vlans.domain_of(packet.vlan);
}

}  // namespace

std::unique_ptr<PortEnd> make_end(const std::string &text) {
  constexpr std::string_view kTap = "tap:";
  if (text.starts_with(kTap)) {
    return std::make_unique<Tap>(text.substr(kTap.size()));
  }
  return std::make_unique<NetworkInterface>(text);
}

FrontPanel::FrontPanel(const services::Interfaces &interfaces, const asic::Vlans &vlans, const services::Clock &clock)
    : interfaces_(interfaces), vlans_(vlans), clock_(clock), poll_(epoll_create1(EPOLL_CLOEXEC), "epoll") {}

void FrontPanel::attach(uint32_t ifindex, std::unique_ptr<PortEnd> end) {
  if (!services::Interfaces::port_slot(ifindex)) {
    throw std::invalid_argument("only a front-panel port can be attached to an interface");
  }
  if (const auto found = ports_.find(ifindex); found != ports_.end()) {
    throw std::invalid_argument("the port is attached to " + found->second.end->name());
  }
  for (const auto &[other, port] : ports_) {
    if (port.end->name() == end->name() && dynamic_cast<const NetworkInterface *>(end.get()) != nullptr) {
      throw std::invalid_argument(end->name() + " is taken: another port is attached to it");
    }
  }
  watch(ifindex, *end);
  const LinkState state = end->state();
  ports_.emplace(ifindex, AttachedPort{std::move(end), state, {}});
}

void FrontPanel::detach(uint32_t ifindex) {
  if (ports_.erase(ifindex) == 0) {
    throw std::invalid_argument("the port is attached to nothing");
  }
  bridge_.forget(ifindex);
}

// A descriptor that is closed is watched no longer.
void FrontPanel::watch(uint32_t ifindex, const PortEnd &end) const {
  if (end.descriptor() >= 0) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u32 = ifindex;
    check(epoll_ctl(poll_.number(), EPOLL_CTL_ADD, end.descriptor(), &event), end.name());
  }
}

size_t FrontPanel::receive(const Take &take) {
  epoll_event ready[services::Interfaces::kPorts];
  const int count = epoll_wait(poll_.number(), ready, static_cast<int>(std::size(ready)), 0);
  size_t frames = 0;
  for (int i = 0; i < count; ++i) {
    frames += receive_from(ready[i].data.u32, take);
  }
  return frames;
}

// The port may be detached by who takes its frames.
size_t FrontPanel::receive_from(uint32_t ifindex, const Take &take) {
  size_t frames = 0;
  for (auto found = ports_.find(ifindex); frames < kBatch && found != ports_.end(); found = ports_.find(ifindex)) {
    AttachedPort &port = found->second;
    const auto received = port.end->receive();
    if (!received) {
      break;
    }
    ++frames;
    if (!is_sound(*received)) {
      ++port.counts.rx_errors;
      continue;
    }
    ++port.counts.rx_packets;
    port.counts.rx_bytes += received->frame.size();
    current_ = *received;
    take(ifindex, current_.frame);
    current_ = {};
  }
  return frames;
}

void FrontPanel::transmit(uint32_t ifindex, Frame frame) {
  const auto found = ports_.find(ifindex);
  if (found == ports_.end()) {
    return;
  }
  auto &[end, state, counts] = found->second;
  const bool as_it_came = frame.data() == current_.frame.data() && frame.size() == current_.frame.size();
  if (!state.up) {
    ++counts.tx_dropped;
  } else if (!end->send(frame, as_it_came ? current_.offload : Offload{})) {
    ++counts.tx_errors;
  } else {
    ++counts.tx_packets;
    counts.tx_bytes += frame.size();
  }
}

uint32_t FrontPanel::logical_port(uint32_t ifindex) const {
  const services::Interface *interface = interfaces_.find(ifindex);
  return interface == nullptr || interface->pc == nullptr ? ifindex : interface->pc->ifindex;
}

bool FrontPanel::sends(uint32_t ifindex) const {
  const auto found = ports_.find(ifindex);
  return found != ports_.end() && found->second.state.up;
}

// The port that sends for a port or port channel; 0 when none does.
uint32_t FrontPanel::sender(uint32_t logical) const {
  if (services::Interfaces::port_slot(logical)) {
    return logical;
  }
  if (!interfaces_.exists(logical)) {
    return 0;
  }
  const std::vector<uint32_t> members = interfaces_.members(logical);
  const auto member = std::ranges::find_if(members, [this](uint32_t each) { return sends(each); });
  return member == members.end() ? 0 : *member;
}

void FrontPanel::flood(uint32_t in_logical, Frame frame) {
  for (const auto &[ifindex, port] : ports_) {
    const uint32_t logical = logical_port(ifindex);
    if (logical != in_logical && sender(logical) == ifindex) {
      transmit(ifindex, frame);
    }
  }
}

void FrontPanel::forward_normally(uint32_t in_port, Frame frame) {
  const asic::PacketHeader packet = asic::parse_frame(frame, frame.size());
  const uint16_t bd = domain_of(packet, vlans_);
  const uint32_t in_logical = logical_port(in_port);
  bridge_.learn(bd, packet.mac_sa, in_logical, clock_.now());
  if (is_kept_by_bridges(packet.mac_da)) {
    return;
  }
  const std::optional<uint32_t> known = bridge_.find(bd, packet.mac_da, clock_.now());
  if (!known) {
    flood(in_logical, frame);
  } else if (*known != in_logical) {
    transmit(sender(*known), frame);
  }
}

std::vector<uint32_t> FrontPanel::follow_links() {
  std::vector<uint32_t> changed;
  for (auto &[ifindex, port] : ports_) {
    if (port.end->renew()) {
      watch(ifindex, *port.end);
    }
    if (const LinkState state = port.end->state(); state != port.state) {
      port.state = state;
      changed.push_back(ifindex);
      if (!state.up) {
        bridge_.forget(ifindex);
      }
    }
  }
  return changed;
}

}  // namespace host::ports
