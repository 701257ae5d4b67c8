// SPDX-License-Identifier: Apache-2.0
// Messages: taking them out of a stream of bytes, and composing them.
#ifndef AGENT_OPENFLOW_MESSAGE_H
#define AGENT_OPENFLOW_MESSAGE_H

#include <chrono>

#include "agent/openflow/wire.h"

namespace agent::openflow {

struct Message {
  wire::Header header;
  ByteView whole;
  ByteView body() const { return whole.subspan(wire::Header::kSize); }
};

// Appends a message; its header is written when the composer goes. What is longer than a message can be is cut.
class Composer {
 public:
  Composer(Bytes &out, MessageType type, uint32_t xid) : out_(out), start_(out.size()), type_(type), xid_(xid) {
    out_.resize(start_ + wire::Header::kSize);
  }
  ~Composer() {
    const auto length = static_cast<uint16_t>(std::min(out_.size() - start_, kLongestMessage));
    out_.resize(start_ + length);
    write(out_.data() + start_, wire::Header{kVersion, type_, length, xid_});
  }
  Composer(const Composer &) = delete;
  Composer &operator=(const Composer &) = delete;

  template <typename Part>
  Composer &operator<<(const Part &part) {
    append(out_, part);
    return *this;
  }

 private:
  Bytes &out_;
  size_t start_;
  MessageType type_;
  uint32_t xid_;
};

// A time as messages tell it.
struct Duration {
  explicit Duration(std::chrono::nanoseconds time)
      : seconds(static_cast<uint32_t>(std::chrono::floor<std::chrono::seconds>(time).count())),
        nanoseconds(static_cast<uint32_t>((time % std::chrono::seconds(1)).count())) {}
  uint32_t seconds;
  uint32_t nanoseconds;
};

}  // namespace agent::openflow

#endif
