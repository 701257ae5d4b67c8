// SPDX-License-Identifier: Apache-2.0
// Byte streams of OpenFlow peers into a booted switch: messages of any content, formed well enough to get far, cut
// anywhere, while time passes and the peer reads or does not. What a session answers must be whole messages of OpenFlow
// 1.0 within its bounds, and the agent's flows those of the library.
#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/fuzzed_switch.h"
#include "tests/support/ears.h"

namespace {

using namespace agent::openflow;

constexpr int kMostMessages = 24;

// A match over few values, so that flows meet again.
MatchOctets some_match(FuzzedDataProvider &input) {
  MatchOctets match{};
  const uint32_t wildcards = input.PickValueInArray<uint32_t>({0x3fffff, 0x3820ff, 0x3820ef, 0x3620cf, 0x2020ce, 0});
  for (size_t i = 0; i < 4; ++i) {
    match[i] = static_cast<uint8_t>(wildcards >> (24 - 8 * i));
  }
  match[5] = input.ConsumeIntegralInRange<uint8_t>(0, 3);
  match[22] = 0x08;
  match[25] = input.PickValueInArray<uint8_t>({6, 17});
  match[32] = input.PickValueInArray<uint8_t>({0, 10});
  return match;
}

void append_any(Bytes &body, FuzzedDataProvider &input, size_t count) {
  append(body, ByteView(input.ConsumeBytes<uint8_t>(count)));
}

void append_output(Bytes &body, FuzzedDataProvider &input) {
  append(body, wire::ActionHead{0, 8});
  append(body, wire::OutputAction{input.PickValueInArray<uint16_t>({1, 2, 48, 49, 1001, 0xfff8, 0xfff9, 0xfffa, 0xfffb,
                                                                    0xfffc, 0xfffd, 0xfffe, 0xffff}),
                                  64});
}

void append_flow_mod(Bytes &body, FuzzedDataProvider &input) {
  wire::FlowMod mod;
  mod.match = some_match(input);
  mod.command = input.ConsumeIntegralInRange<uint16_t>(0, 5);
  mod.idle_timeout = input.ConsumeIntegralInRange<uint16_t>(0, 3);
  mod.hard_timeout = input.ConsumeIntegralInRange<uint16_t>(0, 3);
  mod.priority = input.ConsumeIntegralInRange<uint16_t>(0, 3);
  mod.buffer_id = input.PickValueInArray<uint32_t>({0xffffffff, 0xffffffff, 256, 257});
  mod.out_port = input.PickValueInArray<uint16_t>({0xffff, 0xffff, 1});
  mod.flags = input.ConsumeIntegralInRange<uint16_t>(0, 7);
  append(body, mod);
  for (int i = input.ConsumeIntegralInRange(0, 3); i > 0; --i) {
    append_output(body, input);
  }
}

void append_packet_out(Bytes &body, FuzzedDataProvider &input) {
  append(body, wire::PacketOut{input.PickValueInArray<uint32_t>({0xffffffff, 256, 257}),
                               input.PickValueInArray<uint16_t>({0xffff, 0, 1, 3, 49}), 8});
  append_output(body, input);
  append_any(body, input, 64);
}

void append_statistics(Bytes &body, FuzzedDataProvider &input) {
  const uint16_t type = input.ConsumeIntegralInRange<uint16_t>(0, 6);
  append(body, wire::Statistics{type, 0});
  if (type == OFPST_FLOW || type == OFPST_AGGREGATE) {
    append(body, wire::FlowStatsRequest{.match = some_match(input), .table_id = 0, .pad = {}, .out_port = 0xffff});
  } else if (type == OFPST_PORT || type == OFPST_QUEUE) {
    append_any(body, input, 8);
  }
}

Bytes message(FuzzedDataProvider &input) {
  const auto type = input.PickValueInArray<uint8_t>({OFPT_FLOW_MOD, OFPT_FLOW_MOD, OFPT_PACKET_OUT, OFPT_STATS_REQUEST,
                                                     OFPT_BARRIER_REQUEST, OFPT_SET_CONFIG, OFPT_PORT_MOD, OFPT_HELLO,
                                                     OFPT_ECHO_REQUEST, OFPT_VENDOR, OFPT_FEATURES_REQUEST});
  Bytes body;
  if (input.ConsumeIntegralInRange(0, 7) == 0) {
    append_any(body, input, 80);
  } else if (type == OFPT_FLOW_MOD) {
    append_flow_mod(body, input);
  } else if (type == OFPT_PACKET_OUT) {
    append_packet_out(body, input);
  } else if (type == OFPT_STATS_REQUEST) {
    append_statistics(body, input);
  } else if (type == OFPT_SET_CONFIG || type == OFPT_PORT_MOD) {
    append_any(body, input, type == OFPT_SET_CONFIG ? wire::SwitchConfig::kSize : wire::PortMod::kSize);
  }
  const bool truthful = input.ConsumeIntegralInRange(0, 15) != 0;
  const size_t length = truthful ? wire::Header::kSize + body.size() : input.ConsumeIntegralInRange<size_t>(0, 200);
  Bytes bytes;
  append(bytes, wire::Header{kVersion, type, static_cast<uint16_t>(length), 7});
  append(bytes, ByteView(body));
  return bytes;
}

// Whole messages, one behind the other.
void check(ByteView answers) {
  while (!answers.empty()) {
    fuzz::require(answers.size() >= wire::Header::kSize, "an answer ends within its header");
    ByteView rest = answers;
    const auto header = take<wire::Header>(rest);
    fuzz::require(header.version == kVersion && header.type < kMessageTypes, "an answer is no message");
    fuzz::require(header.length >= wire::Header::kSize && header.length <= answers.size(), "an answer lies");
    answers = answers.subspan(header.length);
  }
}

void read_answers(Session &session) {
  check(session.take_output());
  session.output_left();
}

void drive(agent::Agent &agent, Session &session, FuzzedDataProvider &input) {
  Bytes stream;
  append(stream, wire::Header{kVersion, OFPT_HELLO, wire::Header::kSize, 0});
  for (int i = 0; i < kMostMessages && input.remaining_bytes() > 0 && !session.ended(); ++i) {
    append(stream, ByteView(message(input)));
    const auto cut = input.ConsumeIntegralInRange<size_t>(0, stream.size());
    session.receive(ByteView(stream).first(cut));
    stream.erase(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(cut));
    if (input.ConsumeBool()) {
      read_answers(session);
    }
    if (input.ConsumeBool()) {
      agent.advance(std::chrono::milliseconds(700));
    }
    fuzz::require(!session.overrun(), "too much waits");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzedDataProvider input(data, size);
  agent::Agent agent(fuzz::booted_switch());
  const Identity identity;
  Session session(agent, identity, [](std::string_view) {});
  const Ears ears(agent, session);
  drive(agent, session, input);
  read_answers(session);
  for (const std::string &finding : agent.audit()) {
    fuzz::require(false, finding);
  }
  static host::AuditExceptions left_behind;  // by the purges of all inputs so far
  left_behind.purged.merge(host::flow_bits());
  fuzz::require(agent.purge(), "a purge failed");
  fuzz::require_sound(fuzz::booted_switch(), left_behind);
  return 0;
}
