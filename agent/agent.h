// SPDX-License-Identifier: Apache-2.0
// The switch's agent: its flows, ports and packets, and the time that they live in.
//
// Controllers' sessions and the prompt's commands are its clients. What they ask for has reached library and hardware
// when a call returns; what happens goes to the listeners, during the call that brings it about.
#ifndef AGENT_AGENT_H
#define AGENT_AGENT_H

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "agent/flow_changes.h"
#include "agent/flow_mod.h"
#include "agent/flow_sync.h"
#include "agent/flow_table.h"
#include "agent/hardware.h"
#include "agent/packet_path.h"
#include "agent/ports.h"
#include "agent/responses.h"
#include "host/switch.h"

namespace agent {

class Listener {
 public:
  Listener() = default;
  virtual ~Listener() = default;
  Listener(const Listener &) = delete;
  Listener &operator=(const Listener &) = delete;

  // Every flow that leaves the table but for replaced ones, whether it asked for that or not.
  virtual void flow_removed(const RemovedFlow &) {}
  virtual void flows_waiting(size_t) {}                       // so many more or fewer wait until the library takes them
  virtual bool packet_in(const PacketIn &) { return false; }  // whether anyone got it
  virtual void port_changed(const PortChange &) {}
};

struct Aggregate {
  Counts counts;
  size_t flows = 0;
};

// Packets that were looked up in the table, and those among them that met a flow.
struct TableStatistics {
  size_t active = 0;
  uint64_t lookups = 0;
  uint64_t matched = 0;
};

class Agent {
 public:
  static constexpr Time kFresh = std::chrono::milliseconds(500);  // how old counts may be that controllers read

  explicit Agent(host::Switch &device, uint64_t datapath_id = 1);
  Agent(const Agent &) = delete;
  Agent &operator=(const Agent &) = delete;

  void subscribe(Listener &listener) { listeners_.push_back(&listener); }
  void unsubscribe(Listener &listener) { std::erase(listeners_, &listener); }

  // Flows. Changes that stand in the receive queue together make a run, which goes to the library in few requests:
  // `change` takes the next one, `finish_changes` ends the run and says which were refused, `apply` does both. Nothing
  // else is asked of the agent during a run. Only what the agent itself did to the library's table is known to it:
  // `reread` follows whatever else did.
  void change(FlowMod &&mod);
  FlowModErrors finish_changes();
  FlowModErrors apply(std::span<const FlowMod> mods);
  void abandon_changes();  // of a run that an exception has ended, and reads the library's table instead
  const FlowTable &flows() const { return flows_; }
  bool purge();  // false when it failed
  void reread();

  // One line for each difference between the agent's flows and those of the library.
  std::vector<std::string> audit() { return differences(device_, flows_); }

  // What becomes of packets that no flow matches: dropped, forwarded normally, or reported to the controllers. False
  // when the hardware refused.
  bool set_miss(HardwareActions::Kind kind);

  // Time passes, for the library as well. Flows are removed when their time has come, each at its time; packets that
  // were counted since the last call count as of its beginning. What happened to the interfaces is noticed. To be
  // called some ten times a second.
  Time now() const { return now_; }
  void advance(Time by);

  // What has happened to interfaces and VLANs is noticed now, and not when time passes next.
  void follow_interfaces();

  // From now on time passes by itself: `passed` says how much has since it was asked last. What is asked of the agent
  // then happens at the moment in which it is asked for.
  void follow(std::function<Time()> passed) { passed_ = std::move(passed); }

  // Statistics, of counts that are read anew unless the latest reading is younger than `age`.
  void refresh_counts(Time age = kFresh);
  StatisticsResponse clear_counts();  // of all flows; the library's answer
  std::vector<const TableEntry *> flow_statistics(const Match &match, uint32_t out_port, Time age = kFresh);
  Aggregate aggregate_statistics(const Match &match, uint32_t out_port, Time age = kFresh);
  TableStatistics table_statistics() const;

  // Ports. The reason why a change was refused; none when it was made.
  enum class PortModError : uint8_t { BadPort, BadHwAddr };
  const Ports &ports() const { return ports_; }
  std::optional<PortModError> modify_port(uint32_t ifindex, const std::array<uint8_t, 6> &hw_addr, uint32_t config,
                                          uint32_t mask);

  // Packets.
  PacketPath &packets() { return packets_; }

 private:
  // A packet that a change takes out of its buffer.
  struct Kept {
    size_t mod;
    uint32_t buffer_id;
    std::vector<Action> actions;
  };

  template <typename Tell>
  void tell_all(Tell tell);
  template <typename Event>
  void tell(void (Listener::*told)(const Event &), const Event &event);
  bool offer(const PacketIn &packet);
  void tell_outcome(const FlowModResults &results);
  void begin_changes();
  void move_to(Time time);
  void catch_up();
  void notice_interfaces();
  void place_flows_anew();

  host::Switch &device_;
  std::vector<Listener *> listeners_;
  FlowTable flows_;
  FlowChanges changes_;
  size_t run_ = 0;              // changes in the run that has begun
  std::vector<Kept> released_;  // by them
  Ports ports_;
  PacketPath packets_;
  Time now_{};
  std::function<Time()> passed_;  // none when time passes by advance() alone
  std::optional<Time> counted_;   // when the counts were read last
  size_t waiting_ = 0;            // flows that the library has not taken yet
  bool followed_ = true;          // no flow has a record that interfaces and VLANs have overtaken
};

}  // namespace agent

#endif
