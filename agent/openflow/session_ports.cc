// SPDX-License-Identifier: Apache-2.0
// Ports, and the queues that they do not have.
#include "agent/openflow/port_codec.h"
#include "agent/openflow/session.h"
#include "agent/port_numbers.h"
#include "agent/text.h"

namespace agent::openflow {

void Session::port_mod(const Message &message) {
  ByteView body = message.body();
  const auto wire = take<wire::PortMod>(body);
  const auto error = agent_.modify_port(port_numbered(wire.port_no), wire.hw_addr, wire.config, wire.mask);
  if (!error) {
    return;
  }
  if (*error == Agent::PortModError::BadPort) {
    throw ProtocolError{OFPET_PORT_MOD_FAILED, OFPPMFC_BAD_PORT, concat("there is no port ", wire.port_no)};
  }
  throw ProtocolError{OFPET_PORT_MOD_FAILED, OFPPMFC_BAD_HW_ADDR,
                      concat("port ", wire.port_no, " has another MAC address")};
}

void Session::tell(const PortChange &change) {
  if (established_) {
    compose(OFPT_PORT_STATUS, kUnasked) << wire::PortStatus{.reason = static_cast<uint8_t>(change.reason),
                                                            .desc = encode_port(change.port)};
  }
}

void Session::require_port_of_queues(uint16_t number) const {
  if (agent_.ports().find(port_numbered(number)) == nullptr) {
    throw ProtocolError{OFPET_QUEUE_OP_FAILED, OFPQOFC_BAD_PORT, concat("there is no port ", number)};
  }
}

void Session::queue_get_config_request(const Message &message) {
  ByteView body = message.body();
  const uint16_t port = take<wire::QueueGetConfigRequest>(body).port;
  require_port_of_queues(port);
  compose(OFPT_QUEUE_GET_CONFIG_REPLY, message.header.xid) << wire::QueueGetConfigReply{.port = port};
}

}  // namespace agent::openflow
