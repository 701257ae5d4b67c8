// SPDX-License-Identifier: Apache-2.0
#include "host/ports/front_panel.h"

#include <sys/epoll.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "host/ports/network_interface.h"
#include "host/ports/tap.h"
#include "host/services/interfaces.h"

namespace host::ports {
namespace {

constexpr size_t kShortest = 14;
constexpr size_t kLongest = 9216 + 22;  // of one that is not still to be cut into segments
constexpr size_t kSource = 6;

bool is_sound(const Packet &packet) {
  const size_t length = packet.frame.size();
  const bool fits = packet.offload.gso_type != 0 || length <= kLongest;
  return length >= kShortest && fits && (packet.frame[kSource] & 1U) == 0;
}

// A tag without VLAN says nothing about where the frame belongs.
uint16_t domain_of(const asic::PacketHeader &packet, const asic::Vlans &vlans) {
  return packet.vlan == 0 ? asic::Vlans::kUntaggedDomain : vlans.domain_of(packet.vlan);
}

std::string port_name(uint32_t ifindex) {
  const auto slot = services::Interfaces::port_slot(ifindex);
  return slot ? "port " + std::to_string(*slot + 1) : "that";
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
    throw std::invalid_argument(port_name(ifindex) + " is attached to " + found->second.end->name());
  }
  if (!link_events_) {
    link_events_.emplace();
  }
  watch(ifindex, *end);
  const LinkState state = end->state();
  ports_.emplace(ifindex, AttachedPort{.end = std::move(end), .state = state, .queue = {}});
  was_used_ = true;
}

void FrontPanel::detach(uint32_t ifindex) {
  const auto found = ports_.find(ifindex);
  if (found == ports_.end()) {
    throw std::invalid_argument(port_name(ifindex) + " is attached to nothing");
  }
  count_overruns(ifindex, found->second);
  send_queue(ifindex, found->second);
  ports_.erase(found);
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

void FrontPanel::receive() {
  if (receiver_ == nullptr) {
    return;
  }
  epoll_event ready[services::Interfaces::kPorts];
  const int count = epoll_wait(poll_.number(), ready, static_cast<int>(std::size(ready)), 0);
  for (int i = 0; i < count; ++i) {
    receive_from(ready[i].data.u32);
  }
}

// The port may be detached by who receives its frames.
void FrontPanel::receive_from(uint32_t ifindex) {
  const auto found = ports_.find(ifindex);
  if (found == ports_.end()) {
    return;
  }
  found->second.received = true;
  batch_.clear();
  found->second.end->receive(batch_);
  for (const Packet &packet : batch_.packets()) {
    if (is_sound(packet)) {
      current_ = &packet;
      receiver_->receive(ifindex, packet.frame);
    } else {
      receiver_->refuse(ifindex);
    }
  }
  current_ = nullptr;
  send_queues();
}

bool FrontPanel::checksum_is_due() const {
  return current_ != nullptr && (current_->offload.flags & Offload::kChecksum) != 0;
}

// What is sent while a frame is handed over is that frame, perhaps with a tag more or less in front of its checksum.
Offload FrontPanel::offload_of(Frame frame) const {
  Offload offload = current_ == nullptr ? Offload{} : current_->offload;
  if (offload.flags != 0 || offload.gso_type != 0) {
    const size_t moved = frame.size() - current_->frame.size();
    offload.csum_start = static_cast<uint16_t>(offload.csum_start + moved);
    offload.hdr_len = static_cast<uint16_t>(offload.hdr_len + moved);
  }
  return offload;
}

// Frames of the batch wait until it has been handed over; what lies elsewhere goes at once, behind those that wait.
void FrontPanel::transmit(uint32_t ifindex, Frame frame) {
  if (receiver_ == nullptr || !was_used_) {
    return;
  }
  const auto found = ports_.find(ifindex);
  if (found == ports_.end()) {
    return receiver_->not_sent(ifindex, frame.size());
  }
  AttachedPort &port = found->second;
  const bool waits = current_ != nullptr && frame.data() == current_->frame.data();
  port.queue.push_back({frame, offload_of(frame)});
  if (!waits) {
    send_queue(ifindex, port);
  }
}

void FrontPanel::send_queue(uint32_t ifindex, AttachedPort &port) {
  const std::span<const Packet> queue = port.queue;
  for (size_t sent = 0; sent < queue.size();) {
    const size_t taken = port.end->send(queue.subspan(sent));
    sent += taken;
    if (taken == 0) {
      receiver_->not_sent(ifindex, queue[sent].frame.size());
      ++sent;
    }
  }
  port.queue.clear();
}

void FrontPanel::send_queues() {
  for (auto &[ifindex, port] : ports_) {
    send_queue(ifindex, port);
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

void FrontPanel::follow_link(uint32_t ifindex, AttachedPort &port) {
  if (port.end->renew()) {
    watch(ifindex, *port.end);
  }
  const LinkState before = std::exchange(port.state, port.end->state());
  if (port.end->descriptor() < 0) {
    port.state.mac = before.mac;
  }
  if (before.up && !port.state.up) {
    bridge_.forget(ifindex);
  }
}

// An end is asked before it follows another interface.
void FrontPanel::count_overruns(uint32_t ifindex, AttachedPort &port) {
  if (std::exchange(port.received, false) && receiver_ != nullptr) {
    receiver_->overrun(ifindex, port.end->overruns());
  }
}

void FrontPanel::follow_links() {
  const bool changed = link_events_ && link_events_->happened();
  for (auto &[ifindex, port] : ports_) {
    count_overruns(ifindex, port);
    if (changed) {
      follow_link(ifindex, port);
    }
  }
}

}  // namespace host::ports
