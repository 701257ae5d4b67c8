// SPDX-License-Identifier: Apache-2.0
// Greetings, echoes, what the switch is, and how it is set.
#include <algorithm>
#include <iterator>

#include "agent/openflow/errors.h"
#include "agent/openflow/port_codec.h"
#include "agent/openflow/session.h"
#include "agent/text.h"

namespace agent::openflow {
namespace {

// All of them.
constexpr uint32_t kActions = (1U << static_cast<unsigned>(Action::Kind::kCount)) - 1;

}  // namespace

void Session::begin() {
  compose(OFPT_HELLO, kUnasked);
}

void Session::probe() {
  compose(OFPT_ECHO_REQUEST, kUnasked);
}

// The lower of both versions holds; what a peer adds to its hello is not looked at.
void Session::hello(const Message &message) {
  if (message.header.version >= kVersion) {
    established_ = true;
    return;
  }
  static constexpr std::string_view kReason = "this switch speaks OpenFlow 1.0 (version 0x01)";
  compose(OFPT_ERROR, message.header.xid)
      << wire::Error{OFPET_HELLO_FAILED, OFPHFC_INCOMPATIBLE} << text_bytes(kReason);
  end(concat("speaks version ", message.header.version));
}

void Session::error(const Message &message) {
  ByteView rest = message.body();
  const auto error = take<wire::Error>(rest);
  log_.write(concat("reports ", error_text(error.type, error.code)), agent_.now());
  if (error.type == OFPET_HELLO_FAILED) {
    end("does not speak OpenFlow 1.0");
  }
}

void Session::echo_request(const Message &message) {
  compose(OFPT_ECHO_REPLY, message.header.xid) << message.body();
}

void Session::echo_reply(const Message &) {}  // that something was heard is all

void Session::vendor(const Message &message) {
  ByteView rest = message.body();
  throw ProtocolError{OFPET_BAD_REQUEST, OFPBRC_BAD_VENDOR,
                      concat("a message of vendor ", hex(take<wire::Vendor>(rest).vendor, 8))};
}

void Session::features_request(const Message &message) {
  Composer reply = compose(OFPT_FEATURES_REPLY, message.header.xid);
  reply << wire::SwitchFeatures{.datapath_id = identity_.datapath_id,
                                .n_buffers = PacketBuffers::kCount,
                                .n_tables = 1,
                                .capabilities = OFPC_FLOW_STATS | OFPC_TABLE_STATS | OFPC_PORT_STATS,
                                .actions = kActions};
  // As many as a message can hold; the front-panel ports, whose ifindexes are the highest, in any case.
  constexpr size_t kMost = (kLongestMessage - wire::Header::kSize - wire::SwitchFeatures::kSize) / wire::Port::kSize;
  const auto &ports = agent_.ports().all();
  for (auto port = std::prev(ports.end(), static_cast<std::ptrdiff_t>(std::min(ports.size(), kMost)));
       port != ports.end(); ++port) {
    reply << encode_port(port->second);
  }
}

void Session::get_config_request(const Message &message) {
  compose(OFPT_GET_CONFIG_REPLY, message.header.xid) << wire::SwitchConfig{OFPC_FRAG_NORMAL, miss_send_len_};
}

// Fragments pass like any other packet, whatever is asked for.
void Session::set_config(const Message &message) {
  ByteView rest = message.body();
  miss_send_len_ = take<wire::SwitchConfig>(rest).miss_send_len;
}

// All that came before it has been done.
void Session::barrier_request(const Message &message) {
  compose(OFPT_BARRIER_REPLY, message.header.xid);
}

}  // namespace agent::openflow
