// SPDX-License-Identifier: Apache-2.0
// Frames into and out of the front panel.
#include <sys/epoll.h>

#include "host/ports/front_panel.h"
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

}  // namespace

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

}  // namespace host::ports
