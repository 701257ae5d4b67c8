// SPDX-License-Identifier: Apache-2.0
#include "agent/packet_path.h"

#include <algorithm>

#include "agent/interface_names.h"
#include "agent/table_view.h"
#include "agent/text.h"
#include "host/asic/packet.h"

namespace agent {
namespace {

using Kind = AgentError::Kind;

AgentError missing(uint32_t id, PacketBuffers::Miss miss) {
  return miss == PacketBuffers::Miss::Unknown
             ? AgentError{Kind::BufferUnknown, concat("no packet is kept in a buffer ", id)}
             : AgentError{Kind::BufferEmpty, concat("the packet of buffer ", id, " was sent before")};
}

// What a controller's packet cannot be made to do.
std::optional<AgentError> refused(const Action &action, size_t position, const Ports &ports) {
  const auto port = static_cast<uint32_t>(action.value);
  const bool reserved = port >= kPortIn && port < kPortNone;
  if (!changes_packets(action.kind) && !reserved && ports.find(port) == nullptr) {
    return AgentError{Kind::Port, concat("there is no port ", interface_name(port)), position};
  }
  return std::nullopt;
}

std::optional<AgentError> refused(const std::vector<Action> &actions, const Ports &ports) {
  for (size_t i = 0; i < actions.size(); ++i) {
    if (auto error = refused(actions[i], i, ports)) {
      return error;
    }
  }
  return std::nullopt;
}

// How much of its packets the flow behind a TCAM index sends to the controllers.
uint16_t max_len(uint16_t tcam_index, const FlowTable &flows) {
  const oftab_sw_entry_t *record = live_record_at(tcam_index);
  const TableEntry *entry = record == nullptr ? nullptr : flows.find(record->seq_no);
  if (entry != nullptr) {
    for (const Action &action : entry->flow.actions) {
      if (is_output_to(action, kPortController)) {
        return action.max_len;
      }
    }
  }
  return Action{}.max_len;
}

}  // namespace

size_t PacketIn::length_to_send(uint16_t miss_send_len) const {
  return std::min<size_t>(frame.size(), reason == Reason::NoMatch ? miss_send_len : max_len);
}

// Frames that come in or leave by a member of a port channel are the port channel's as well.
template <typename Change>
void PacketPath::count(uint32_t ifindex, Change change) {
  if (Port *port = ports_.find(ifindex)) {
    change(port->counts);
  }
  const uint32_t logical = ports_.logical_port(ifindex);
  if (Port *channel = logical == ifindex ? nullptr : ports_.find(logical)) {
    change(channel->counts);
  }
}

void PacketPath::receive(uint32_t ifindex, Frame frame) {
  count(ifindex, [&](PortCounts &counts) {
    ++counts.rx_packets;
    counts.rx_bytes += frame.size();
  });
  const uint64_t before = arrivals_;
  if (ports_.receives(ifindex, frame)) {
    look_up(ifindex, frame);
  }
  if (arrivals_ == before) {
    count(ifindex, [](PortCounts &counts) { ++counts.rx_dropped; });
  }
}

void PacketPath::refuse(uint32_t ifindex) {
  count(ifindex, [](PortCounts &counts) { ++counts.rx_errors; });
}

void PacketPath::overrun(uint32_t ifindex, uint64_t frames) {
  count(ifindex, [frames](PortCounts &counts) { counts.rx_overruns += frames; });
}

// It was counted as sent.
void PacketPath::not_sent(uint32_t ifindex, size_t bytes) {
  count(ifindex, [bytes](PortCounts &counts) {
    --counts.tx_packets;
    counts.tx_bytes -= bytes;
    ++counts.tx_errors;
  });
}

// The hardware does not know of ports that no packet comes in by.
void PacketPath::look_up(uint32_t in_port, Frame frame) {
  const Packet packet{in_port, host::asic::parse_frame(frame, frame.size())};
  if (!device_.interfaces().exists(in_port)) {
    ++looked_up_;
    return serve(packet, frame);
  }
  const uint16_t interface_id = device_.interfaces().intf_id(in_port).value_or(0);
  const host::asic::Fate fate =
      device_.asic().forward(interface_id, host::services::Interfaces::sdk_port(in_port), packet.header);
  if (is_for_cpu(fate)) {
    admit(packet, frame);
  } else {
    act(packet, frame, fate);
  }
}

void PacketPath::act(const Packet &packet, Frame frame, const host::asic::Fate &fate) {
  for (const uint8_t sdk_port : fate.sdk_ports) {
    leave_by(sdk_port_ifindex(sdk_port), frame);
  }
  if (fate.verdict == host::asic::Verdict::Forward && !fate.is_trapped()) {
    forward_normally(packet.ifindex, packet.header, frame);
  }
  if (fate.cpu_code) {
    punt(packet.ifindex, frame, fate);
  }
}

void PacketPath::punt(uint32_t in_port, Frame frame, const host::asic::Fate &fate) {
  PacketIn packet{.in_port = in_port, .frame = frame};
  if (fate.tcam_index && *fate.tcam_index != OFTAB_CATCH_ALL_INDEX) {
    packet.reason = PacketIn::Reason::Action;
    packet.max_len = max_len(*fate.tcam_index, flows_);
  }
  report(packet);
}

void PacketPath::report(PacketIn packet) {
  Port *port = ports_.find(packet.in_port);
  if (port != nullptr && !ports_.reports(packet.in_port)) {
    return;
  }
  if (!guard_.admits_packet_in(now_)) {
    if (port != nullptr) {
      ++port->counts.packet_ins_dropped;
    }
    return;
  }
  packet.buffer_id = buffers_.keep(packet.in_port, packet.frame);
  arrivals_ += report_(packet) ? 1 : 0;
}

std::optional<AgentError> PacketPath::send(const PacketOut &packet) {
  if (auto error = refused(packet.actions, ports_)) {
    return error;
  }
  if (const auto *buffer_id = std::get_if<uint32_t>(&packet.packet)) {
    return release(*buffer_id, packet.actions);
  }
  perform(packet.actions, packet.in_port, std::get<std::vector<uint8_t>>(packet.packet));
  return std::nullopt;
}

std::optional<AgentError> PacketPath::release(uint32_t buffer_id, const std::vector<Action> &actions) {
  const auto kept = buffers_.take(buffer_id);
  if (const auto *miss = std::get_if<PacketBuffers::Miss>(&kept)) {
    return missing(buffer_id, *miss);
  }
  const auto &packet = std::get<BufferedPacket>(kept);
  perform(actions, packet.in_port, packet.frame);
  return std::nullopt;
}

// The switch itself takes nothing, so what is sent to LOCAL ends there.
void PacketPath::output(const Action &action, uint32_t in_port, Frame frame, Reached &reached) {
  switch (const auto port = static_cast<uint32_t>(action.value); port) {
    case kPortIn:
      return transmit(in_port, frame);
    case kPortTable:
      return look_up(in_port, frame);
    case kPortNormal:
      return forward_normally(in_port, host::asic::parse_frame(frame, frame.size()), frame);
    case kPortFlood:
    case kPortAll:
      return flood(in_port, frame, port == kPortAll);
    case kPortController:
      return report(
          {.in_port = in_port, .reason = PacketIn::Reason::Action, .max_len = action.max_len, .frame = frame});
    case kPortLocal:
      return;
    default:
      return replicate(port, in_port, frame, reached);
  }
}

// A port channel gets one copy, its members none of their own.
void PacketPath::flood(uint32_t in_port, Frame frame, bool all) {
  const uint32_t in_logical = ports_.logical_port(in_port);
  for (const auto &[ifindex, port] : ports_.all()) {
    const bool is_member = ports_.logical_port(ifindex) != ifindex;
    if (ifindex != in_logical && !is_member && ports_.sends(ifindex) && (all || ports_.floods(ifindex))) {
      transmit(ifindex, frame);
    }
  }
}

// Of a port channel, the first member that can send does.
void PacketPath::transmit(uint32_t ifindex, Frame frame) {
  const std::vector<uint32_t> ports = ports_.behind(ifindex);
  const auto first = std::ranges::find_if(ports, [this](uint32_t each) { return ports_.sends(each); });
  if (ports_.sends(ifindex) && first != ports.end()) {
    leave_by(*first, frame);
  } else {
    ++arrivals_;
    count(ifindex, [](PortCounts &counts) { ++counts.tx_dropped; });
  }
}

// As the hardware sends: of a port channel, each member does. Nothing goes back out of the front-panel port that it
// came in by, nor twice out of one that two outputs lead to.
void PacketPath::replicate(uint32_t ifindex, uint32_t in_port, Frame frame, Reached &reached) {
  for (const uint32_t each : ports_.behind(ifindex)) {
    if (each != in_port && reached.try_emplace(each, ifindex).first->second == ifindex) {
      leave_by(each, frame);
    }
  }
}

// By a front-panel port.
void PacketPath::leave_by(uint32_t ifindex, Frame frame) {
  const bool leaves = ports_.sends(ifindex);
  ++arrivals_;
  count(ifindex, [&](PortCounts &counts) {
    counts.tx_packets += leaves ? 1 : 0;
    counts.tx_bytes += leaves ? frame.size() : 0;
    counts.tx_dropped += leaves ? 0 : 1;
  });
  if (leaves && wire_ != nullptr) {
    wire_->transmit(ifindex, frame);
  }
}

// As a learning bridge does, of which a port channel is one port. What is learnt may have gone since.
void PacketPath::forward_normally(uint32_t in_port, const host::asic::PacketHeader &packet, Frame frame) {
  using To = host::ports::FrontPanel::Route::To;
  const uint32_t in_logical = ports_.logical_port(in_port);
  const auto route = device_.ports().route(in_logical, packet);
  const uint32_t out_logical = ports_.logical_port(route.ifindex);
  if (route.to == To::All || (route.to == To::Port && ports_.find(out_logical) == nullptr)) {
    flood(in_port, frame, false);
  } else if (route.to == To::Port && out_logical != in_logical) {
    transmit(out_logical, frame);
  }
}

}  // namespace agent
