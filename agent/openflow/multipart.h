// SPDX-License-Identifier: Apache-2.0
// A statistics reply of many records, cut between records into messages that OpenFlow can carry.
#ifndef AGENT_OPENFLOW_MULTIPART_H
#define AGENT_OPENFLOW_MULTIPART_H

#include "agent/openflow/wire.h"

namespace agent::openflow {

class MultipartReply {
 public:
  MultipartReply(Bytes &out, StatisticsType type, uint32_t xid) : out_(out), type_(type), xid_(xid) { open(); }
  ~MultipartReply() { close(0); }
  MultipartReply(const MultipartReply &) = delete;
  MultipartReply &operator=(const MultipartReply &) = delete;

  void add(ByteView record) {
    if (out_.size() - start_ + record.size() > kLongestMessage) {
      close(OFPSF_REPLY_MORE);
      open();
    }
    append(out_, record);
  }
  template <typename Record>
  void add(const Record &record) {
    std::array<uint8_t, Record::kSize> octets;
    write(octets.data(), record);
    add(ByteView(octets));
  }

 private:
  void open() {
    start_ = out_.size();
    out_.resize(start_ + wire::Header::kSize + wire::Statistics::kSize);
  }
  void close(uint16_t flags) {
    const auto length = static_cast<uint16_t>(out_.size() - start_);
    write(out_.data() + start_, wire::Header{kVersion, OFPT_STATS_REPLY, length, xid_});
    write(out_.data() + start_ + wire::Header::kSize, wire::Statistics{type_, flags});
  }

  Bytes &out_;
  StatisticsType type_;
  uint32_t xid_;
  size_t start_ = 0;
};

}  // namespace agent::openflow

#endif
