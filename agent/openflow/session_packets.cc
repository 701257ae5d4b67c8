// SPDX-License-Identifier: Apache-2.0
// Packets to and from the peer.
#include "agent/openflow/action_codec.h"
#include "agent/openflow/errors.h"
#include "agent/openflow/session.h"
#include "agent/port_numbers.h"
#include "agent/text.h"

namespace agent::openflow {
namespace {

constexpr size_t kShortestFrame = 14;  // addresses and type

// The ports that a packet can be said to have come in by.
uint32_t ingress_port(uint16_t number) {
  const bool none = number == kPortNone || number == kPortController || number == kPortLocal;
  if (!none && (number == 0 || number >= OFPP_MAX)) {
    throw ProtocolError{OFPET_BAD_REQUEST, OFPBRC_EPERM, concat("a packet-out from port ", number)};
  }
  return port_numbered(number);
}

PacketOut decode_packet_out(ByteView body) {
  const auto wire = take<wire::PacketOut>(body);
  if (wire.actions_len > body.size()) {
    throw ProtocolError{OFPET_BAD_REQUEST, OFPBRC_BAD_LEN, "the actions of a packet-out end behind it"};
  }
  PacketOut packet;
  packet.in_port = ingress_port(wire.in_port);
  packet.actions = decode_actions(body.first(wire.actions_len));
  if (wire.buffer_id != kNoBuffer) {
    packet.packet = wire.buffer_id;
  } else {
    const ByteView frame = body.subspan(wire.actions_len);
    if (frame.size() < kShortestFrame) {
      throw ProtocolError{OFPET_BAD_REQUEST, OFPBRC_BAD_LEN, concat("a packet-out of ", frame.size(), " octets")};
    }
    packet.packet = Bytes(frame.begin(), frame.end());
  }
  return packet;
}

}  // namespace

void Session::packet_out(const Message &message) {
  if (const auto error = agent_.packets().send(decode_packet_out(message.body()))) {
    throw protocol_error(*error);
  }
}

bool Session::tell(const PacketIn &packet) {
  if (!established_) {
    return false;
  }
  if (holds_back()) {
    ++dropped_packet_ins_;
    return false;
  }
  compose(OFPT_PACKET_IN, kUnasked) << wire::PacketIn{.buffer_id = packet.buffer_id,
                                                      .total_len = static_cast<uint16_t>(
                                                          std::min<size_t>(packet.frame.size(), UINT16_MAX)),
                                                      .in_port = number_of(packet.in_port),
                                                      .reason = static_cast<uint8_t>(packet.reason)}
                                    << packet.frame.first(packet.length_to_send(miss_send_len_));
  return true;
}

}  // namespace agent::openflow
