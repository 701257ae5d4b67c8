// SPDX-License-Identifier: Apache-2.0
#include "agent/openflow/session.h"

#include <array>
#include <exception>
#include <optional>
#include <utility>

#include "agent/text.h"

namespace agent::openflow {
namespace {

constexpr size_t kQuoted = 64;  // octets of the request in an error

constexpr size_t kMuch = size_t{1} << 20;     // waiting: packet-ins are dropped, requests stay unanswered
constexpr size_t kTooMuch = size_t{8} << 20;  // waiting: the peer is given up

// The message that `bytes` begin with, if it is whole. One that is shorter than its own header counts as whole.
std::optional<Message> next_message(ByteView bytes) {
  if (bytes.size() < wire::Header::kSize) {
    return std::nullopt;
  }
  ByteView rest = bytes;
  const auto header = take<wire::Header>(rest);
  const size_t length = std::max<size_t>(header.length, wire::Header::kSize);
  if (bytes.size() < length) {
    return std::nullopt;
  }
  return Message{header, bytes.first(length)};
}

}  // namespace

const Session::Kind *Session::kind_of(uint8_t type) {
  constexpr size_t kAny = kLongestMessage;
  static const auto kinds = [] {
    std::array<Kind, kMessageTypes> all{};
    all[OFPT_HELLO] = {0, kAny, &Session::hello};
    all[OFPT_ERROR] = {wire::Error::kSize, kAny, &Session::error};
    all[OFPT_ECHO_REQUEST] = {0, kAny, &Session::echo_request};
    all[OFPT_ECHO_REPLY] = {0, kAny, &Session::echo_reply};
    all[OFPT_VENDOR] = {wire::Vendor::kSize, kAny, &Session::vendor};
    all[OFPT_FEATURES_REQUEST] = {0, 0, &Session::features_request};
    all[OFPT_GET_CONFIG_REQUEST] = {0, 0, &Session::get_config_request};
    all[OFPT_SET_CONFIG] = {wire::SwitchConfig::kSize, wire::SwitchConfig::kSize, &Session::set_config};
    all[OFPT_PACKET_OUT] = {wire::PacketOut::kSize, kAny, &Session::packet_out};
    all[OFPT_FLOW_MOD] = {wire::FlowMod::kSize, kAny, &Session::flow_mod};
    all[OFPT_PORT_MOD] = {wire::PortMod::kSize, wire::PortMod::kSize, &Session::port_mod};
    all[OFPT_STATS_REQUEST] = {wire::Statistics::kSize, kAny, &Session::stats_request};
    all[OFPT_BARRIER_REQUEST] = {0, 0, &Session::barrier_request};
    all[OFPT_QUEUE_GET_CONFIG_REQUEST] = {wire::QueueGetConfigRequest::kSize, wire::QueueGetConfigRequest::kSize,
                                          &Session::queue_get_config_request};
    return all;
  }();
  return type < kinds.size() && kinds[type].handle != nullptr ? &kinds[type] : nullptr;
}

// Messages are handled where they were received, unless a part of one is kept.
void Session::receive(ByteView bytes) {
  if (in_.empty()) {
    append(in_, bytes.subspan(work(bytes)));
  } else {
    append(in_, bytes);
    work_on_kept();
  }
}

void Session::work_on_kept() {
  in_.erase(in_.begin(), in_.begin() + static_cast<std::ptrdiff_t>(work(in_)));
}

// Handles messages, and returns their size. What the agent itself cannot bear ends the session, and no more than that.
size_t Session::work(ByteView bytes) try { return answer_all(bytes); } catch (const std::exception &error) {
  run_.clear();
  agent_.abandon_changes();
  end(error.what());
  return bytes.size();
}

size_t Session::answer_all(ByteView bytes) {
  size_t done = 0;
  while (!ended() && !holds_back()) {
    const auto message = next_message(bytes.subspan(done));
    if (!message) {
      break;
    }
    answer(*message);
    done += message->whole.size();
  }
  finish_run();
  return done;
}

void Session::answer(const Message &message) try {
  check(message);
  handle(message);
} catch (const ProtocolError &error) {
  finish_run();
  refuse(message, error);
}

void Session::check(const Message &message) const {
  const wire::Header &header = message.header;
  if (header.length < wire::Header::kSize) {
    throw ProtocolError{OFPET_BAD_REQUEST, OFPBRC_BAD_LEN, concat("a message with a length of ", header.length)};
  }
  if (header.version != kVersion && established_) {
    throw ProtocolError{OFPET_BAD_REQUEST, OFPBRC_BAD_VERSION, concat("a message of version ", header.version)};
  }
  const Kind *kind = kind_of(header.type);
  if (kind == nullptr) {
    throw ProtocolError{OFPET_BAD_REQUEST, OFPBRC_BAD_TYPE, concat("a message of type ", header.type)};
  }
  const size_t size = message.body().size();
  if (size < kind->least || size > kind->most) {
    throw ProtocolError{OFPET_BAD_REQUEST, OFPBRC_BAD_LEN,
                        concat("a message of type ", header.type, " with a length of ", header.length)};
  }
}

// Anything but flow-mods has the flow-mods before it done first.
void Session::handle(const Message &message) {
  if (message.header.type != OFPT_FLOW_MOD) {
    finish_run();
  }
  const bool greets = message.header.type <= OFPT_ECHO_REPLY;
  if (!established_ && !greets) {
    end(concat("a message of type ", message.header.type, " before hello"));
    return;
  }
  (this->*kind_of(message.header.type)->handle)(message);
}

void Session::refuse(const Message &message, const ProtocolError &error) {
  log_.write(concat("refused: ", error.reason), agent_.now());
  if (!established_) {
    end(error.reason);
    return;
  }
  if (message.header.type != OFPT_ERROR) {  // errors about errors would go on for ever
    compose(OFPT_ERROR, message.header.xid)
        << wire::Error{error.type, error.code} << message.whole.first(std::min(kQuoted, message.whole.size()));
  }
  if (message.header.length < wire::Header::kSize) {
    end(error.reason);  // where the next message begins is anybody's guess
  }
}

void Session::end(std::string reason) {
  if (!ended()) {
    end_reason_ = std::move(reason);
  }
}

Bytes Session::take_output() {
  Bytes output;
  output.swap(out_);
  leaving_ = output.size();
  return output;
}

void Session::output_left() {
  leaving_ = 0;
  work_on_kept();
}

bool Session::holds_back() const {
  return waiting() > kMuch;
}

bool Session::overrun() const {
  return waiting() > kTooMuch;
}

}  // namespace agent::openflow
