#include "host/ports/front_panel.h"

#include <sys/epoll.h>

#include <algorithm>
#include <stdexcept>

#include "host/ports/network_interface.h"
#include "host/ports/tap.h"
#include "host/services/interfaces.h"

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

FrontPanel::FrontPanel(const asic::Vlans &vlans, const services::Clock &clock)
    : vlans_(vlans), clock_(clock), poll_(epoll_create1(EPOLL_CLOEXEC), "epoll") {}

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
  ports_.emplace(ifindex, AttachedPort{std::move(end), state});
  was_used_ = true;
}

void FrontPanel::detach(uint32_t ifindex) {
  if (ports_.erase(ifindex) == 0) {
    throw std::invalid_argument("the port is attached to nothing");
  }
  bridge_.forget(ifindex);
}

std::optional<LinkState> FrontPanel::link(uint32_t ifindex) const {
  if (const auto found = ports_.find(ifindex); found != ports_.end()) {
    return found->second.state;
  }
  return was_used_ ? std::optional(LinkState{}) : std::nullopt;
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

size_t FrontPanel::receive() {
  if (receiver_ == nullptr) {
    return 0;
  }
  epoll_event ready[services::Interfaces::kPorts];
  const int count = epoll_wait(poll_.number(), ready, static_cast<int>(std::size(ready)), 0);
  size_t frames = 0;
  for (int i = 0; i < count; ++i) {
    frames += receive_from(ready[i].data.u32);
  }
  return frames;
}

// The port may be detached by who receives its frames.
size_t FrontPanel::receive_from(uint32_t ifindex) {
  size_t frames = 0;
  for (auto found = ports_.find(ifindex); frames < kBatch && found != ports_.end(); found = ports_.find(ifindex)) {
    const auto received = found->second.end->receive();
    if (!received) {
      break;
    }
    ++frames;
    if (!is_sound(*received)) {
      receiver_->refuse(ifindex);
      continue;
    }
    current_ = *received;
    receiver_->receive(ifindex, current_.frame);
    current_ = {};
  }
  return frames;
}

void FrontPanel::transmit(uint32_t ifindex, Frame frame) {
  const auto found = ports_.find(ifindex);
  if (found == ports_.end() || receiver_ == nullptr) {
    return;
  }
  const bool as_it_came = frame.data() == current_.frame.data() && frame.size() == current_.frame.size();
  if (!found->second.end->send(frame, as_it_came ? current_.offload : Offload{})) {
    receiver_->not_sent(ifindex, frame.size());
  }
}

FrontPanel::Route FrontPanel::route(uint32_t in_port, const asic::PacketHeader &packet) {
  const uint16_t bd = domain_of(packet, vlans_);
  if (services::Interfaces::port_slot(in_port) || services::Interfaces::pc_number(in_port)) {
    bridge_.learn(bd, packet.mac_sa, in_port, clock_.now());
  }
  if (Bridge::keeps(packet.mac_da)) {
    return {Route::To::Nobody};
  }
  const std::optional<uint32_t> known = bridge_.find(bd, packet.mac_da, clock_.now());
  return known ? Route{Route::To::Port, *known} : Route{Route::To::All};
}

void FrontPanel::follow_links() {
  for (auto &[ifindex, port] : ports_) {
    if (port.end->renew()) {
      watch(ifindex, *port.end);
    }
    const bool was_up = port.state.up;
    port.state = port.end->state();
    if (was_up && !port.state.up) {
      bridge_.forget(ifindex);
    }
  }
}

}  // namespace host::ports
