// SPDX-License-Identifier: Apache-2.0
#include "agent/agent.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "agent/counts.h"
#include "agent/requests.h"
#include "agent/timeouts.h"
#include "oftab/oftab.h"

namespace agent {
namespace {

using Command = FlowMod::Command;

bool succeeds(host::Switch &device, const Bytes &request) {
  try {
    return submit_entries(device, request).status == OFTAB_OK;
  } catch (const std::runtime_error &) {
    return false;
  }
}

bool takes_packet(const FlowMod &mod) {
  const bool installs = mod.command != Command::Delete && mod.command != Command::DeleteStrict;
  return installs && mod.buffer_id != kNoBuffer;
}

}  // namespace

Agent::Agent(host::Switch &device, uint64_t datapath_id)
    : device_(device),
      changes_(device, flows_),
      ports_(device.interfaces(), datapath_id),
      packets_(device, flows_, ports_, now_, [this](const PacketIn &packet) { return offer(packet); }) {
  reread();
}

// A listener may come or go while it is told.
template <typename Tell>
void Agent::tell_all(Tell tell) {
  for (Listener *listener : std::vector(listeners_)) {
    if (std::ranges::find(listeners_, listener) != listeners_.end()) {
      tell(*listener);
    }
  }
}

template <typename Event>
void Agent::tell(void (Listener::*told)(const Event &), const Event &event) {
  tell_all([&](Listener &listener) { (listener.*told)(event); });
}

bool Agent::offer(const PacketIn &packet) {
  bool taken = false;
  tell_all([&](Listener &listener) { taken |= listener.packet_in(packet); });
  return taken;
}

void Agent::tell_outcome(const FlowModResults &results) {
  for (const RemovedFlow &removed : results.removed) {
    tell(&Listener::flow_removed, removed);
  }
  if (std::exchange(waiting_, results.waiting) != results.waiting) {
    tell_all([&](Listener &listener) { listener.flows_waiting(results.waiting); });
  }
}

void Agent::begin_changes() {
  catch_up();
  changes_.begin(now_);
  released_.clear();
}

void Agent::change(FlowMod &&mod) {
  if (run_ == 0) {
    begin_changes();
  }
  if (takes_packet(mod)) {
    released_.push_back({run_, mod.buffer_id, mod.flow.actions});
  }
  ++run_;
  changes_.apply(std::move(mod));
}

FlowModErrors Agent::finish_changes() {
  if (std::exchange(run_, 0) == 0) {
    begin_changes();
  }
  FlowModResults results = changes_.finish();
  tell_outcome(results);
  for (const Kept &each : std::exchange(released_, {})) {
    if (results.errors.contains(each.mod)) {
      continue;
    }
    if (auto error = packets_.release(each.buffer_id, each.actions)) {
      results.errors.emplace(each.mod, *std::move(error));
    }
  }
  return std::move(results.errors);
}

FlowModErrors Agent::apply(std::span<const FlowMod> mods) try {
  for (const FlowMod &mod : mods) {
    change(FlowMod(mod));
  }
  return finish_changes();
} catch (...) {
  abandon_changes();
  throw;
}

void Agent::abandon_changes() {
  run_ = 0;
  released_.clear();
  changes_.abandon();
  reread();
}

bool Agent::purge() {
  const bool purged = succeeds(device_, purge_request());
  reread();
  return purged;
}

void Agent::reread() {
  for (TableEntry &gone : changes_.reread(now_)) {
    tell(&Listener::flow_removed, RemovedFlow{std::move(gone), RemovedFlow::Reason::Delete, now_});
  }
}

bool Agent::set_miss(HardwareActions::Kind kind) {
  HardwareActions actions;
  actions.kind = kind;
  return std::ranges::all_of(catch_all_requests(actions),
                             [this](const Bytes &request) { return succeeds(device_, request); });
}

void Agent::advance(Time by) try {
  catch_up();
  const Time until = now_ + by;
  tell_outcome(changes_.finish_failed(now_));
  if (first_deadline(flows_, Time::min()) != Time::max()) {
    refresh_counts(Time::zero());
  }
  for (Time next = first_deadline(flows_, Time::min()); next <= until; next = first_deadline(flows_, next)) {
    move_to(std::max(next, now_));
    tell_outcome(changes_.expire(now_));
  }
  move_to(until);
  notice_interfaces();
} catch (...) {
  abandon_changes();
  throw;
}

void Agent::catch_up() {
  if (passed_) {
    move_to(now_ + passed_());
  }
}

// The host's clock counts whole seconds.
void Agent::move_to(Time time) {
  using std::chrono::floor;
  using std::chrono::seconds;
  const auto whole = floor<seconds>(time) - floor<seconds>(now_);
  now_ = time;
  device_.advance(static_cast<uint32_t>(whole.count()));
}

void Agent::follow_interfaces() {
  catch_up();
  followed_ = false;
  notice_interfaces();
}

void Agent::place_flows_anew() {
  const FlowModResults results = changes_.follow_interfaces(now_);
  followed_ = results.errors.empty();
  tell_outcome(results);
}

void Agent::notice_interfaces() {
  for (const PortChange &change : ports_.refresh()) {
    followed_ = false;
    tell(&Listener::port_changed, change);
  }
  if (!followed_ || !flows_with_room(flows_).empty()) {
    place_flows_anew();
  }
  device_.ports().follow_links();
  for (const PortChange &change : ports_.follow(device_.ports())) {
    tell(&Listener::port_changed, change);
  }
}

void Agent::refresh_counts(Time age) {
  if (!counted_ || now_ - *counted_ >= age) {
    read_counts(device_, flows_, now_);
    counted_ = now_;
  }
}

// What has been counted until now still tells which flows are in use.
StatisticsResponse Agent::clear_counts() {
  catch_up();
  refresh_counts(Time::zero());
  StatisticsResponse response = submit_statistics(device_, statistics_request(OFTAB_STATS_CLEAR));
  if (response.status == OFTAB_OK) {
    flows_.for_each([](TableEntry &entry) { entry.clear_counts(); });
  }
  counted_.reset();
  return response;
}

std::vector<const TableEntry *> Agent::flow_statistics(const Match &match, uint32_t out_port, Time age) {
  catch_up();
  refresh_counts(age);
  std::vector<const TableEntry *> entries;
  for (const TableEntry *entry : flows_.covered_by(normalised(match))) {
    if (out_port == kPortNone || sends_to(entry->flow, out_port)) {
      entries.push_back(entry);
    }
  }
  return entries;
}

Aggregate Agent::aggregate_statistics(const Match &match, uint32_t out_port, Time age) {
  Aggregate sum;
  for (const TableEntry *entry : flow_statistics(match, out_port, age)) {
    sum.counts += entry->counts();
    ++sum.flows;
  }
  return sum;
}

TableStatistics Agent::table_statistics() const {
  const auto &hardware = device_.asic().lookups();
  const uint64_t lookups = hardware.packets + packets_.looked_up();
  return {flows_.size(), lookups, lookups - hardware.missed - packets_.missed()};
}

std::optional<Agent::PortModError> Agent::modify_port(uint32_t ifindex, const std::array<uint8_t, 6> &hw_addr,
                                                      uint32_t config, uint32_t mask) {
  Port *port = ports_.find(ifindex);
  if (port == nullptr) {
    return PortModError::BadPort;
  }
  if (port->hw_addr != hw_addr) {
    return PortModError::BadHwAddr;
  }
  const uint32_t changed = (port->config & ~mask) | (config & mask & kAllPortConfig);
  if (changed != port->config) {
    port->config = changed;
    tell(&Listener::port_changed, PortChange{PortChange::Reason::Modify, *port});
  }
  return std::nullopt;
}

}  // namespace agent
