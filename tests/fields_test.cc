// SPDX-License-Identifier: Apache-2.0
// Every match field that a request can carry, through the library: into the trace, into the record, against packets.
#include "agent/fields.h"

#include "agent/hardware.h"
#include "agent/requests.h"
#include "tests/support/rig.h"

namespace agent {
namespace {

// A value that a TCP packet of port 2 can have, and another one.
std::pair<uint64_t, uint64_t> two_values(Field field) {
  switch (field) {
    case Field::InPort:
      return {test::port(1), test::port(2)};
    case Field::DlType:
      return {kIpv4, kArp};
    case Field::NwProto:
      return {kTcp, kUdp};
    default:
      return {4, 8};
  }
}

class FieldsTest : public test::SwitchTest {
 protected:
  std::string dump_of(const Flow &flow) {
    sw.tracing().clear();
    const Bytes request = flow_request(OFTAB_ENTRY_ADD, flow);
    oftab_dump_entry_update_req(reinterpret_cast<const oftab_entry_update_req_t *>(request.data()));
    return details();
  }

  bool is_matched(const Packet &packet) { return sw.inject(packet.ifindex, packet.header).tcam_index == 2000; }
};

TEST_F(FieldsTest, EachFieldOfARequestIsDumpedAndCompared) {
  Flow flow;
  Packet packet;
  for (const FieldRow &row : field_rows()) {
    if (row.request.size != 0) {
      const uint64_t value = two_values(row.field).first;
      flow.match[row.field] = {value, row.exact};
      row.to_packet(packet, value);
    }
  }
  ASSERT_FALSE(is_on_cpu(flow));
  set_up({flow_request(OFTAB_ENTRY_ADD, flow)});
  EXPECT_TRUE(is_matched(packet));
  for (const FieldRow &row : field_rows()) {
    if (row.request.size != 0) {
      SCOPED_TRACE(row.spellings.back().name);
      Flow less = flow;
      less.match[row.field] = {0, row.exact};
      EXPECT_NE(dump_of(less), dump_of(flow));
      Packet other = packet;
      row.to_packet(other, two_values(row.field).second);
      EXPECT_FALSE(is_matched(other));
    }
  }
}

}  // namespace
}  // namespace agent
