// SPDX-License-Identifier: Apache-2.0
#include "host/ports/front_panel.h"

#include <sys/epoll.h>

#include <stdexcept>
#include <string>
#include <utility>

#include "host/ports/network_interface.h"
#include "host/ports/tap.h"
#include "host/services/interfaces.h"

namespace host::ports {
namespace {

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
    // Nothing tells when another program lets go of an interface that came back.
    if (changed || port.end->descriptor() < 0) {
      follow_link(ifindex, port);
    }
  }
}

}  // namespace host::ports
